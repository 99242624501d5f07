#include "import/hdf5_heap.h"

#include <algorithm>
#include <bit>

namespace kymora {

namespace {

size_t BytesFor(uint64_t most) { return static_cast<size_t>(std::bit_width(most) - 1) / 8 + 1; }

struct TreeShape {
    uint8_t kind = 0;
    uint32_t nodeBytes = 0;
    uint16_t recordBytes = 0;
    std::vector<uint64_t> mostRecords{};  // of a node of each level, from the leaves up
    std::vector<size_t> totalBytes{};     // in which all records below are counted
};

void ReadTreeNode(Hdf5File& file, const TreeShape& shape, uint64_t address, uint64_t records, size_t level,
                  const std::function<void(Hdf5Fields)>& take) {
    if (records > shape.mostRecords[level]) RefuseHdf5("it is damaged.");
    const FileFields node = file.At(address, shape.nodeBytes);
    Hdf5Fields fields(node, 0, 0, shape.nodeBytes);
    fields.Expect(level == 0 ? "BTLF" : "BTIN");
    fields.Skip(2);
    for (uint64_t r = 0; r < records; ++r) take(fields.Part(shape.recordBytes));
    if (level == 0) return;
    for (uint64_t c = 0; c <= records; ++c) {
        const uint64_t child = fields.U64(), held = fields.Whole(BytesFor(shape.mostRecords[0]));
        if (level > 1) fields.Skip(shape.totalBytes[level - 1]);
        ReadTreeNode(file, shape, child, held, level - 1, take);
    }
}

}  // namespace

void ForEachHdf5Record(Hdf5File& file, uint64_t tree, const std::function<void(Hdf5Fields)>& take) {
    const FileFields head = file.At(tree, 34);
    Hdf5Fields fields(head, 0, 0, 34);
    fields.Expect("BTHD");
    fields.Skip(1);
    TreeShape shape{fields.U8(), fields.U32(), fields.U16()};
    const uint16_t depth = fields.U16();
    fields.Skip(2);
    const uint64_t root = fields.U64();
    const uint16_t records = fields.U16();
    constexpr uint32_t nodeHead = 10;
    if (root == noHdf5Address || records == 0) return;
    if (shape.recordBytes == 0 || shape.nodeBytes < nodeHead + shape.recordBytes || depth > 16)
        RefuseHdf5("it is damaged.");
    shape.mostRecords.push_back((shape.nodeBytes - nodeHead) / shape.recordBytes);
    shape.totalBytes.push_back(BytesFor(shape.mostRecords[0]));
    uint64_t total = shape.mostRecords[0];
    for (uint16_t level = 1; level <= depth; ++level) {
        const uint64_t pointer =
            8 + BytesFor(shape.mostRecords[0]) + (level > 1 ? shape.totalBytes.back() : 0);
        if (shape.nodeBytes < nodeHead + pointer) RefuseHdf5("it is damaged.");
        const uint64_t most = (shape.nodeBytes - nodeHead - pointer) / (shape.recordBytes + pointer);
        total = std::min(total, uint64_t{1} << 40) * (most + 1) + most;
        shape.mostRecords.push_back(most);
        shape.totalBytes.push_back(BytesFor(total));
    }
    ReadTreeNode(file, shape, root, records, depth, take);
}

Hdf5Heap::Hdf5Heap(Hdf5File& file, uint64_t address) : file_(file) {
    const FileFields head = file.At(address, 142);
    Hdf5Fields fields(head, 0, 0, 142);
    fields.Expect("FRHP");
    fields.Skip(1);
    idBytes_ = fields.U16();
    if (fields.U16() != 0) RefuseHdf5("what describes it is compressed.");
    fields.Skip(1);
    const uint32_t largest = fields.U32();
    fields.Skip(12 * 8);
    width_ = fields.U16();
    start_ = fields.U64();
    largestDirect_ = fields.U64();
    const uint16_t bits = fields.U16();
    fields.Skip(2);
    root_ = fields.U64();
    rows_ = fields.U16();
    const bool isWhole = std::has_single_bit(start_) && std::has_single_bit(largestDirect_) &&
                         start_ <= largestDirect_ && largestDirect_ <= uint64_t{1} << 32 && bits <= 64 &&
                         width_ > 0 && largest > 0 && bits > 0;
    if (!isWhole) RefuseHdf5("it is damaged.");
    offsetBytes_ = (bits + 7u) / 8;
    lengthBytes_ =
        std::min((static_cast<size_t>(std::bit_width(largestDirect_)) - 1 + 7) / 8, BytesFor(largest));
    directRows_ = static_cast<uint32_t>(std::bit_width(largestDirect_) - std::bit_width(start_)) + 2;
}

std::optional<Hdf5Heap::Piece> Hdf5Heap::Find(std::span<const std::byte> id) const {
    if (id.size() < 1 + offsetBytes_ + lengthBytes_ || (static_cast<uint8_t>(id[0]) & 0xF0) != 0) return {};
    const auto number = [&](size_t at, size_t bytes) {
        uint64_t value = 0;
        for (size_t i = 0; i < bytes; ++i) value |= uint64_t{static_cast<uint8_t>(id[at + i])} << (8 * i);
        return value;
    };
    const uint64_t offset = number(1, offsetBytes_), length = number(1 + offsetBytes_, lengthBytes_);
    if (length > largestDirect_) return {};
    const auto address = AddressOf(offset, root_, 0, rows_, 0);
    if (!address) return {};
    return Piece{*address, length};
}

// Without rows a block holds the pieces themselves; else it holds rows of blocks, each twice as large as
// those of the row before, from the third on.
std::optional<uint64_t> Hdf5Heap::AddressOf(uint64_t offset, uint64_t block, uint64_t blockOffset,
                                            uint32_t rows, int depth) const {
    if (block == noHdf5Address || offset < blockOffset || depth > 8) return {};
    if (rows == 0) return block + (offset - blockOffset);
    uint64_t at = blockOffset;
    for (uint32_t row = 0; row < rows; ++row) {
        const uint64_t each = RowBytes(row);
        if (each > (uint64_t{1} << 50) / width_) return {};
        if (offset - at < each * width_) {
            const uint64_t column = (offset - at) / each;
            const uint64_t entry = 13 + offsetBytes_ + 8 * (uint64_t{row} * width_ + column);
            const uint64_t child = file_.At(block + entry, 8).Number<uint64_t>(0);
            const uint32_t childRows =
                row < directRows_
                    ? 0
                    : static_cast<uint32_t>(std::bit_width(each) - std::bit_width(start_ * width_)) + 1;
            return AddressOf(offset, child, at + column * each, childRows, depth + 1);
        }
        at += each * width_;
    }
    return {};
}

}  // namespace kymora
