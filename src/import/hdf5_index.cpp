#include "import/hdf5_index.h"

#include <algorithm>
#include <bit>

#include "import/hdf5_heap.h"

namespace kymora {

namespace {

class ChunkIndex {
  public:
    ChunkIndex(Hdf5File& file, const Hdf5Array& array, const Hdf5ChunkTaker& take)
        : file_(file), array_(array), take_(take), sides_(array.sizes.size()) {
        elements_ = array.type.bytes;
        for (size_t s = 0; s < sides_; ++s) {
            const uint64_t chunk = array.layout.chunk[s];
            elements_ *= chunk;
            const uint64_t most = s < array.mostSizes.size() ? array.mostSizes[s] : array.sizes[s];
            across_.push_back(std::max<uint64_t>((std::max(most, array.sizes[s]) - 1) / chunk + 1, 1));
        }
    }
    void Read();

  private:
    uint64_t Root() const { return array_.layout.address; }
    bool IsFiltered() const { return !array_.filters.empty(); }
    void ReadTree(uint64_t node, int level);
    void ReadTree2();
    void ReadFixedArray();
    void ReadGrowingArray();
    void ReadBlock(uint64_t address, uint64_t count, uint64_t page, size_t head);
    void TakeEntry(Hdf5Fields& fields);
    void TakeNext(uint64_t address, uint64_t bytes, uint32_t mask);

    Hdf5File& file_;
    const Hdf5Array& array_;
    const Hdf5ChunkTaker& take_;
    size_t sides_;
    uint64_t elements_ = 0;         // bytes of a chunk
    std::vector<uint64_t> across_;  // chunks along each side
    uint64_t next_ = 0;             // number of the entry that is read
    size_t entryBytes_ = 8;
};

void ChunkIndex::Read() {
    if (Root() == noHdf5Address) return;
    switch (array_.layout.index) {
    case Hdf5Layout::Index::tree:
        return ReadTree(Root(), file_.At(Root(), 8).U8(5));
    case Hdf5Layout::Index::single:
        return TakeNext(Root(), array_.layout.singleBytes, array_.layout.singleMask);
    case Hdf5Layout::Index::inOrder: {
        uint64_t count = 1;
        for (const uint64_t side : across_) count = count > UINT32_MAX / side ? UINT32_MAX : count * side;
        for (uint64_t i = 0; i < count && Root() + i * elements_ < file_.File().Length(); ++i)
            TakeNext(Root() + i * elements_, 0, 0);
        return;
    }
    case Hdf5Layout::Index::fixedArray:
        return ReadFixedArray();
    case Hdf5Layout::Index::growingArray:
        return ReadGrowingArray();
    case Hdf5Layout::Index::tree2:
        return ReadTree2();
    }
}

void ChunkIndex::ReadTree(uint64_t node, int level) {
    const FileFields head = file_.At(node, 24);
    Hdf5Fields start(head, 0, 0, 24);
    start.Expect("TREE");
    if (start.U8() != 1 || start.U8() != level) RefuseHdf5("it is damaged.");
    const uint16_t children = start.U16();
    const size_t key = 8 + 8 * (sides_ + 1);
    const uint64_t length = (key + 8) * uint64_t{children};
    const FileFields entries = file_.At(node + 24, length);
    Hdf5Fields fields(entries, 0, 0, static_cast<size_t>(length));
    std::vector<uint64_t> place(sides_);
    for (uint16_t i = 0; i < children; ++i) {
        const uint32_t bytes = fields.U32(), mask = fields.U32();
        for (size_t s = 0; s < sides_; ++s) place[s] = fields.U64() / array_.layout.chunk[s];
        fields.Skip(8);
        const uint64_t child = fields.U64();
        if (level > 0)
            ReadTree(child, level - 1);
        else
            take_(place, child, IsFiltered() ? bytes : 0, mask);
    }
}

void ChunkIndex::ReadTree2() {
    std::vector<uint64_t> place(sides_);
    ForEachHdf5Record(file_, Root(), [&](Hdf5Fields record) {
        const uint64_t address = record.U64();
        uint64_t bytes = 0;
        uint32_t mask = 0;
        if (IsFiltered()) {
            const size_t rest = 4 + 8 * sides_;
            bytes = record.Whole(record.Left() > rest ? record.Left() - rest : 0);
            mask = record.U32();
        }
        for (uint64_t& side : place) side = record.U64();
        take_(place, address, bytes, mask);
    });
}

void ChunkIndex::TakeNext(uint64_t address, uint64_t bytes, uint32_t mask) {
    std::vector<uint64_t> place(sides_);
    uint64_t number = next_++;
    for (size_t s = sides_; s-- > 1;) {
        place[s] = number % across_[s];
        number /= across_[s];
    }
    place[0] = number;
    if (address != noHdf5Address) take_(place, address, bytes, mask);
}

void ChunkIndex::TakeEntry(Hdf5Fields& fields) {
    Hdf5Fields entry = fields.Part(entryBytes_);
    const uint64_t address = entry.U64();
    if (!IsFiltered()) return TakeNext(address, 0, 0);
    const uint64_t bytes = entry.Whole(entryBytes_ > 12 ? entryBytes_ - 12 : 0);
    TakeNext(address, bytes, entry.U32());
}

// `count` entries behind the `head` bytes of a block, in pages with a check sum each where there are more
// than one holds.
void ChunkIndex::ReadBlock(uint64_t address, uint64_t count, uint64_t page, size_t head) {
    if (address == noHdf5Address) {
        next_ += count;
        return;
    }
    const bool isPaged = count > page;
    if (isPaged) head += 4;
    for (uint64_t done = 0; done < count;) {
        const uint64_t n = std::min(isPaged ? page : count, count - done);
        if (n > file_.File().Length() / entryBytes_) RefuseHdf5("it is damaged.");
        const FileFields block = file_.At(address + head, n * entryBytes_);
        Hdf5Fields fields(block, 0, 0, static_cast<size_t>(n * entryBytes_));
        for (uint64_t i = 0; i < n; ++i) TakeEntry(fields);
        head += static_cast<size_t>(page * entryBytes_ + 4);
        done += n;
    }
}

void ChunkIndex::ReadFixedArray() {
    const FileFields header = file_.At(Root(), 24);
    Hdf5Fields fields(header, 0, 0, 24);
    fields.Expect("FAHD");
    fields.Skip(2);
    entryBytes_ = fields.U8();
    const uint8_t pageBits = fields.U8();
    const uint64_t count = fields.U64(), block = fields.U64();
    if (entryBytes_ < 8 || entryBytes_ > 20 || pageBits > 40) RefuseHdf5("it is damaged.");
    const uint64_t page = uint64_t{1} << pageBits;
    const uint64_t pages = count > page ? (count - 1) / page + 1 : 0;
    ReadBlock(block, count, page, static_cast<size_t>(14 + (pages + 7) / 8));
}

// Entries stand in the index, then in blocks that grow.
void ChunkIndex::ReadGrowingArray() {
    const FileFields header = file_.At(Root(), 68);
    Hdf5Fields fields(header, 0, 0, 68);
    fields.Expect("EAHD");
    fields.Skip(2);
    entryBytes_ = fields.U8();
    const uint8_t bits = fields.U8(), inIndex = fields.U8(), least = fields.U8(), leastBlocks = fields.U8(),
                  pageBits = fields.U8();
    fields.Skip(4 * 8);
    const uint64_t written = fields.U64();  // the highest place, exclusive
    fields.Skip(8);
    const uint64_t index = fields.U64();
    const bool isWhole = entryBytes_ >= 8 && entryBytes_ <= 20 && std::has_single_bit(least) &&
                         std::has_single_bit(leastBlocks) && bits <= 64 && pageBits <= 40;
    if (!isWhole) RefuseHdf5("it is damaged.");
    if (index == noHdf5Address) return;
    const auto superBlocks = static_cast<uint32_t>(1 + std::max(bits - (std::bit_width(least) - 1), 0));
    const auto superInIndex = static_cast<uint32_t>(2 * (std::bit_width(leastBlocks) - 1));
    const uint32_t blocksInIndex = 2 * (leastBlocks - 1u);
    const uint64_t page = uint64_t{1} << pageBits;
    const size_t blockHead = 14 + (bits + 7u) / 8;
    const uint32_t superInFile = superBlocks > superInIndex ? superBlocks - superInIndex : 0;
    const uint64_t length = inIndex * entryBytes_ + 8 * (uint64_t{blocksInIndex} + superInFile);
    const FileFields listed = file_.At(index + 14, length);
    Hdf5Fields list(listed, 0, 0, static_cast<size_t>(length));
    for (uint8_t i = 0; i < inIndex; ++i) TakeEntry(list);
    for (uint32_t u = 0; u < superBlocks && next_ < written; ++u) {
        const uint64_t blocks = uint64_t{1} << std::min(u / 2, 40u);
        const uint64_t each = (uint64_t{1} << std::min((u + 1) / 2, 40u)) * least;
        if (u < superInIndex) {
            for (uint64_t b = 0; b < blocks; ++b) ReadBlock(list.U64(), each, page, blockHead);
            continue;
        }
        const uint64_t super = list.U64();
        if (super == noHdf5Address) {
            next_ += blocks * each;
            continue;
        }
        const uint64_t marks = each > page ? blocks * ((each / page + 7) / 8) : 0;
        const FileFields addresses = file_.At(super + blockHead + marks, 8 * blocks);
        for (uint64_t b = 0; b < blocks && next_ < written; ++b)
            ReadBlock(addresses.Number<uint64_t>(static_cast<size_t>(8 * b)), each, page, blockHead);
    }
}

}  // namespace

void ForEachHdf5Chunk(Hdf5File& file, const Hdf5Array& array, const Hdf5ChunkTaker& take) {
    const size_t sides = array.sizes.size();
    if (array.layout.chunk.size() != sides || sides == 0) RefuseHdf5("it is damaged.");
    uint64_t bytes = array.type.bytes;
    for (size_t s = 0; s < sides; ++s) {
        const uint64_t chunk = array.layout.chunk[s];
        if (chunk == 0 || chunk > UINT32_MAX || bytes > UINT32_MAX / chunk) RefuseHdf5("it is damaged.");
        bytes *= chunk;
        if (array.sizes[s] == 0) return;
    }
    ChunkIndex(file, array, take).Read();
}

}  // namespace kymora
