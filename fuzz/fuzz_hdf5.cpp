// Any bytes as an NWB file, or as a MATLAB file where they begin like one: opened with each of its streams,
// read at both ends and in the middle, in one piece and sample by sample.

#include <string_view>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/open_document.h"
#include "opened_recording.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const bool isMat = std::string_view(reinterpret_cast<const char*>(data), size).starts_with("MATLAB");
    const char* const path = isMat ? "/x.mat" : "/x.nwb";
    files.Put(path, {bytes, bytes + size});
    kymora::OpenRequest request(kymora::OpenFor::reading);
    if (!isMat && size % 3 == 1) request.settings["from"] = "0.01";
    for (const char* stream : {"1", "2"}) {
        if (!isMat) request.settings["stream"] = stream;
        const auto doc = kymora::OpenDocument(session, path, request);
        if (!doc) return 0;
        try {
            CheckOpened(*doc);
        } catch (const kymora::FileError&) {
            // Compressed samples that do not expand are found when they are read.
        }
    }
    return 0;
}
