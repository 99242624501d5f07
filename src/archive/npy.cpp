#include "archive/npy.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

namespace kymora {

namespace {

constexpr std::string_view magic("\x93NUMPY", 6);
constexpr size_t headUnit = 64;  // the numbers begin at a multiple of it
constexpr size_t longestHead = 1 << 20;
constexpr size_t longestText = 1 << 16;
constexpr size_t numbersAtOnce = 1 << 16;
constexpr double endOfInt64 = 9223372036854775808.0;

template <typename Value>
constexpr char kindOf = std::is_floating_point_v<Value> ? 'f'
                        : std::is_signed_v<Value>       ? 'i'
                                                        : 'u';

// --- reading ---

[[noreturn]] void Refuse(std::string_view why) {
    throw ArchiveError(fmt::format("This is no array {}.", why));
}

// What stands behind a key of the head.
std::string_view ValueOf(std::string_view head, std::string_view key) {
    const size_t at = head.find(fmt::format("'{}'", key));
    const size_t colon = at == std::string_view::npos ? at : head.find(':', at);
    if (colon == std::string_view::npos) Refuse(fmt::format("of NumPy: its head has no {}", key));
    head.remove_prefix(colon + 1);
    head.remove_prefix(std::min(head.find_first_not_of(' '), head.size()));
    return head;
}

}  // namespace

template <typename Value>
void WriteNpy(CArchive& archive, std::span<const size_t> shape, std::span<const Value> values) {
    static_assert(std::endian::native == std::endian::little);
    std::string sizes;
    for (const size_t size : shape) sizes += fmt::format("{}, ", size);
    if (shape.size() > 1) sizes.resize(sizes.size() - 2);
    std::string head = fmt::format("{{'descr': '<{}{}', 'fortran_order': False, 'shape': ({}), }}",
                                   kindOf<Value>, sizeof(Value), sizes);
    const size_t fixed = magic.size() + 4;
    head.resize((fixed + head.size() + headUnit) / headUnit * headUnit - fixed - 1, ' ');
    head += '\n';
    archive.WriteRaw(std::as_bytes(std::span(magic)));
    archive.Write<uint8_t>(1);
    archive.Write<uint8_t>(0);
    archive.Write<uint16_t>(static_cast<uint16_t>(head.size()));
    archive.WriteRaw(std::as_bytes(std::span(head)));
    archive.WriteRaw(std::as_bytes(values));
}
template void WriteNpy(CArchive&, std::span<const size_t>, std::span<const int32_t>);
template void WriteNpy(CArchive&, std::span<const size_t>, std::span<const uint32_t>);
template void WriteNpy(CArchive&, std::span<const size_t>, std::span<const int64_t>);
template void WriteNpy(CArchive&, std::span<const size_t>, std::span<const float>);
template void WriteNpy(CArchive&, std::span<const size_t>, std::span<const double>);

NpyArray::NpyArray(const DataFile& file) : file_(file) {
    std::array<unsigned char, 12> first{};
    const size_t got = file.ReadAt(0, std::as_writable_bytes(std::span(first)));
    if (got < first.size() || std::memcmp(first.data(), magic.data(), magic.size()) != 0 || first[6] < 1 ||
        first[6] > 3)
        Refuse("of NumPy");
    const size_t fixed = first[6] == 1 ? 10 : 12;
    size_t length = size_t{first[8]} | size_t{first[9]} << 8;
    if (fixed == 12) length |= size_t{first[10]} << 16 | size_t{first[11]} << 24;
    if (length > longestHead || fixed + length > file.Length()) Refuse("of NumPy: its head ends early");
    std::string text(length, ' ');
    ReadWhole(file, fixed, std::as_writable_bytes(std::span(text)));
    TakeType(ValueOf(text, "descr"));
    TakeShape(ValueOf(text, "shape"));
    start_ = fixed + length;
    count_ = static_cast<int64_t>((file.Length() - start_) / bytes_);
}

void NpyArray::TakeType(std::string_view text) {
    const size_t close = text.empty() ? std::string_view::npos : text.find('\'', 1);
    if (close == std::string_view::npos || close < 4 || text[0] != '\'' ||
        std::string_view("<>|=").find(text[1]) == std::string_view::npos)
        Refuse("of plain numbers");
    isBigEndian_ = text[1] == '>';
    kind_ = text[2];
    const auto [end, error] = std::from_chars(text.data() + 3, text.data() + close, bytes_);
    const bool isInteger = kind_ == 'i' || kind_ == 'u';
    const bool isKnown = isInteger      ? bytes_ == 1 || bytes_ == 2 || bytes_ == 4 || bytes_ == 8
                         : kind_ == 'f' ? bytes_ == 4 || bytes_ == 8
                         : kind_ == 'b' ? bytes_ == 1
                                        : kind_ == 'S' && bytes_ >= 1 && bytes_ <= longestText;
    if (error != std::errc() || end != text.data() + close || !isKnown)
        Refuse(fmt::format("of numbers that can be read: its type is {}", text.substr(1, close - 1)));
}

// One dimension has no order of rows and columns.
void NpyArray::TakeShape(std::string_view text) {
    stated_ = 1;
    int wide = 0;
    if (text.empty() || text[0] != '(') Refuse("with a shape");
    text.remove_prefix(1);
    while (!text.empty() && text[0] != ')') {
        uint64_t size = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
        if (error != std::errc()) Refuse("with a shape");
        if (size != 1) {
            stated_ = size;
            ++wide;
        }
        text.remove_prefix(static_cast<size_t>(end - text.data()));
        text.remove_prefix(std::min(text.find_first_not_of(", "), text.size()));
    }
    if (wide > 1) Refuse("of one dimension");
}

// `bytes` of one item as they stand in the file.
int64_t NpyArray::Decode(const unsigned char* bytes) const {
    std::array<unsigned char, 8> item{};
    std::copy_n(bytes, bytes_, item.begin());
    if (isBigEndian_) std::reverse(item.begin(), item.begin() + static_cast<std::ptrdiff_t>(bytes_));
    const auto bits = std::bit_cast<uint64_t>(item);
    if (kind_ == 'f') {
        const double value = bytes_ == 8 ? std::bit_cast<double>(bits)
                                         : double{std::bit_cast<float>(static_cast<uint32_t>(bits))};
        if (!(std::abs(value) < endOfInt64) || value != std::trunc(value)) Refuse("of whole numbers");
        return static_cast<int64_t>(value);
    }
    const int unused = 64 - static_cast<int>(8 * bytes_);
    if (kind_ == 'i') return static_cast<int64_t>(bits << unused) >> unused;
    if (bits >> 63 != 0) Refuse("of numbers that are small enough");
    return static_cast<int64_t>(bits);
}

int64_t NpyArray::Whole(int64_t index) const {
    std::array<unsigned char, 8> bytes{};
    if (kind_ == 'S') return 0;
    ReadWhole(file_, start_ + static_cast<uint64_t>(index) * bytes_,
              std::as_writable_bytes(std::span(bytes)).first(bytes_));
    return Decode(bytes.data());
}

std::vector<int64_t> NpyArray::Wholes(int64_t most) const {
    const auto count = static_cast<size_t>(std::min(count_, most));
    std::vector<int64_t> numbers;
    if (kind_ == 'S') return numbers;
    numbers.reserve(count);
    std::vector<unsigned char> bytes;
    while (numbers.size() < count) {
        bytes.resize(std::min(numbersAtOnce, count - numbers.size()) * bytes_);
        ReadWhole(file_, start_ + numbers.size() * bytes_, std::as_writable_bytes(std::span(bytes)));
        for (size_t at = 0; at < bytes.size(); at += bytes_) numbers.push_back(Decode(&bytes[at]));
    }
    return numbers;
}

std::string NpyArray::Text(int64_t index) const {
    if (kind_ != 'S') return {};
    std::string text(bytes_, '\0');
    ReadWhole(file_, start_ + static_cast<uint64_t>(index) * bytes_, std::as_writable_bytes(std::span(text)));
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::vector<int64_t> ReadNpyIntegers(const DataFile& file) {
    const NpyArray array(file);
    if (array.Kind() == 'S' || array.Kind() == 'b') Refuse("of numbers");
    if (array.StatedCount() > static_cast<uint64_t>(array.Count()))
        Refuse(fmt::format("that is whole: the file ends before its {} numbers do", array.StatedCount()));
    return array.Wholes(static_cast<int64_t>(array.StatedCount()));
}

}  // namespace kymora
