#include "import/hdf5_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "archive/text_encoding.h"
#include "document/open_request.h"
#include "import/hdf5_data.h"
#include "import/hdf5_heap.h"

namespace kymora {

namespace {

constexpr std::string_view superblockSignature = "\x89HDF\r\n\x1a\n";
constexpr uint64_t mostDescribing = uint64_t{1} << 30;  // bytes
constexpr int mostNesting = 16;
constexpr size_t mostCollections = 64;
constexpr uint32_t mostElementBytes = 1 << 20;
constexpr uint64_t mostElements = uint64_t{1} << 42;  // their bytes still fit 64 bits

enum MessageType : uint16_t {
    messageSpace = 1,
    messageLinkInfo = 2,
    messageType = 3,
    messageFillOld = 4,
    messageFill = 5,
    messageLink = 6,
    messageLayout = 8,
    messageFilters = 11,
    messageAttribute = 12,
    messageContinuation = 16,
    messageGroup = 17,
    messageAttributeInfo = 21,
};

std::vector<uint64_t> SpaceSizes(Hdf5Fields fields, std::vector<uint64_t>* most = nullptr) {
    const uint8_t version = fields.U8(), sides = fields.U8(), flags = fields.U8(), kind = fields.U8();
    if (version == 1) fields.Skip(4);
    if (version < 1 || version > 2 || sides > 32) RefuseHdf5("it is damaged.");
    std::vector<uint64_t> sizes;
    for (uint8_t s = 0; s < sides; ++s) sizes.push_back(fields.U64());
    if (most && (flags & 1) != 0)
        for (uint8_t s = 0; s < sides; ++s) most->push_back(fields.U64());
    if (version == 2 && kind == 2) sizes.assign(1, 0);  // holds nothing
    return sizes;
}

bool IsUsualReal(Hdf5Fields& fields, uint32_t bits, uint32_t bytes) {
    const uint16_t from = fields.U16(), digits = fields.U16();
    const uint8_t exponentAt = fields.U8(), exponent = fields.U8(), mantissaAt = fields.U8(),
                  mantissa = fields.U8();
    const uint32_t bias = fields.U32();
    const bool isSingle = bytes == 4 && exponentAt == 23 && exponent == 8 && mantissa == 23 && bias == 127;
    const bool isDouble = bytes == 8 && exponentAt == 52 && exponent == 11 && mantissa == 52 && bias == 1023;
    return (isSingle || isDouble) && from == 0 && digits == 8 * bytes && mantissaAt == 0 &&
           (bits >> 8 & 0xFF) == 8 * bytes - 1 && (bits & 0x40) == 0;
}

Hdf5Type TypeOf(Hdf5Fields fields) {
    const uint8_t head = fields.U8();
    const auto bits = static_cast<uint32_t>(fields.Whole(3));
    Hdf5Type type;
    type.bytes = fields.U32();
    type.order = (bits & 1) != 0 ? ByteOrder::big : ByteOrder::little;
    if (type.bytes == 0 || type.bytes > mostElementBytes) RefuseHdf5("it is damaged.");
    switch (head & 0x0F) {
    case 0: {
        const uint16_t from = fields.U16(), digits = fields.U16();
        const bool isUsual = type.bytes == 1 || type.bytes == 2 || type.bytes == 4 || type.bytes == 8;
        if (isUsual && from == 0 && digits == 8 * type.bytes) type.kind = Hdf5Type::Kind::whole;
        type.isSigned = (bits & 8) != 0;
        break;
    }
    case 1:
        if (IsUsualReal(fields, bits, type.bytes)) type.kind = Hdf5Type::Kind::real;
        break;
    case 3:
        type.kind = Hdf5Type::Kind::text;
        break;
    case 7:
        if ((bits & 0x0F) == 0 && type.bytes == 8) type.kind = Hdf5Type::Kind::reference;
        break;
    case 8: {  // names for numbers
        const uint32_t bytes = type.bytes;
        type = TypeOf(fields);
        if (type.bytes != bytes) RefuseHdf5("it is damaged.");
        break;
    }
    case 9:
        if ((bits & 0x0F) == 1 && type.bytes == 16) type.kind = Hdf5Type::Kind::longText;
        break;
    default:
        break;
    }
    return type;
}

std::vector<Hdf5Filter> FiltersOf(Hdf5Fields fields) {
    const uint8_t version = fields.U8(), count = fields.U8();
    if (version < 1 || version > 2 || count > 32) RefuseHdf5("it is damaged.");
    if (version == 1) fields.Skip(6);
    std::vector<Hdf5Filter> filters;
    for (uint8_t i = 0; i < count; ++i) {
        Hdf5Filter& filter = filters.emplace_back();
        filter.id = fields.U16();
        size_t nameBytes = version == 1 || filter.id >= 256 ? fields.U16() : 0;
        fields.Skip(2);
        const uint16_t values = fields.U16();
        if (version == 1) nameBytes = (nameBytes + 7) / 8 * 8;
        filter.name = fields.Text(nameBytes);
        for (uint16_t v = 0; v < values; ++v) {
            const uint32_t value = fields.U32();
            if (v == 0) filter.value = value;
        }
        if (version == 1 && values % 2 != 0) fields.Skip(4);
    }
    return filters;
}

std::vector<std::byte> FillOf(Hdf5Fields fields, bool isOld) {
    bool isTold = true;
    if (!isOld) {
        const uint8_t version = fields.U8();
        if (version < 3) {
            fields.Skip(2);
            isTold = fields.U8() != 0 || version == 1;
        } else {
            isTold = (fields.U8() & 0x20) != 0;
        }
    }
    if (!isTold || fields.Left() < 4) return {};
    const uint32_t length = fields.U32();
    if (length == 0 || length > fields.Left()) return {};
    const auto bytes = std::as_bytes(std::span(fields.Bytes(length)));
    return {bytes.begin(), bytes.end()};
}

void ReadChunkShape(Hdf5Fields& fields, uint8_t sides, size_t each, Hdf5Layout& layout) {
    if (sides < 2 || sides > 33) RefuseHdf5("it is damaged.");
    for (uint8_t s = 0; s + 1 < sides; ++s) layout.chunk.push_back(fields.Whole(each));
    fields.Whole(each);  // the bytes of an element
}

void ReadChunkIndex(Hdf5Fields& fields, Hdf5Layout& layout) {
    const uint8_t flags = fields.U8(), sides = fields.U8(), each = fields.U8();
    ReadChunkShape(fields, sides, each, layout);
    switch (const uint8_t index = fields.U8()) {
    case 1:
        layout.index = Hdf5Layout::Index::single;
        if ((flags & 2) != 0) {
            layout.singleBytes = fields.U64();
            layout.singleMask = fields.U32();
        }
        break;
    case 2:
        layout.index = Hdf5Layout::Index::inOrder;
        break;
    case 3:
        layout.index = Hdf5Layout::Index::fixedArray;
        fields.Skip(1);
        break;
    case 4:
        layout.index = Hdf5Layout::Index::growingArray;
        fields.Skip(5);
        break;
    case 5:
        layout.index = Hdf5Layout::Index::tree2;
        fields.Skip(6);
        break;
    default:
        RefuseHdf5(fmt::format("it arranges its samples in a way ({}) that is not known.", index));
    }
    layout.address = fields.U64();
}

}  // namespace

void RefuseHdf5(const std::string& why) { throw OpenError("This HDF5 file cannot be read: " + why); }

// --- fields ---

size_t Hdf5Fields::Next(size_t bytes) {
    if (bytes > end_ - at_) RefuseHdf5("it is damaged.");
    at_ += bytes;
    return at_ - bytes;
}

uint64_t Hdf5Fields::Whole(size_t bytes) {
    if (bytes < 1 || bytes > 8) RefuseHdf5("it is damaged.");
    uint64_t number = 0;
    for (size_t i = 0; i < bytes; ++i) number |= uint64_t{U8()} << (8 * i);
    return number;
}

std::string Hdf5Fields::Text(size_t length) {
    const std::string_view bytes = Bytes(length);
    return std::string(bytes.substr(0, bytes.find('\0')));
}

Hdf5Fields Hdf5Fields::Part(size_t length) {
    const size_t at = Next(length);
    return {*fields_, place_, at, length};
}

void Hdf5Fields::Expect(std::string_view signature) {
    if (Bytes(signature.size()) != signature) RefuseHdf5("it is damaged.");
}

uint64_t Hdf5Array::Count() const {
    uint64_t count = 1;
    for (const uint64_t size : sizes) {
        if (size != 0 && count > mostElements / size) RefuseHdf5("it states sizes that cannot be.");
        count *= size;
    }
    return count;
}

// --- the file ---

struct Hdf5File::Message {
    uint16_t type = 0;
    bool isShared = false;  // its body says where it lies
    Hdf5Fields fields;
};

// Where an object keeps more links and attributes than its header.
struct Hdf5File::Links {
    uint64_t tree = noHdf5Address, heap = noHdf5Address;          // of an old group
    uint64_t linkTree = noHdf5Address, linkHeap = noHdf5Address;  // of a new one
    uint64_t attributeTree = noHdf5Address, attributeHeap = noHdf5Address;
};

Hdf5File::Hdf5File(const DataFile& file) : file_(file) {
    mostSpent_ = (uint64_t{4} << 20) + 8 * std::min(file.Length(), mostDescribing);
    root_ = ReadObject(FindSuperblock(), 0);
}

uint64_t Hdf5File::Place(uint64_t address) const {
    if (address > file_.Length()) RefuseHdf5("it is damaged or cut off.");
    return base_ + address;
}

FileFields Hdf5File::At(uint64_t address, uint64_t length) {
    const uint64_t place = Place(address);
    if (place > file_.Length() || length > file_.Length() - place) RefuseHdf5("it is damaged or cut off.");
    spent_ += length + 16;
    if (spent_ > mostSpent_) RefuseHdf5("it is damaged: what describes it does not end.");
    return FileFields(file_, place, length);
}

// Answers the address of the root group. A block of the user's own may stand before it.
uint64_t Hdf5File::FindSuperblock() {
    uint64_t place = 0;
    while (true) {
        if (place + 48 > file_.Length()) throw OpenError("This is no HDF5 file, or it is cut off.");
        if (FileFields(file_, place, 8).Bytes(0, 8) == superblockSignature) break;
        place = place == 0 ? 512 : 2 * place;
    }
    base_ = place;
    const uint64_t length = std::min<uint64_t>(file_.Length() - place, 128);
    const FileFields head(file_, place, length);
    Hdf5Fields fields(head, place, 8, length - 8);
    const uint8_t version = fields.U8();
    if (version > 3) RefuseHdf5(fmt::format("it is of version {}, which is not known.", version));
    if (version < 2) fields.Skip(4);
    const uint8_t offsetBytes = fields.U8(), lengthBytes = fields.U8();
    if (offsetBytes != 8 || lengthBytes != 8)
        RefuseHdf5("its addresses are not of eight bytes, as those of recordings are.");
    if (version < 2) {
        fields.Skip(version == 1 ? 13 : 9);
        fields.Skip(4 * 8 + 8);  // base, free space, end and driver; the root's name
    } else {
        fields.Skip(1 + 3 * 8);  // flags; base, extension and end
    }
    return fields.U64();
}

void Hdf5File::ReadHeader(uint64_t address, const std::function<void(const Message&)>& take) {
    struct Part {
        uint64_t address, length;
    };
    std::vector<Part> parts;
    const FileFields start = At(address, 16);
    const bool isNew = start.Bytes(0, 4) == "OHDR";
    bool hasOrder = false;
    if (isNew) {
        const uint64_t room = std::min<uint64_t>(file_.Length() - Place(address), 64);
        const FileFields head = At(address, room);
        Hdf5Fields fields(head, 0, 4, room - 4);
        if (fields.U8() != 2) RefuseHdf5("it is damaged.");
        const uint8_t flags = fields.U8();
        hasOrder = (flags & 4) != 0;
        if ((flags & 0x20) != 0) fields.Skip(16);
        if ((flags & 0x10) != 0) fields.Skip(4);
        const uint64_t length = fields.Whole(size_t{1} << (flags & 3));
        parts.push_back({address + fields.At(), length});
    } else {
        if (start.U8(0) != 1) RefuseHdf5("it is damaged.");
        parts.push_back({address + 16, start.U32(8)});
    }
    const size_t headBytes = isNew ? (hasOrder ? 6 : 4) : 8;
    for (size_t p = 0; p < parts.size(); ++p) {
        const Part part = parts[p];
        const FileFields block = At(part.address, part.length);
        Hdf5Fields fields(block, Place(part.address), 0, part.length);
        if (isNew && p > 0) fields.Expect("OCHK");
        const size_t behind = isNew && p > 0 ? 4 : 0;  // a check sum
        while (fields.Left() >= headBytes + behind) {
            const uint16_t type = isNew ? fields.U8() : fields.U16();
            const uint16_t length = fields.U16();
            const uint8_t flags = fields.U8();
            fields.Skip(headBytes - (isNew ? 4 : 5));
            const Message message{type, (flags & 2) != 0, fields.Part(length)};
            if (type == messageContinuation) {
                Hdf5Fields next = message.fields;
                const uint64_t nextAddress = next.U64();
                parts.push_back({nextAddress, next.U64()});
            } else {
                take(message);
            }
        }
    }
}

Hdf5Object Hdf5File::Read(uint64_t address) { return ReadObject(address, 0); }

Hdf5Object Hdf5File::ReadObject(uint64_t address, int depth) {
    if (depth > mostNesting) RefuseHdf5("it is damaged.");
    Hdf5Object object;
    object.address = address;
    Links links;
    ReadHeader(address, [&](const Message& message) { TakeMessage(message, object, links, depth); });
    if (links.tree != noHdf5Address) ReadOldGroup(links.tree, links.heap, object);
    if (links.linkHeap != noHdf5Address) ReadDense(links.linkHeap, links.linkTree, true, object, depth);
    if (links.attributeHeap != noHdf5Address)
        ReadDense(links.attributeHeap, links.attributeTree, false, object, depth);
    return object;
}

void Hdf5File::TakeMessage(const Message& message, Hdf5Object& object, Links& links, int depth) {
    Hdf5Fields fields = message.fields;
    const auto array = [&]() -> Hdf5Array& { return object.array ? *object.array : object.array.emplace(); };
    if (message.isShared && message.type != messageType) return;
    switch (message.type) {
    case messageSpace:
        array().sizes = SpaceSizes(fields, &array().mostSizes);
        break;
    case messageType:
        array().type = message.isShared ? SharedType(fields, depth) : TypeOf(fields);
        break;
    case messageFillOld:
    case messageFill:
        if (auto fill = FillOf(fields, message.type == messageFillOld); !fill.empty())
            array().fill = std::move(fill);
        break;
    case messageFilters:
        array().filters = FiltersOf(fields);
        break;
    case messageLayout: {
        const uint8_t version = fields.U8(), kind = version < 3 ? 255 : fields.U8();
        Hdf5Layout& layout = array().layout;
        if (version < 3 || version > 4 || kind > 2) break;  // cannot be read; told where it is wanted
        layout.kind = kind == 2 ? Hdf5Layout::Kind::chunked : Hdf5Layout::Kind::plain;
        if (kind == 0) {
            layout.bytes = fields.U16();
            layout.address = fields.Place();
        } else if (kind == 1) {
            const uint64_t at = fields.U64();
            layout.address = at == noHdf5Address ? at : Place(at);
            layout.bytes = fields.U64();
        } else if (version == 4) {
            ReadChunkIndex(fields, layout);
        } else {
            const uint8_t sides = fields.U8();
            layout.address = fields.U64();
            ReadChunkShape(fields, sides, 4, layout);
        }
        break;
    }
    case messageAttribute:
        TakeAttribute(fields, object, depth);
        break;
    case messageLink:
        TakeLink(fields, object);
        break;
    case messageGroup:
        links.tree = fields.U64();
        links.heap = fields.U64();
        break;
    case messageLinkInfo:
    case messageAttributeInfo: {
        const bool isLinks = message.type == messageLinkInfo;
        fields.Skip(1);
        if ((fields.U8() & 1) != 0) fields.Skip(isLinks ? 8 : 2);
        (isLinks ? links.linkHeap : links.attributeHeap) = fields.U64();
        (isLinks ? links.linkTree : links.attributeTree) = fields.U64();
        break;
    }
    default:
        break;
    }
}

// A type that stands for itself in the file.
Hdf5Type Hdf5File::SharedType(Hdf5Fields fields, int depth) {
    const uint8_t version = fields.U8(), kind = fields.U8();
    if (version == 1) fields.Skip(6);
    if (version == 3 && kind != 2) return {};
    const Hdf5Object named = ReadObject(fields.U64(), depth + 1);
    return named.array ? named.array->type : Hdf5Type();
}

void Hdf5File::TakeAttribute(Hdf5Fields fields, Hdf5Object& object, int depth) {
    const uint8_t version = fields.U8(), flags = fields.U8();
    if (version < 1 || version > 3) return;
    const uint16_t nameBytes = fields.U16(), typeBytes = fields.U16(), spaceBytes = fields.U16();
    if (version == 3) fields.Skip(1);
    const auto part = [&](size_t bytes) { return fields.Part(version == 1 ? (bytes + 7u) / 8 * 8 : bytes); };
    const std::string name = part(nameBytes).Text(nameBytes);
    const Hdf5Fields type = part(typeBytes), space = part(spaceBytes);
    Hdf5Array found;
    found.type = version > 1 && (flags & 1) != 0 ? SharedType(type, depth) : TypeOf(type);
    if (version > 1 && (flags & 2) != 0) return;
    found.sizes = SpaceSizes(space);
    const uint64_t wanted = found.Count() <= fields.Left() ? found.Count() * found.type.bytes : UINT64_MAX;
    if (wanted > fields.Left()) return;
    const auto bytes = std::as_bytes(std::span(fields.Bytes(static_cast<size_t>(wanted))));
    found.bytes.assign(bytes.begin(), bytes.end());
    object.attributes[name] = std::move(found);
}

void Hdf5File::TakeLink(Hdf5Fields fields, Hdf5Object& object) {
    fields.Skip(1);
    const uint8_t flags = fields.U8();
    const uint8_t kind = (flags & 8) != 0 ? fields.U8() : 0;
    if ((flags & 4) != 0) fields.Skip(8);
    if ((flags & 16) != 0) fields.Skip(1);
    const uint64_t nameBytes = fields.Whole(size_t{1} << (flags & 3));
    if (nameBytes > fields.Left()) RefuseHdf5("it is damaged.");
    const std::string name(fields.Bytes(static_cast<size_t>(nameBytes)));
    if (kind == 0)
        object.members[name] = fields.U64();
    else if (kind == 1)
        object.aliases[name] = std::string(fields.Bytes(fields.U16()));
    else
        object.outside.push_back(name);
}

// --- groups ---

void Hdf5File::ReadOldGroup(uint64_t tree, uint64_t heap, Hdf5Object& object) {
    const FileFields head = At(heap, 32);
    Hdf5Fields fields(head, 0, 0, 32);
    fields.Expect("HEAP");
    fields.Skip(4);
    const uint64_t bytes = fields.U64();
    fields.Skip(8);
    const FileFields names = At(fields.U64(), bytes);
    const uint8_t level = At(tree, 8).U8(5);
    ReadGroupNode(tree, level, names, object);
}

void Hdf5File::ReadGroupNode(uint64_t node, int level, const FileFields& names, Hdf5Object& object) {
    const auto nameAt = [&](uint64_t at) {
        if (at >= names.Length()) RefuseHdf5("it is damaged.");
        const size_t place = static_cast<size_t>(at);
        const std::string_view rest = names.Bytes(place, names.Length() - place);
        return std::string(rest.substr(0, rest.find('\0')));
    };
    const FileFields head = At(node, 24);
    Hdf5Fields start(head, 0, 0, 24);
    start.Expect("TREE");
    if (start.U8() != 0 || start.U8() != level) RefuseHdf5("it is damaged.");
    const uint16_t children = start.U16();
    const FileFields keys = At(node + 24, uint64_t{16} * children);
    for (uint16_t i = 0; i < children; ++i) {
        const auto child = keys.Number<uint64_t>(16u * i + 8);
        if (level > 0) {
            ReadGroupNode(child, level - 1, names, object);
            continue;
        }
        const FileFields leafHead = At(child, 8);
        if (leafHead.Bytes(0, 4) != "SNOD") RefuseHdf5("it is damaged.");
        const uint16_t entries = leafHead.U16(6);
        const FileFields leaf = At(child + 8, uint64_t{40} * entries);
        for (uint16_t e = 0; e < entries; ++e) {
            const size_t at = 40u * e;
            const std::string name = nameAt(leaf.Number<uint64_t>(at));
            if (leaf.U32(at + 16) == 2)
                object.aliases[name] = nameAt(leaf.U32(at + 24));
            else
                object.members[name] = leaf.Number<uint64_t>(at + 8);
        }
    }
}

void Hdf5File::ReadDense(uint64_t heap, uint64_t tree, bool isLinks, Hdf5Object& object, int depth) {
    const Hdf5Heap held(*this, heap);
    ForEachHdf5Record(*this, tree, [&](Hdf5Fields record) {
        if (isLinks) record.Skip(4);
        const std::vector<std::byte> id = [&] {
            const auto bytes =
                std::as_bytes(std::span(record.Bytes(std::min(held.IdBytes(), record.Left()))));
            return std::vector<std::byte>(bytes.begin(), bytes.end());
        }();
        const auto place = held.Find(id);
        if (!place) return;
        const FileFields bytes = At(place->address, place->length);
        const Hdf5Fields fields(bytes, Place(place->address), 0, static_cast<size_t>(place->length));
        if (isLinks)
            TakeLink(fields, object);
        else
            TakeAttribute(fields, object, depth);
    });
}

std::optional<Hdf5Object> Hdf5File::Find(const Hdf5Object& from, std::string_view path) {
    return Follow(from, path, 0);
}

std::optional<Hdf5Object> Hdf5File::Follow(const Hdf5Object& from, std::string_view path, int depth) {
    if (depth > mostNesting) return {};
    Hdf5Object at = path.starts_with('/') ? root_ : from;
    while (!path.empty()) {
        const std::string name(path.substr(0, path.find('/')));
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        if (name.empty() || name == ".") continue;
        if (const auto member = at.members.find(name); member != at.members.end()) {
            at = ReadObject(member->second, 0);
        } else if (const auto alias = at.aliases.find(name); alias != at.aliases.end()) {
            auto meant = Follow(at, alias->second, depth + 1);
            if (!meant) return {};
            at = std::move(*meant);
        } else {
            return {};
        }
    }
    return at;
}

// --- elements ---

// The bytes of the first elements.
std::vector<std::byte> Hdf5File::Elements(const Hdf5Array& array, uint64_t most) {
    const uint64_t count = std::min(array.Count(), most);
    if (array.layout.kind == Hdf5Layout::Kind::none) {
        if (array.bytes.size() < count * array.type.bytes) return {};
        return {array.bytes.begin(),
                array.bytes.begin() + static_cast<std::ptrdiff_t>(count * array.type.bytes)};
    }
    return ReadHdf5Elements(*this, array, count);
}

std::vector<double> Hdf5File::Numbers(const Hdf5Array& array, uint64_t most) {
    if (!array.type.IsNumber()) return {};
    const std::vector<std::byte> bytes = Elements(array, most);
    std::vector<double> numbers(bytes.size() / array.type.bytes);
    Hdf5Numbers(array.type, bytes.data(), numbers);
    return numbers;
}

std::vector<std::string> Hdf5File::Texts(const Hdf5Array& array, uint64_t most) {
    if (!array.type.IsText()) return {};
    const std::vector<std::byte> bytes = Elements(array, most);
    std::vector<std::string> texts;
    for (size_t at = 0; at + array.type.bytes <= bytes.size(); at += array.type.bytes) {
        const std::byte* const from = bytes.data() + at;
        std::string text = array.type.kind == Hdf5Type::Kind::longText
                               ? LongText(from)
                               : std::string(reinterpret_cast<const char*>(from), array.type.bytes);
        text.resize(std::min(text.find('\0'), text.size()));
        texts.push_back(TextOfUnknownEncoding(text));
    }
    return texts;
}

// A collection of the heap of long texts, with the places of its texts.
const FileFields& Hdf5File::Collection(uint64_t address) {
    const auto known = collections_.find(address);
    if (known != collections_.end()) return known->second;
    if (collections_.size() >= mostCollections) {
        collections_.clear();
        texts_.clear();
    }
    const FileFields head = At(address, 16);
    if (head.Bytes(0, 4) != "GCOL") RefuseHdf5("it is damaged.");
    const auto length = head.Number<uint64_t>(8);
    const FileFields& block = collections_.emplace(address, At(address, length)).first->second;
    auto& places = texts_[address];
    for (size_t at = 16; at + 16 <= block.Length();) {
        const uint16_t index = block.U16(at);
        const auto bytes = block.Number<uint64_t>(at + 8);
        if (index == 0 || bytes > block.Length() - at - 16) break;
        places[index] = {at + 16, static_cast<size_t>(bytes)};
        at += 16 + (static_cast<size_t>(bytes) + 7) / 8 * 8;
    }
    return block;
}

std::string Hdf5File::LongText(const std::byte* descriptor) {
    uint32_t length = 0, index = 0;
    uint64_t address = 0;
    std::memcpy(&length, descriptor, sizeof length);
    std::memcpy(&address, descriptor + 4, sizeof address);
    std::memcpy(&index, descriptor + 12, sizeof index);
    if (length == 0 || address == 0) return {};
    const FileFields& block = Collection(address);
    const auto& places = texts_[address];
    const auto place = places.find(index);
    if (place == places.end()) return {};
    return std::string(block.Bytes(place->second.first, std::min<size_t>(length, place->second.second)));
}

}  // namespace kymora
