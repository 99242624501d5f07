// Any bytes as a text file of numbers, with settings that its size chooses: opened and read at both ends. The
// rows are the same however the text is cut.

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/asc_doc.h"

namespace {

class Yes : public kymora::QuietHost {
  public:
    bool Confirm(std::string_view, std::string_view) override { return true; }
};

// A hash of all that comes from the rows.
class Digest : public kymora::RowSink {
  public:
    uint64_t hash = 14695981039346656037u;
    size_t waiting = 0;

    bool TakeValues(int64_t row, std::span<const double> values, bool endsRow) override {
        waiting += values.size();
        for (const double value : values) Mix(std::isnan(value) ? 1e300 : value);
        if (!endsRow) return true;
        Mix(static_cast<double>(row));
        Mix(static_cast<double>(waiting));
        waiting = 0;
        return true;
    }
    bool TakeLine(int64_t row, std::string_view line) override {
        Mix(static_cast<double>(row));
        for (const char c : line) Mix(c);
        return true;
    }

  private:
    void Mix(double value) {
        uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        hash = (hash ^ bits) * 1099511628211u;
    }
};

uint64_t Parse(std::string_view text, const kymora::RowFormat& format, size_t pieceSize) {
    Digest digest;
    auto parser = std::make_unique<kymora::RowParser>(format, digest);
    bool goOn = true;
    for (; goOn && !text.empty(); text.remove_prefix(std::min(pieceSize, text.size())))
        goOn = parser->Take(text.substr(0, pieceSize));
    if (goOn) parser->Finish();
    return digest.hash + static_cast<uint64_t>(parser->FaultRow());
}

void Read(kymora::CDataDoc& doc) {
    std::vector<float> whole(static_cast<size_t>(doc.GetLength())), part(1);
    for (int t = 0; t < doc.traceCount; ++t) {
        doc.ReadBlock(t, 0, whole);
        for (size_t i = 0; i < whole.size(); i += 1 + whole.size() / 3) {
            doc.ReadBlock(t, static_cast<int64_t>(i), part);
            if (std::memcmp(&part[0], &whole[i], sizeof(float)) != 0) std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    kymora::RowFormat format = kymora::RowFormat::Of(size % 2 == 0 ? '.' : ',');
    format.skipRows = static_cast<int64_t>(size % 3);
    format.skipColumns = static_cast<int64_t>(size / 2 % 2);
    if (Parse(text, format, size) != Parse(text, format, 1 + size % 7)) std::abort();

    Yes host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    session.decimalSeparator = format.decimal;
    session.textFile.skipColumns = static_cast<int>(format.skipColumns);
    session.textFile.labelRow = static_cast<int>(size / 4 % 4);
    session.textFile.dataInColumns = size / 16 % 2 == 0;
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x.txt", {bytes, bytes + size});
    kymora::CAscDoc doc(session);
    if (!doc.OnOpenDocument("/x.txt", kymora::OpenFor::reading)) return 0;
    if (doc.GetLength() < 1 || doc.traceCount < 1 || doc.traceCount > 128) std::abort();
    Read(doc);
    return 0;
}
