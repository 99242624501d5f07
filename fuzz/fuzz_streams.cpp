// Any bytes as a recording of many channels. The first one says of which system; what follows are its files,
// each behind a byte for its name and two for its length. Opened, read at both ends and in the middle, in one
// piece and sample by sample.

#include <algorithm>
#include <string>
#include <vector>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/open_document.h"
#include "opened_recording.h"

namespace {

// The first is what opens.
const std::vector<std::vector<std::string>>& Systems() {
    static const std::vector<std::vector<std::string>> systems{
        {"x.ap.bin", "x.ap.meta"},
        {"x.nidq.meta", "x.nidq.bin"},
        {"x.rhd"},
        {"info.rhs", "time.dat", "amplifier.dat", "digitalin.dat", "amp-A-000.dat"},
        {"structure.oebin", "continuous/P/continuous.dat", "continuous/P/sample_numbers.npy",
         "events/P/TTL/states.npy", "events/P/TTL/sample_numbers.npy", "events/MessageCenter/text.npy",
         "events/MessageCenter/sample_numbers.npy", "spikes/P/T/sample_numbers.npy",
         "spikes/P/T/clusters.npy", "sync_messages.txt"},
        {"a.ncs", "b.ncs", "Events.nev"},
        {"x.ns5", "x.nev"},
    };
    return systems;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto& names = Systems()[data[0] % Systems().size()];
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    for (size_t at = 1; at + 3 <= size;) {
        const std::string& name = names[data[at] % names.size()];
        const size_t length = std::min<size_t>(data[at + 1] | data[at + 2] << 8, size - at - 3);
        files.Put("/" + name, {bytes + at + 3, bytes + at + 3 + length});
        at += 3 + length;
    }
    kymora::OpenRequest request(kymora::OpenFor::reading);
    if (size % 3 == 1) request.settings["from"] = "0.01";
    const auto doc = kymora::OpenDocument(session, "/" + names[0], request);
    if (!doc) return 0;
    CheckOpened(*doc);
    return 0;
}
