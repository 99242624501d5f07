#include "archive/npy.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

namespace kymora {

namespace {

constexpr std::string_view magic("\x93NUMPY", 6);
constexpr size_t headUnit = 64;  // the numbers begin at a multiple of it
constexpr size_t longestHead = 1 << 20;
constexpr size_t numbersAtOnce = 1 << 16;
constexpr double endOfInt64 = 9223372036854775808.0;

template <typename Value>
constexpr char kindOf = std::is_floating_point_v<Value> ? 'f'
                        : std::is_signed_v<Value>       ? 'i'
                                                        : 'u';

// --- reading ---

struct NpyHead {
    bool isBigEndian = false;
    char kind = 'i';
    size_t bytes = 0;  // of a number
    uint64_t count = 0;
    uint64_t start = 0;  // of the numbers, in the file
};

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

void TakeType(std::string_view text, NpyHead& head) {
    const char order = text.size() > 4 ? text[1] : ' ';
    const bool isType = text.size() > 4 && text[0] == '\'' && text[4] == '\'' &&
                        (order == '<' || order == '>' || order == '|' || order == '=');
    if (!isType) Refuse("of plain numbers");
    head.isBigEndian = order == '>';
    head.kind = text[2];
    head.bytes = static_cast<size_t>(text[3] - '0');
    const bool isInteger = head.kind == 'i' || head.kind == 'u';
    const bool isKnown = isInteger ? head.bytes == 1 || head.bytes == 2 || head.bytes == 4 || head.bytes == 8
                                   : head.kind == 'f' && (head.bytes == 4 || head.bytes == 8);
    if (!isKnown) Refuse(fmt::format("of numbers that can be read: its type is {}", text.substr(1, 3)));
}

uint64_t CountOf(std::string_view text) {
    uint64_t count = 1;
    int wide = 0;
    if (text.empty() || text[0] != '(') Refuse("with a shape");
    text.remove_prefix(1);
    while (!text.empty() && text[0] != ')') {
        uint64_t size = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
        if (error != std::errc()) Refuse("with a shape");
        if (size != 1) {
            count = size;
            ++wide;
        }
        text.remove_prefix(static_cast<size_t>(end - text.data()));
        text.remove_prefix(std::min(text.find_first_not_of(", "), text.size()));
    }
    if (wide > 1) Refuse("of one dimension");
    return count;
}

NpyHead ReadHead(const DataFile& file) {
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
    NpyHead head;
    TakeType(ValueOf(text, "descr"), head);
    head.count = CountOf(ValueOf(text, "shape"));
    head.start = fixed + length;
    if (head.count > (file.Length() - head.start) / head.bytes)
        Refuse(fmt::format("that is whole: the file ends before its {} numbers do", head.count));
    return head;
}

// `bytes` of one number, in the order of this machine.
int64_t Integer(const NpyHead& head, const unsigned char* bytes) {
    uint64_t bits = 0;
    std::memcpy(&bits, bytes, head.bytes);
    if (head.kind == 'f') {
        const double value = head.bytes == 8 ? std::bit_cast<double>(bits)
                                             : double{std::bit_cast<float>(static_cast<uint32_t>(bits))};
        if (!(std::abs(value) < endOfInt64) || value != std::trunc(value)) Refuse("of whole numbers");
        return static_cast<int64_t>(value);
    }
    const int unused = 64 - static_cast<int>(8 * head.bytes);
    if (head.kind == 'i') return static_cast<int64_t>(bits << unused) >> unused;
    if (bits >> 63 != 0) Refuse("of numbers that are small enough");
    return static_cast<int64_t>(bits);
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

std::vector<int64_t> ReadNpyIntegers(const DataFile& file) {
    const NpyHead head = ReadHead(file);
    std::vector<int64_t> numbers;
    numbers.reserve(head.count);
    std::vector<unsigned char> bytes;
    for (uint64_t done = 0; done < head.count;) {
        const uint64_t some = std::min<uint64_t>(numbersAtOnce, head.count - done);
        bytes.resize(some * head.bytes);
        ReadWhole(file, head.start + done * head.bytes, std::as_writable_bytes(std::span(bytes)));
        for (size_t at = 0; at < bytes.size(); at += head.bytes) {
            if (head.isBigEndian) std::reverse(&bytes[at], &bytes[at] + head.bytes);
            numbers.push_back(Integer(head, &bytes[at]));
        }
        done += some;
    }
    return numbers;
}

}  // namespace kymora
