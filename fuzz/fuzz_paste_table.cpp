// Any bytes as what the clipboard holds: a table of samples, a table of points in time, and a whole native
// file. The first byte chooses how it is read.

#include <cmath>
#include <cstdlib>

#include "document/float_doc.h"
#include "exchange/new_contiguous.h"
#include "exchange/new_sparse.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"

namespace {

constexpr const char* out = "/out.kymr-dat";

// Goes on where a person is asked, so that what comes behind the question is tried, too.
class WillingHost : public kymora::QuietHost {
  public:
    bool Confirm(std::string_view, std::string_view) override { return true; }
};

// What was written opens, and its samples can be read to the end.
void CheckWritten(kymora::Session& session) {
    kymora::CFloatDoc doc(session);
    if (!doc.OnOpenDocument(out, kymora::OpenFor::reading)) std::abort();
    float last = 0.0f;
    for (int t = 0; t < doc.traceCount; ++t)
        if (doc.GetTraceLength(t) > 0) doc.ReadBlock(t, doc.GetTraceLength(t) - 1, {&last, 1});
}

void Run(kymora::Session& session, kymora::MemoryFileSystem& files, kymora::CNewRecordingDlg& paste) {
    paste.m_sFile = "/in";
    const bool written = paste.WriteFile(session, out, true).isDone;
    if (written != files.Has(out)) std::abort();
    if (written) CheckWritten(session);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    WillingHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const uint8_t how = data[0];
    if ((how & 2) != 0) session.decimalSeparator = ',';
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/in", {bytes + 1, bytes + size});
    if ((how & 1) != 0) {
        kymora::CPasteContiguousData paste;
        paste.m_Format.labelRow = (how & 4) != 0 ? 1 : 0;
        if ((how & 8) != 0) paste.m_Format.SetDeepLabCut();
        Run(session, files, paste);
    } else {
        kymora::CPasteSparseData paste;
        paste.m_Settings.timeUnit = (how >> 2) % 3;
        paste.m_Settings.sampleInterval = (how & 16) != 0 ? 1e-3 : 1.0;
        Run(session, files, paste);
    }
    return 0;
}
