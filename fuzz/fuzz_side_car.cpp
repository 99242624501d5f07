// Any bytes as the side-car of a foreign file.

#include <vector>

#include "document/side_car.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"

namespace {

class ForeignDoc : public kymora::CDataDoc {
  public:
    explicit ForeignDoc(kymora::Session& session) : CDataDoc(session) {
        traceCount = 2;
        SetLength(100);
        filePath = "/x.edf";
    }

  protected:
    void Load() override {}
    void ReadStored(int64_t, std::span<const StoredRead> pieces) override {
        for (const StoredRead& piece : pieces)
            for (float& value : piece.values) value = 1.0f;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x.kymr-hdr", {bytes, bytes + size});
    ForeignDoc doc(session);
    if (kymora::ReadSideCar(doc) != kymora::SideCarResult::read) return 0;
    std::vector<float> values(100);
    doc.ReadBlock(1, 0, values);
    kymora::WriteSideCar(doc);
    return 0;
}
