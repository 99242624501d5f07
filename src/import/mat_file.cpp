#include "import/mat_file.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <set>
#include <utility>

#include "archive/text_encoding.h"
#include "document/open_request.h"
#include "import/mat_hdf5.h"
#include "import/number_conversion.h"

namespace kymora {

namespace {

constexpr size_t matHeaderBytes = 128;
constexpr uint64_t mostExpandedBytes = 24 << 20, mostExpansion = 20;  // of what is compressed
constexpr int mostDepth = 3;                                          // of structures in structures
constexpr size_t mostPassedOver = 200;                                // bytes of names in a message
constexpr size_t mostTextUnits = 10000, mostArrays = 20000;
constexpr size_t mostHeldBytes = 16 << 20;  // of names, texts and single numbers, together

enum MatType : uint32_t {
    matInt8 = 1,
    matUInt8 = 2,
    matInt16 = 3,
    matUInt16 = 4,
    matInt32 = 5,
    matUInt32 = 6,
    matSingle = 7,
    matDouble = 9,
    matInt64 = 12,
    matUInt64 = 13,
    matMatrix = 14,
    matCompressed = 15,
    matUtf8 = 16,
};
enum MatClass : uint8_t { matStruct = 2, matChar = 4, matFirstNumeric = 6, matLastNumeric = 15 };

[[noreturn]] void RefuseMat(const std::string& why) {
    throw OpenError("This MATLAB file cannot be read: " + why);
}

using ByteSpan = std::span<const std::byte>;

ByteSpan Part(ByteSpan bytes, uint64_t at, uint64_t length) {
    if (at > bytes.size() || length > bytes.size() - at) RefuseMat("it is damaged or cut off.");
    return bytes.subspan(static_cast<size_t>(at), static_cast<size_t>(length));
}

template <typename T>
T NumberAt(ByteSpan bytes, uint64_t at, bool isBig) {
    std::byte raw[sizeof(T)];
    std::ranges::copy(Part(bytes, at, sizeof(T)), raw);
    if (isBig) std::ranges::reverse(raw);
    T number;
    std::memcpy(&number, raw, sizeof number);
    return number;
}

size_t BytesOfMat(uint32_t type) {
    switch (type) {
    case matInt8:
    case matUInt8:
    case matUtf8:
        return 1;
    case matInt16:
    case matUInt16:
        return 2;
    case matInt32:
    case matUInt32:
    case matSingle:
        return 4;
    case matDouble:
    case matInt64:
    case matUInt64:
        return 8;
    default:
        RefuseMat(fmt::format("it holds numbers of the type {}, which is not known.", type));
    }
}

template <typename T, typename To>
void ConvertMat(ByteSpan bytes, bool isBig, To* to) {
    for (size_t i = 0; i < bytes.size() / sizeof(T); ++i) {
        std::byte raw[sizeof(T)];
        std::memcpy(raw, bytes.data() + i * sizeof(T), sizeof raw);
        if (isBig) std::ranges::reverse(raw);
        T number;
        std::memcpy(&number, raw, sizeof number);
        to[i] = static_cast<To>(number);
    }
}

template <typename To>
void ConvertMatType(uint32_t type, ByteSpan bytes, bool isBig, To* to) {
    switch (type) {
    case matInt8:
        return ConvertMat<int8_t>(bytes, isBig, to);
    case matInt16:
        return ConvertMat<int16_t>(bytes, isBig, to);
    case matUInt16:
        return ConvertMat<uint16_t>(bytes, isBig, to);
    case matInt32:
        return ConvertMat<int32_t>(bytes, isBig, to);
    case matUInt32:
        return ConvertMat<uint32_t>(bytes, isBig, to);
    case matSingle:
        return ConvertMat<float>(bytes, isBig, to);
    case matDouble:
        return ConvertMat<double>(bytes, isBig, to);
    case matInt64:
        return ConvertMat<int64_t>(bytes, isBig, to);
    case matUInt64:
        return ConvertMat<uint64_t>(bytes, isBig, to);
    default:
        return ConvertMat<uint8_t>(bytes, isBig, to);
    }
}

std::string PlainText(ByteSpan bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return TextOfUnknownEncoding(text.substr(0, text.find('\0')));
}

uint64_t MostExpanded(const DataFile& file) { return mostExpandedBytes + mostExpansion * file.Length(); }

[[noreturn]] void RefuseExpansion() {
    RefuseMat("what is compressed in it is far larger than the file itself.");
}

// The bytes of a variable, one after the other: as they stand in the file, or as they expand.
class MatBytes {
  public:
    MatBytes(const DataFile& file, uint64_t at, uint64_t length, bool isPacked)
        : file_(file), at_(at), left_(length) {
        if (!isPacked) return;
        stream_.emplace();
        if (inflateInit(&*stream_) != Z_OK) RefuseMat("there is no memory for it.");
    }
    ~MatBytes() {
        if (stream_) inflateEnd(&*stream_);
    }
    MatBytes(const MatBytes&) = delete;
    MatBytes& operator=(const MatBytes&) = delete;

    // From the first byte, and with what is passed over.
    uint64_t Place() const { return place_ + ahead_; }
    bool IsPacked() const { return stream_.has_value(); }
    // Passed over when more is read, so that nothing behind the last that is wanted expands.
    void Skip(uint64_t count) { ahead_ += count; }
    void SkipTo(uint64_t place) {
        if (place < place_) RefuseMat("it is damaged or cut off.");
        ahead_ = place - place_;
    }
    void Read(std::span<std::byte> to) {
        PassOver();
        if (!stream_) {
            if (to.size() > left_) RefuseMat("it is damaged or cut off.");
            ReadWhole(file_, at_, to);
            at_ += to.size();
            left_ -= to.size();
        } else {
            Expand(to);
        }
        place_ += to.size();
    }

  private:
    static constexpr size_t packedAtOnce = 1 << 14;

    void PassOver() {
        const uint64_t count = std::exchange(ahead_, 0);
        place_ += count;
        if (!stream_) {
            if (count > left_) RefuseMat("it is damaged or cut off.");
            at_ += count;
            left_ -= count;
            return;
        }
        std::byte passed[packedAtOnce];
        if (place_ > MostExpanded(file_)) RefuseExpansion();
        for (uint64_t done = 0; done < count;) {
            const auto n = static_cast<size_t>(std::min<uint64_t>(count - done, sizeof passed));
            Expand({passed, n});
            done += n;
        }
    }
    void Expand(std::span<std::byte> to) {
        stream_->next_out = reinterpret_cast<Bytef*>(to.data());
        stream_->avail_out = static_cast<uInt>(to.size());
        while (stream_->avail_out > 0) {
            if (stream_->avail_in == 0 && left_ > 0) {
                packed_.resize(static_cast<size_t>(std::min<uint64_t>(packedAtOnce, left_)));
                ReadWhole(file_, at_, packed_);
                at_ += packed_.size();
                left_ -= packed_.size();
                stream_->next_in = reinterpret_cast<Bytef*>(packed_.data());
                stream_->avail_in = static_cast<uInt>(packed_.size());
            }
            const int result = inflate(&*stream_, Z_NO_FLUSH);
            if (result != Z_OK && !(result == Z_STREAM_END && stream_->avail_out == 0))
                RefuseMat("it is damaged or cut off.");
        }
    }

    const DataFile& file_;
    uint64_t at_, left_;  // in the file
    uint64_t place_ = 0, ahead_ = 0;
    std::optional<z_stream> stream_;
    std::vector<std::byte> packed_;
};

class MatLister {
  public:
    explicit MatLister(const DataFile& file) : file_(file) {}
    MatContents List();
    bool IsBig() const { return isBig_; }

  private:
    struct Tag {
        uint32_t type = 0;
        uint64_t length = 0;
        std::optional<std::array<std::byte, 4>> bytes{};  // of one that holds them itself
    };
    struct Shape {
        uint64_t rows = 0, columns = 0;
    };

    void ListVersion5();
    void ListVersion4();
    bool ListMatrix4(uint64_t& at);
    std::vector<std::byte> Load(uint64_t at, uint64_t length) const;
    Tag TagOf(MatBytes& bytes, uint64_t end) const;
    std::vector<std::byte> BytesOf(MatBytes& bytes, const Tag& tag, uint64_t most = UINT64_MAX) const;
    std::vector<std::byte> ElementOf(MatBytes& bytes, uint64_t end) const;
    void TakeMatrix(MatBytes& bytes, uint64_t end, const std::string& within, int depth);
    void TakeStruct(MatBytes& bytes, uint64_t end, const std::string& name, int depth);
    void TakeText(MatBytes& bytes, const Tag& tag, const std::string& name);
    void TakeNumbers(MatBytes& bytes, const Shape& shape, const Tag& tag, const std::string& name);
    void AddArray(MatArray array);
    void Hold(const std::string& name, size_t bytes);
    void PassOver(const std::string& name);

    const DataFile& file_;
    bool isBig_ = false;
    uint64_t variableAt_ = 0, packedBytes_ = 0;  // of the variable that is listed
    std::set<std::string> names_;
    std::map<std::string, int> namesakes_;  // that a name has got so far
    size_t held_ = 0;
    MatContents found_;
};

MatContents MatLister::List() {
    if (file_.Length() < 20) RefuseMat("it is too short.");
    const auto start = Load(0, std::min<uint64_t>(file_.Length(), matHeaderBytes));
    const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
    if (text.starts_with("MATLAB 5.0 MAT-file")) {
        if (text.size() < matHeaderBytes) RefuseMat("it is damaged or cut off.");
        isBig_ = text.substr(126, 2) == "MI";
        ListVersion5();
    } else {
        ListVersion4();
    }
    return std::move(found_);
}

std::vector<std::byte> MatLister::Load(uint64_t at, uint64_t length) const {
    if (at > file_.Length() || length > file_.Length() - at) RefuseMat("it is damaged or cut off.");
    std::vector<std::byte> bytes(static_cast<size_t>(length));
    ReadWhole(file_, at, bytes);
    return bytes;
}

// The variables up to one that the file does not hold whole.
void MatLister::ListVersion5() {
    const uint64_t size = file_.Length();
    for (uint64_t at = matHeaderBytes; at + 8 <= size;) {
        const auto tag = Load(at, 8);
        const auto type = NumberAt<uint32_t>(tag, 0, isBig_);
        const uint64_t length = NumberAt<uint32_t>(tag, 4, isBig_);
        at += 8;
        if (length > size - at) {
            found_.isCutOff = true;
            break;
        }
        variableAt_ = at;
        packedBytes_ = type == matCompressed ? length : 0;
        MatBytes bytes(file_, at, length, type == matCompressed);
        if (type == matMatrix) TakeMatrix(bytes, length, {}, 0);
        if (type == matCompressed) {
            const Tag matrix = TagOf(bytes, UINT64_MAX);
            if (matrix.type == matMatrix) TakeMatrix(bytes, bytes.Place() + matrix.length, {}, 0);
        }
        at += length;
        if (type != matCompressed) at = (at + 7) / 8 * 8;
    }
    if (found_.isCutOff && found_.arrays.empty()) RefuseMat("it is damaged or cut off.");
}

// Short ones have their length in the upper half of the type, and their bytes behind that.
MatLister::Tag MatLister::TagOf(MatBytes& bytes, uint64_t end) const {
    std::array<std::byte, 8> head;
    bytes.Read(head);
    const auto type = NumberAt<uint32_t>(head, 0, isBig_);
    if (type >> 16 != 0) {
        if (type >> 16 > 4) RefuseMat("it is damaged or cut off.");
        return {type & 0xFFFF, type >> 16, std::array{head[4], head[5], head[6], head[7]}};
    }
    const uint64_t length = NumberAt<uint32_t>(head, 4, isBig_);
    if (bytes.Place() > end || length > end - bytes.Place()) RefuseMat("it is damaged or cut off.");
    return {type, length};
}

// The first of them where there are more than `most`. Passes over the rest.
std::vector<std::byte> MatLister::BytesOf(MatBytes& bytes, const Tag& tag, uint64_t most) const {
    const auto count = static_cast<size_t>(std::min(tag.length, most));
    std::vector<std::byte> found(count);
    if (tag.bytes) {
        std::copy_n(tag.bytes->begin(), count, found.begin());
    } else {
        bytes.Read(found);
        bytes.Skip((tag.length + 7) / 8 * 8 - count);
    }
    return found;
}

// What describes a matrix is short.
std::vector<std::byte> MatLister::ElementOf(MatBytes& bytes, uint64_t end) const {
    constexpr uint64_t mostDescription = 1 << 20;
    const Tag tag = TagOf(bytes, end);
    if (tag.length > mostDescription) RefuseMat("it is damaged or cut off.");
    return BytesOf(bytes, tag);
}

void MatLister::TakeMatrix(MatBytes& bytes, uint64_t end, const std::string& within, int depth) {
    if (bytes.Place() >= end) return;
    const auto flags = ElementOf(bytes, end), dimensions = ElementOf(bytes, end),
               named = ElementOf(bytes, end);
    const auto kind = NumberAt<uint32_t>(flags, 0, isBig_);
    const auto matClass = static_cast<uint8_t>(kind & 0xFF);
    const bool isComplex = (kind & 0x800) != 0;
    std::vector<int64_t> sizes(dimensions.size() / sizeof(int32_t));
    ConvertMat<int32_t>(dimensions, isBig_, sizes.data());
    const std::string name = within.empty() ? PlainText(named) : within;
    if (sizes.size() != 2 || sizes[0] < 0 || sizes[1] < 0 || isComplex) return PassOver(name);
    const Shape shape{static_cast<uint64_t>(sizes[0]), static_cast<uint64_t>(sizes[1])};
    if (matClass == matStruct) {
        if (shape.rows == 1 && shape.columns == 1 && depth < mostDepth)
            return TakeStruct(bytes, end, name, depth);
        return PassOver(name);
    }
    const bool isNumeric = matClass >= matFirstNumeric && matClass <= matLastNumeric;
    if (!isNumeric && matClass != matChar) return PassOver(name);
    if (shape.rows == 0 || shape.columns == 0) return;
    const Tag data = TagOf(bytes, end);
    if (isNumeric)
        TakeNumbers(bytes, shape, data, name);
    else if (shape.rows == 1)
        TakeText(bytes, data, name);
}

void MatLister::TakeStruct(MatBytes& bytes, uint64_t end, const std::string& name, int depth) {
    const auto length = ElementOf(bytes, end), names = ElementOf(bytes, end);
    const auto each = static_cast<uint32_t>(NumberAt<int32_t>(length, 0, isBig_));
    if (each == 0 || each > 1000) RefuseMat("it is damaged or cut off.");
    for (uint64_t n = 0; (n + 1) * each <= names.size(); ++n) {
        const Tag field = TagOf(bytes, end);
        if (field.type != matMatrix) RefuseMat("it is damaged or cut off.");
        const uint64_t start = bytes.Place(), next = start + (field.length + 7) / 8 * 8;
        TakeMatrix(bytes, start + field.length,
                   name + "." + PlainText(ByteSpan(names).subspan(n * each, each)), depth + 1);
        bytes.SkipTo(next);
    }
}

void MatLister::TakeText(MatBytes& bytes, const Tag& tag, const std::string& name) {
    const size_t unitBytes = BytesOfMat(tag.type);
    const auto raw = BytesOf(bytes, tag, unitBytes * mostTextUnits);
    Hold(name, raw.size());
    if (unitBytes == 1) {
        found_.texts[name] = PlainText(raw);
        return;
    }
    std::vector<double> codes(raw.size() / unitBytes);
    ConvertMatType(tag.type, ByteSpan(raw).first(codes.size() * unitBytes), isBig_, codes.data());
    std::u16string units;
    for (const double code : codes)
        units += code >= 1.0 && code < 65536.0 ? static_cast<char16_t>(code) : u' ';
    found_.texts[name] = WideToText(units);
}

void MatLister::TakeNumbers(MatBytes& bytes, const Shape& shape, const Tag& tag, const std::string& name) {
    const uint64_t each = BytesOfMat(tag.type), held = tag.length / each;
    if (shape.rows > held || shape.columns > held / shape.rows) RefuseMat("it is damaged or cut off.");
    if (shape.rows * shape.columns == 1) {
        const auto raw = BytesOf(bytes, tag, each);
        Hold(name, each);
        return ConvertMatType(tag.type, ByteSpan(raw).first(each), isBig_, &found_.numbers[name]);
    }
    const uint64_t at = tag.bytes ? bytes.Place() - tag.bytes->size() : bytes.Place();
    AddArray({name, static_cast<size_t>(shape.rows), static_cast<size_t>(shape.columns),
              packedBytes_ > 0 ? at : variableAt_ + at, variableAt_, packedBytes_, tag.type});
    if (!tag.bytes) bytes.Skip((tag.length + 7) / 8 * 8);
}

void MatLister::AddArray(MatArray array) {
    Hold(array.name, sizeof array);
    const std::string given = array.name.empty() ? "(unnamed)" : array.name;
    array.name = given;
    for (int& n = namesakes_.try_emplace(given, 1).first->second; !names_.insert(array.name).second;)
        array.name = fmt::format("{} ({})", given, ++n);
    found_.arrays.push_back(std::move(array));
    if (found_.arrays.size() > mostArrays) RefuseMat("it holds too many variables.");
}

// A name stands in more than one place.
void MatLister::Hold(const std::string& name, size_t bytes) {
    constexpr size_t places = 3;
    held_ += places * name.size() + bytes;
    if (held_ > mostHeldBytes)
        RefuseMat("it holds too many variables, or their names and texts are too long.");
}

void MatLister::PassOver(const std::string& name) {
    if (found_.passedOver.size() < mostPassedOver)
        found_.passedOver += (found_.passedOver.empty() ? "" : ", ") + name.substr(0, 60);
}

// One matrix behind the other; the kind of the first says in which order its bytes are.
void MatLister::ListVersion4() {
    isBig_ = NumberAt<uint32_t>(Load(0, 4), 0, false) > 9999;
    for (uint64_t at = 0; at + 20 <= file_.Length() && !found_.isCutOff;)
        if (!ListMatrix4(at)) found_.isCutOff = true;
    if (found_.isCutOff && found_.arrays.empty()) RefuseMat("it is damaged or cut off.");
}

// False for a matrix that the file does not hold whole.
bool MatLister::ListMatrix4(uint64_t& at) {
    constexpr uint32_t types[] = {matDouble, matSingle, matInt32, matInt16, matUInt16, matUInt8};
    constexpr int32_t mostNameBytes = 1000;
    constexpr int text = 1;
    const auto head = Load(at, 20);
    const auto number = [&](uint64_t i) { return NumberAt<int32_t>(head, 4 * i, isBig_); };
    const int32_t kind = number(0), nameBytes = number(4);
    const int order = kind / 1000, type = kind / 10 % 10, matrix = kind % 10;
    if (kind < 0 || order != (isBig_ ? 1 : 0) || kind / 100 % 10 != 0 || type > 5 || matrix > 2 ||
        number(1) < 0 || number(2) < 0 || nameBytes < 1 || nameBytes > mostNameBytes)
        RefuseMat("it does not begin as such files do, or is damaged.");
    const Shape shape{static_cast<uint64_t>(number(1)), static_cast<uint64_t>(number(2))};
    const uint64_t dataAt = at + 20 + static_cast<uint64_t>(nameBytes), each = BytesOfMat(types[type]);
    if (dataAt > file_.Length()) return false;
    const uint64_t held = (file_.Length() - dataAt) / each;
    const uint64_t count = shape.rows * shape.columns, parts = number(3) != 0 ? 2 : 1;  // and imaginary ones
    if (count > held / parts) return false;
    const std::string name = PlainText(Load(at + 20, static_cast<uint64_t>(nameBytes)));
    at = dataAt + count * each * parts;
    variableAt_ = dataAt;
    packedBytes_ = 0;
    MatBytes bytes(file_, dataAt, count * each, false);
    const Tag tag{types[type], count * each};
    if (parts > 1 || matrix > text)
        PassOver(name);
    else if (matrix == text && shape.rows == 1)
        TakeText(bytes, tag, name);
    else if (matrix == 0 && count > 0)
        TakeNumbers(bytes, shape, tag, name);
    return true;
}

}  // namespace

bool MatArray::IsSingle() const { return type == matSingle; }

MatFile::MatFile(const DataFile& file) : file_(file) {
    if (IsHdf5Mat(file)) {
        hdf5_ = std::make_unique<Hdf5File>(file);
        contents_ = ListHdf5Mat(*hdf5_);
        return;
    }
    MatLister lister(file);
    contents_ = lister.List();
    isBig_ = lister.IsBig();
}

MatFile::~MatFile() = default;

void MatFile::CheckExpansion(const std::vector<const MatArray*>& arrays) const {
    uint64_t bytes = 0;
    for (const MatArray* array : arrays)
        if (array->packedBytes > 0) bytes += array->Count() * BytesOfMat(array->type);
    if (bytes > MostExpanded(file_)) RefuseExpansion();
}

template <typename To>
std::vector<To> MatFile::Numbers(const MatArray& array) {
    constexpr size_t bytesAtOnce = 1 << 16;
    const size_t each = BytesOfMat(array.type), total = array.Count() * each;
    CheckExpansion({&array});
    if (hdf5_) {
        const std::vector<double> read = Hdf5MatNumbers(*hdf5_, array);
        return {read.begin(), read.end()};
    }
    const bool isPacked = array.packedBytes > 0;
    MatBytes bytes(file_, isPacked ? array.variableAt : array.at, isPacked ? array.packedBytes : total,
                   isPacked);
    if (isPacked) bytes.Skip(array.at);
    std::vector<To> numbers(array.Count());
    std::vector<std::byte> raw(std::min(bytesAtOnce, total));
    for (size_t done = 0; done < total;) {
        const auto part = std::span(raw).first(std::min(raw.size(), total - done));
        bytes.Read(part);
        ConvertMatType(array.type, part, isBig_, numbers.data() + done / each);
        done += part.size();
    }
    return numbers;
}

std::vector<float> MatFile::Floats(const MatArray& array) { return Numbers<float>(array); }
std::vector<double> MatFile::Doubles(const MatArray& array) { return Numbers<double>(array); }

}  // namespace kymora
