#include "import/npy_file.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "import/file_fields.h"
#include "import/stream_doc.h"

namespace kymora {

namespace {

constexpr size_t mostNpyHeader = 1 << 16, mostTextWidth = 1 << 16;

// What stands between the quotes behind 'descr'.
std::string_view Description(std::string_view header) {
    const size_t key = header.find("'descr'");
    if (key == std::string_view::npos) return {};
    const size_t open = header.find('\'', key + 7);
    const size_t close = open == std::string_view::npos ? open : header.find('\'', open + 1);
    return close == std::string_view::npos ? std::string_view() : header.substr(open + 1, close - open - 1);
}

}  // namespace

std::unique_ptr<NpyFile> NpyFile::Find(FileSystem& files, const std::filesystem::path& path) {
    auto file = FindBeside(files, path);
    constexpr uint64_t fixed = 12;
    if (!file || file->Length() < fixed) return nullptr;
    const FileFields head(*file, 0, fixed);
    if (head.Bytes(0, 6) != "\x93NUMPY") return nullptr;
    const bool isFirst = head.U8(6) == 1;
    const uint64_t at = isFirst ? 10 : 12, length = isFirst ? head.U16(8) : head.U32(8);
    if (length > mostNpyHeader || at + length > file->Length()) return nullptr;
    const FileFields fields(*file, at, length);
    const std::string_view description = Description(fields.Bytes(0, static_cast<size_t>(length)));
    auto npy = std::make_unique<NpyFile>();
    if (description.size() < 3 || description[0] == '>') return nullptr;
    npy->kind_ = description[1];
    const char* const end = description.data() + description.size();
    const auto [stop, error] = std::from_chars(description.data() + 2, end, npy->width_);
    const bool isText = npy->kind_ == 'S' && npy->width_ <= mostTextWidth;
    const bool isNumber =
        std::string_view("iufb").find(npy->kind_) != std::string_view::npos && npy->width_ <= 8;
    if (error != std::errc() || stop != end || npy->width_ < 1 || !(isText || isNumber)) return nullptr;
    npy->start_ = at + length;
    npy->count_ = static_cast<int64_t>((file->Length() - npy->start_) / npy->width_);
    npy->file_ = std::move(file);
    return npy;
}

int64_t NpyFile::Decode(const std::byte* from) const {
    if (kind_ == 'f' || kind_ == 'S') return 0;
    uint64_t bits = 0;
    std::memcpy(&bits, from, width_);
    const size_t unused = 64 - 8 * width_;
    if (kind_ == 'i') return static_cast<int64_t>(bits << unused) >> unused;
    return static_cast<int64_t>(bits);
}

int64_t NpyFile::Whole(int64_t index) const {
    std::byte bytes[8];
    if (width_ > sizeof bytes) return 0;
    ReadWhole(*file_, start_ + static_cast<uint64_t>(index) * width_, std::span(bytes).first(width_));
    return Decode(bytes);
}

std::vector<int64_t> NpyFile::Wholes(int64_t most) const {
    std::vector<int64_t> numbers(static_cast<size_t>(std::min(count_, most)));
    if (width_ > 8) return numbers;
    std::vector<std::byte> bytes(numbers.size() * width_);
    ReadWhole(*file_, start_, bytes);
    for (size_t i = 0; i < numbers.size(); ++i) numbers[i] = Decode(bytes.data() + i * width_);
    return numbers;
}

std::string NpyFile::Text(int64_t index) const {
    if (kind_ != 'S') return {};
    return FileFields(*file_, start_ + static_cast<uint64_t>(index) * width_, width_).Text(0, width_);
}

}  // namespace kymora
