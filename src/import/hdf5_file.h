#pragma once
// HDF5 files as far as recordings need them: groups, attributes, arrays of numbers and texts. They are read
// here and not by the HDF5 library, which writes beyond its memory where a file is damaged. Every address and
// count is held against the file before it is used, and all that describes the file may take only so many
// bytes to read, so that chains which lead back to themselves end. Layout: "HDF5 File Format Specification",
// version 3.0 (The HDF Group). Offsets and lengths of other than eight bytes are refused.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/file_system.h"
#include "import/hdf5_fields.h"

namespace kymora {

struct Hdf5Type {
    enum class Kind { whole, real, text, longText, reference, other };  // long texts lie in a heap
    Kind kind = Kind::other;
    uint32_t bytes = 0;  // of one element
    bool isSigned = false;
    ByteOrder order = ByteOrder::little;
    bool IsNumber() const { return kind == Kind::whole || kind == Kind::real; }
    bool IsText() const { return kind == Kind::text || kind == Kind::longText; }
};

struct Hdf5Layout {
    enum class Kind { none, plain, chunked };
    enum class Index { tree, single, inOrder, fixedArray, growingArray, tree2 };
    Kind kind = Kind::none;
    uint64_t address = noHdf5Address;  // in the file: of the elements, or of the index of chunks
    uint64_t bytes = 0;                // of plain elements
    std::vector<uint64_t> chunk{};     // elements along each side
    Index index = Index::tree;
    uint64_t singleBytes = 0;  // stored ones of a single chunk; 0 where it is not filtered
    uint32_t singleMask = 0;   // filters that were left out of it
};

struct Hdf5Filter {
    uint16_t id = 0;
    std::string name{};
    uint32_t value = 0;  // the first of its parameters
};

// The elements of an attribute, or the description of an array.
struct Hdf5Array {
    Hdf5Type type{};
    std::vector<uint64_t> sizes{};      // none for a single value
    std::vector<uint64_t> mostSizes{};  // to which an array may grow; empty: not at all
    std::vector<std::byte> bytes{};     // of an attribute
    Hdf5Layout layout{};                // of an array
    std::vector<Hdf5Filter> filters{};
    std::vector<std::byte> fill{};  // stands where no chunk was written; zeros where it is empty
    // Throws OpenError where there are more than can be.
    uint64_t Count() const;
};

struct Hdf5Object {
    uint64_t address = noHdf5Address;
    std::map<std::string, Hdf5Array> attributes{};
    std::map<std::string, uint64_t> members{};     // of a group
    std::map<std::string, std::string> aliases{};  // of a group: names of other places of this file
    std::vector<std::string> outside{};            // of a group: names of what lies in other files
    std::optional<Hdf5Array> array{};
    bool IsGroup() const { return !array; }
};

class Hdf5File {
  public:
    // Throws OpenError, as all that follow do where the file is damaged. The file must outlive the object.
    explicit Hdf5File(const DataFile& file);

    const DataFile& File() const { return file_; }
    const Hdf5Object& Root() const { return root_; }
    Hdf5Object Read(uint64_t address);
    // The object that a path leads to from a group, or from the root where it begins with a slash. Nothing
    // where there is none.
    std::optional<Hdf5Object> Find(const Hdf5Object& from, std::string_view path);

    // Elements in the order of the file, of an attribute or an array: the first of them where there are more
    // than `most`. Empty where they are of another kind.
    std::vector<double> Numbers(const Hdf5Array& array, uint64_t most);
    std::vector<std::string> Texts(const Hdf5Array& array, uint64_t most);

    // Part of the description. Counts against what that may take; throws OpenError.
    FileFields At(uint64_t address, uint64_t length);
    // In the file, of an address as it is stored.
    uint64_t Place(uint64_t address) const;

  private:
    struct Message;
    struct Links;

    uint64_t FindSuperblock();
    std::optional<Hdf5Object> Follow(const Hdf5Object& from, std::string_view path, int depth);
    void ReadHeader(uint64_t address, const std::function<void(const Message&)>& take);
    void TakeMessage(const Message& message, Hdf5Object& object, Links& links, int depth);
    Hdf5Object ReadObject(uint64_t address, int depth);
    Hdf5Type SharedType(Hdf5Fields fields, int depth);
    void TakeAttribute(Hdf5Fields fields, Hdf5Object& object, int depth);
    void TakeLink(Hdf5Fields fields, Hdf5Object& object);
    void ReadOldGroup(uint64_t tree, uint64_t heap, Hdf5Object& object);
    void ReadGroupNode(uint64_t node, int level, const FileFields& names, Hdf5Object& object);
    void ReadDense(uint64_t heap, uint64_t tree, bool isLinks, Hdf5Object& object, int depth);
    std::vector<std::byte> Elements(const Hdf5Array& array, uint64_t most);
    std::string LongText(const std::byte* descriptor);
    const FileFields& Collection(uint64_t address);

    const DataFile& file_;
    uint64_t base_ = 0;
    uint64_t spent_ = 0, mostSpent_ = 0;  // bytes
    Hdf5Object root_;
    std::map<uint64_t, FileFields> collections_;  // of long texts
    std::map<uint64_t, std::map<uint32_t, std::pair<size_t, size_t>>>
        texts_;  // of a collection: place, bytes
};

[[noreturn]] void RefuseHdf5(const std::string& why);

}  // namespace kymora
