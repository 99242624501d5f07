// Any bytes as what events travel in. The first byte says as what: rows of text, an event file, a block or
// text of the clipboard, a partition file. An odd digit makes the comma the decimal separator.

#include <vector>

#include "exchange/import_events.h"
#include "exchange/load_event_channel.h"
#include "exchange/partition_from_file.h"
#include "exchange/paste_event_channels.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"

namespace {

class EventsDoc : public kymora::CDataDoc {
  public:
    explicit EventsDoc(kymora::Session& session) : CDataDoc(session) {
        traceCount = 1;
        sampleInterval = 0.5;
        SetLength(1000);
        for (int i = 0; i < 100; ++i) AddEvent(3, {i * 10, i * 10 + 5});
    }

  protected:
    void Load() override {}
    void ReadStored(int64_t, std::span<const StoredRead>) override {}
};

template <typename Operation>
void Run(kymora::CDataDoc& doc) {
    Operation operation;
    operation.CheckChangeDoc(&doc);
    operation.m_sFile = "/x";
    operation.m_nChannel1 = 3;
    operation.Run();
    while (doc.Undo().Undo()) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x", {bytes + 1, bytes + size});
    if (data[0] % 2 == 1) session.decimalSeparator = ',';
    EventsDoc doc(session);
    switch (data[0] / 2 % 4) {
    case 0:
        Run<kymora::ImportEventsFromText>(doc);
        break;
    case 1:
        Run<kymora::LoadEventChannel>(doc);
        break;
    case 2:
        Run<kymora::PasteEventChannels>(doc);
        break;
    default:
        Run<kymora::PartitionFromFile>(doc);
    }
    return 0;
}
