// Opening, reading and memory of a document, each against a floor measured in the same run.

#include <cstdlib>
#include <malloc.h>
#include <new>

#include "bench_files.h"

namespace {

size_t allocated = 0;

}  // namespace

void* operator new(size_t size) {
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    allocated += malloc_usable_size(p);
    return p;
}
void operator delete(void* p) noexcept {
    if (p != nullptr) allocated -= malloc_usable_size(p);
    std::free(p);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }

namespace kymora::bench {
namespace {

// Counts the bytes that are read through it.
class CountingFiles : public DiskFileSystem {
  public:
    uint64_t bytesRead = 0;

    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override {
        return std::make_unique<Counted>(DiskFileSystem::Open(path, mode), bytesRead);
    }

  private:
    class Counted : public DataFile {
      public:
        Counted(std::unique_ptr<DataFile> file, uint64_t& counter)
            : file_(std::move(file)), counter_(counter) {}
        size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
            const size_t n = file_->ReadAt(offset, to);
            counter_ += n;
            return n;
        }
        void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
            file_->WriteAt(offset, from);
        }
        uint64_t Length() const override { return file_->Length(); }
        void Truncate(uint64_t length) override { file_->Truncate(length); }
        void Sync() override { file_->Sync(); }
        bool IsWritable() const override { return file_->IsWritable(); }
        bool TryLock() override { return file_->TryLock(); }
        FileStamp Stamp() const override { return file_->Stamp(); }

      private:
        std::unique_ptr<DataFile> file_;
        uint64_t& counter_;
    };
};

void OpenLongFile(Session& session, CountingFiles& files, const Folder& folder) {
    const auto path = folder / "long.kymr-dat";
    MakeNative(session, path, 4, int64_t{1} << 29, 100, true);
    files.bytesRead = 0;
    const double seconds = Seconds(5, [&] {
        CFloatDoc doc(session);
        if (!doc.OnOpenDocument(path)) std::abort();
    });
    std::printf("open 8 GiB, 100 events: %.1f ms (goal: below 50), %.2f MiB read (goal: below 10)\n",
                seconds * 1e3, static_cast<double>(files.bytesRead) / 5 / (1 << 20));
}

void ReadSequentially(Session& session, const Folder& folder) {
    const auto path = folder / "read.kymr-dat";
    constexpr int traces = 4;
    constexpr int64_t length = 25'000'000;
    MakeNative(session, path, traces, length, 0, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path)) std::abort();
    constexpr size_t piece = 65536;
    std::vector<std::vector<float>> values(traces, std::vector<float>(piece));
    const auto file = session.files.Open(path, OpenMode::readOnly);
    const double plain = Seconds(5, [&] {
        for (uint64_t at = 0; at < static_cast<uint64_t>(length) * traces * 4; at += piece * 4)
            file->ReadAt(at, std::as_writable_bytes(std::span(values[at / (piece * 4) % traces])));
    });
    const double blocks = Seconds(5, [&] {
        for (int64_t at = 0; at < length; at += piece) {
            const auto n = static_cast<size_t>(std::min<int64_t>(piece, length - at));
            std::vector<TraceBlock> parts;
            for (int t = 0; t < traces; ++t)
                parts.push_back({t, {values[static_cast<size_t>(t)].data(), n}, {}});
            doc.ReadBlocks(at, parts);
        }
    });
    double sum = 0;
    const double next = Seconds(3, [&] {
        doc.SetReadPosition(0);
        doc.FillFileBuf();
        double local = 0.0;
        for (int64_t i = 0; i < length; ++i) local += doc.ReadNext(1);
        sum += local;
    });
    const double rate = static_cast<double>(length) * traces / 1e6;
    std::printf(
        "block read of %d traces: %.2f of the plain read (goal: 0.7); %.0f million samples a second\n",
        traces, plain / blocks, rate / blocks);
    std::printf("ReadNext of one trace: %.0f million samples a second; %.2f of the block read (goal: 300, or "
                "0.1) [%g]\n",
                rate / traces / next, (rate / traces / next) / (rate / blocks), sum);
}

void Memory(Session& session) {
    const size_t before = allocated;
    const auto doc = std::make_unique<ModelDoc>(session, 1, 1000);
    std::printf("a document with 999 empty channels: %.2f MiB (goal: below 2)\n",
                static_cast<double>(allocated - before) / (1 << 20));
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1'000'000; ++i) doc->AddEvent(3, {i, i + 1});
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("a million events added in order: %.3f s; %.1f bytes each\n", took.count(),
                static_cast<double>(allocated - before) / 1e6);
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora;
    QuietHost host;
    bench::CountingFiles files;
    Session session(host, files);
    const bench::Folder folder;
    bench::OpenLongFile(session, files, folder);
    bench::ReadSequentially(session, folder);
    bench::Memory(session);
    return 0;
}
