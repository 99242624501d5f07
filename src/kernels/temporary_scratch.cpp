#include "kernels/temporary_scratch.h"

#include <algorithm>

#include "archive/archive.h"
#include "document/temporary_file.h"

namespace kymora {
namespace {

constexpr size_t scratchBuffer = 4096;  // bytes

class ScratchFileSource : public FloatSource {
  public:
    explicit ScratchFileSource(DataFile& file) : archive_(file, CArchive::Mode::load, 0, scratchBuffer) {}

    size_t Read(std::span<float> to) override {
        const auto part = to.first(std::min<uint64_t>(to.size(), archive_.Remaining() / sizeof(float)));
        try {
            archive_.ReadRaw(std::as_writable_bytes(part));
        } catch (const ArchiveError& error) {
            // It was shortened meanwhile, by somebody else.
            throw FileError(error.what(), 0);
        }
        return part.size();
    }

  private:
    CArchive archive_;
};

class BackwardsScratchSource : public FloatSource {
  public:
    explicit BackwardsScratchSource(const DataFile& file)
        : file_(file), left_(file.Length() / sizeof(float)) {}

    size_t Read(std::span<float> to) override {
        const auto part = to.first(std::min<uint64_t>(to.size(), left_));
        left_ -= part.size();
        const auto bytes = std::as_writable_bytes(part);
        if (file_.ReadAt(left_ * sizeof(float), bytes) != bytes.size())
            throw FileError("A temporary file was shortened", 0);
        std::ranges::reverse(part);
        return part.size();
    }

  private:
    const DataFile& file_;
    uint64_t left_;  // samples
};

class ScratchFile : public ScratchRun, private FloatSink {
  public:
    ScratchFile(FileSystem& files, Host& host, const std::filesystem::path& folder)
        : file_(Open(files, host, folder)), writer_(*file_, CArchive::Mode::store, 0, scratchBuffer) {}

    FloatSink& Sink() override { return *this; }
    std::unique_ptr<FloatSource> Rewind() override {
        writer_.Flush();
        return std::make_unique<ScratchFileSource>(*file_);
    }
    std::unique_ptr<FloatSource> Backwards() override {
        writer_.Flush();
        return std::make_unique<BackwardsScratchSource>(*file_);
    }

  private:
    static std::unique_ptr<DataFile> Open(FileSystem& files, Host& host,
                                          const std::filesystem::path& folder) {
        try {
            return OpenScratchFile(files, folder);
        } catch (const FileError&) {
            host.Log(noTemporaryNameText);
            throw;
        }
    }

    void Write(std::span<const float> values) override { writer_.WriteRaw(std::as_bytes(values)); }

    std::unique_ptr<DataFile> file_;
    CArchive writer_;
};

}  // namespace

std::unique_ptr<ScratchRun> TemporaryScratch::Make() {
    return std::make_unique<ScratchFile>(files_, host_, folder_);
}

}  // namespace kymora
