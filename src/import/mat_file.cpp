#include "import/mat_file.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "archive/text_encoding.h"
#include "document/open_request.h"
#include "import/number_conversion.h"

namespace kymora {

namespace {

constexpr size_t matHeaderBytes = 128;
constexpr uint64_t mostExpandedBytes = 24 << 20, mostExpansion = 20;  // of what is compressed
constexpr int mostDepth = 3;                                          // of structures in structures
constexpr size_t mostPassedOver = 200;                                // bytes of names in a message
constexpr size_t mostTextUnits = 10000;

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
std::vector<To> NumbersAs(ByteSpan bytes, bool isBig) {
    std::vector<To> numbers(bytes.size() / sizeof(T));
    for (size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = static_cast<To>(NumberAt<T>(bytes, i * sizeof(T), isBig));
    return numbers;
}

template <typename To>
std::vector<To> NumbersOf(uint32_t type, ByteSpan bytes, bool isBig) {
    switch (type) {
    case matInt8:
        return NumbersAs<int8_t, To>(bytes, isBig);
    case matInt16:
        return NumbersAs<int16_t, To>(bytes, isBig);
    case matUInt16:
        return NumbersAs<uint16_t, To>(bytes, isBig);
    case matInt32:
        return NumbersAs<int32_t, To>(bytes, isBig);
    case matUInt32:
        return NumbersAs<uint32_t, To>(bytes, isBig);
    case matSingle:
        return NumbersAs<float, To>(bytes, isBig);
    case matDouble:
        return NumbersAs<double, To>(bytes, isBig);
    case matInt64:
        return NumbersAs<int64_t, To>(bytes, isBig);
    case matUInt64:
        return NumbersAs<uint64_t, To>(bytes, isBig);
    default:
        return NumbersAs<uint8_t, To>(bytes, isBig);
    }
}

std::string PlainText(ByteSpan bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return TextOfUnknownEncoding(text.substr(0, text.find('\0')));
}

class MatReader {
  public:
    explicit MatReader(const DataFile& file) : file_(file) {}
    MatContents Read();

  private:
    // An element: what it is, its bytes, and where the next one begins.
    struct Element {
        uint32_t type = 0;
        ByteSpan bytes;
        uint64_t next = 0;
    };
    struct Shape {
        uint64_t rows = 0, columns = 0;
        bool isPlane = true;
    };

    void ReadVersion5();
    void ReadVersion4();
    std::vector<std::byte> Load(uint64_t at, uint64_t length) const;
    std::vector<std::byte> Expand(ByteSpan packed);
    Element ElementAt(ByteSpan bytes, uint64_t at) const;
    void TakeMatrix(ByteSpan matrix, const std::string& within, int depth);
    void TakeStruct(ByteSpan matrix, uint64_t at, const std::string& name, int depth);
    void TakeText(const Element& data, const std::string& name);
    void TakeNumbers(const Shape& shape, uint32_t type, ByteSpan bytes, const std::string& name);
    void PassOver(const std::string& name);

    const DataFile& file_;
    bool isBig_ = false;
    uint64_t expanded_ = 0;
    MatContents found_;
};

MatContents MatReader::Read() {
    if (file_.Length() < 20) RefuseMat("it is too short.");
    const auto start = Load(0, std::min<uint64_t>(file_.Length(), matHeaderBytes));
    const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
    if (text.starts_with("MATLAB 7.3"))
        RefuseMat("it is of version 7.3. Save it in MATLAB with the option -v7, which Kymora reads.");
    if (text.starts_with("MATLAB 5.0 MAT-file")) {
        if (text.size() < matHeaderBytes) RefuseMat("it is damaged or cut off.");
        isBig_ = text.substr(126, 2) == "MI";
        ReadVersion5();
    } else {
        ReadVersion4();
    }
    return std::move(found_);
}

std::vector<std::byte> MatReader::Load(uint64_t at, uint64_t length) const {
    if (at > file_.Length() || length > file_.Length() - at) RefuseMat("it is damaged or cut off.");
    std::vector<std::byte> bytes(static_cast<size_t>(length));
    ReadWhole(file_, at, bytes);
    return bytes;
}

void MatReader::ReadVersion5() {
    const uint64_t size = file_.Length();
    for (uint64_t at = matHeaderBytes; at + 8 <= size;) {
        const auto tag = Load(at, 8);
        const auto type = NumberAt<uint32_t>(tag, 0, isBig_), length = NumberAt<uint32_t>(tag, 4, isBig_);
        const auto bytes = Load(at + 8, length);
        at += 8 + uint64_t{length};
        if (type == matCompressed) {
            const auto whole = Expand(bytes);
            const Element matrix = ElementAt(whole, 0);
            if (matrix.type == matMatrix) TakeMatrix(matrix.bytes, {}, 0);
        } else {
            at = (at + 7) / 8 * 8;
            if (type == matMatrix) TakeMatrix(bytes, {}, 0);
        }
    }
}

std::vector<std::byte> MatReader::Expand(ByteSpan packed) {
    const uint64_t most = mostExpandedBytes + mostExpansion * file_.Length();
    std::vector<std::byte> whole(std::min<size_t>(packed.size() * 4 + 1024, 1 << 20));
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) RefuseMat("there is no memory for it.");
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    uint64_t done = 0;
    int result = Z_OK;
    while (result == Z_OK && expanded_ + done <= most) {
        if (done == whole.size()) whole.resize(whole.size() * 2);
        const size_t room = std::min<size_t>(whole.size() - done, 1 << 30);
        stream.next_out = reinterpret_cast<Bytef*>(whole.data() + done);
        stream.avail_out = static_cast<uInt>(room);
        result = inflate(&stream, Z_NO_FLUSH);
        done += room - stream.avail_out;
        if (result == Z_BUF_ERROR && stream.avail_out == 0) result = Z_OK;
    }
    inflateEnd(&stream);
    expanded_ += done;
    if (expanded_ > most) RefuseMat("what is compressed in it is far larger than the file itself.");
    if (result != Z_STREAM_END) RefuseMat("it is damaged or cut off.");
    whole.resize(static_cast<size_t>(done));
    return whole;
}

// Short ones have their length in the upper half of the type, and their bytes behind that.
MatReader::Element MatReader::ElementAt(ByteSpan bytes, uint64_t at) const {
    const auto head = NumberAt<uint32_t>(bytes, at, isBig_);
    if (head >> 16 != 0) {
        if (head >> 16 > 4) RefuseMat("it is damaged or cut off.");
        return {head & 0xFFFF, Part(bytes, at + 4, head >> 16), at + 8};
    }
    const auto length = NumberAt<uint32_t>(bytes, at + 4, isBig_);
    return {head, Part(bytes, at + 8, length), at + 8 + (uint64_t{length} + 7) / 8 * 8};
}

void MatReader::TakeMatrix(ByteSpan matrix, const std::string& within, int depth) {
    if (matrix.empty()) return;
    const Element flags = ElementAt(matrix, 0), dimensions = ElementAt(matrix, flags.next),
                  named = ElementAt(matrix, dimensions.next);
    const auto kind = NumberAt<uint32_t>(flags.bytes, 0, isBig_);
    const auto matClass = static_cast<uint8_t>(kind & 0xFF);
    const bool isComplex = (kind & 0x800) != 0;
    const auto sizes = NumbersAs<int32_t, int64_t>(dimensions.bytes, isBig_);
    const std::string name = within.empty() ? PlainText(named.bytes) : within;
    if (sizes.size() != 2 || sizes[0] < 0 || sizes[1] < 0 || isComplex) return PassOver(name);
    const Shape shape{static_cast<uint64_t>(sizes[0]), static_cast<uint64_t>(sizes[1])};
    if (matClass == matStruct) {
        if (shape.rows == 1 && shape.columns == 1 && depth < mostDepth)
            return TakeStruct(matrix, named.next, name, depth);
        return PassOver(name);
    }
    const bool isNumeric = matClass >= matFirstNumeric && matClass <= matLastNumeric;
    if (!isNumeric && matClass != matChar) return PassOver(name);
    if (shape.rows == 0 || shape.columns == 0) return;
    const Element data = ElementAt(matrix, named.next);
    if (isNumeric)
        TakeNumbers(shape, data.type, data.bytes, name);
    else if (shape.rows == 1)
        TakeText(data, name);
}

void MatReader::TakeStruct(ByteSpan matrix, uint64_t at, const std::string& name, int depth) {
    const Element length = ElementAt(matrix, at), names = ElementAt(matrix, length.next);
    const auto each = static_cast<uint32_t>(NumberAt<int32_t>(length.bytes, 0, isBig_));
    if (each == 0 || each > 1000) RefuseMat("it is damaged or cut off.");
    uint64_t place = names.next;
    for (uint64_t n = 0; (n + 1) * each <= names.bytes.size(); ++n) {
        const Element field = ElementAt(matrix, place);
        if (field.type != matMatrix) RefuseMat("it is damaged or cut off.");
        TakeMatrix(field.bytes, name + "." + PlainText(names.bytes.subspan(n * each, each)), depth + 1);
        place = field.next;
    }
}

void MatReader::TakeText(const Element& data, const std::string& name) {
    if (data.type == matUtf8 || BytesOfMat(data.type) == 1) {
        found_.texts[name] = PlainText(data.bytes.first(std::min(data.bytes.size(), mostTextUnits)));
        return;
    }
    const auto units = NumbersOf<uint16_t>(
        data.type, data.bytes.first(std::min(data.bytes.size(), 2 * mostTextUnits)), isBig_);
    found_.texts[name] = WideToText(std::u16string(units.begin(), units.end()));
}

void MatReader::TakeNumbers(const Shape& shape, uint32_t type, ByteSpan bytes, const std::string& name) {
    const uint64_t held = bytes.size() / BytesOfMat(type);
    if (shape.rows > held || shape.columns > held / shape.rows) RefuseMat("it is damaged or cut off.");
    const uint64_t count = shape.rows * shape.columns;
    const ByteSpan used = Part(bytes, 0, count * BytesOfMat(type));
    if (count == 1)
        found_.numbers[name] = NumbersOf<double>(type, used, isBig_)[0];
    else
        found_.arrays.push_back({name, static_cast<size_t>(shape.rows), static_cast<size_t>(shape.columns),
                                 NumbersOf<float>(type, used, isBig_)});
}

void MatReader::PassOver(const std::string& name) {
    if (found_.passedOver.size() < mostPassedOver)
        found_.passedOver += (found_.passedOver.empty() ? "" : ", ") + name.substr(0, 60);
}

// One matrix behind the other; the kind of the first says in which order its bytes are.
void MatReader::ReadVersion4() {
    constexpr uint32_t types[] = {matDouble, matSingle, matInt32, matInt16, matUInt16, matUInt8};
    constexpr int32_t mostNameBytes = 1000;
    isBig_ = NumberAt<uint32_t>(Load(0, 4), 0, false) > 9999;
    for (uint64_t at = 0; at + 20 <= file_.Length();) {
        const auto head = Load(at, 20);
        const auto number = [&](uint64_t i) { return NumberAt<int32_t>(head, 4 * i, isBig_); };
        const int32_t kind = number(0), nameBytes = number(4);
        const int order = kind / 1000, type = kind / 10 % 10, matrix = kind % 10;
        if (kind < 0 || order != (isBig_ ? 1 : 0) || kind / 100 % 10 != 0 || type > 5 || matrix > 2 ||
            number(1) < 0 || number(2) < 0 || nameBytes < 1 || nameBytes > mostNameBytes)
            RefuseMat("it does not begin as such files do, or is damaged.");
        const std::string name = PlainText(Load(at + 20, static_cast<uint64_t>(nameBytes)));
        const Shape shape{static_cast<uint64_t>(number(1)), static_cast<uint64_t>(number(2))};
        if (shape.rows > file_.Length() || shape.columns > file_.Length())
            RefuseMat("it is damaged or cut off.");
        const uint64_t bytes = shape.rows * shape.columns * BytesOfMat(types[type]);
        at += 20 + static_cast<uint64_t>(nameBytes);
        if (number(3) != 0 || matrix != 0)
            PassOver(name);
        else if (bytes > 0)
            TakeNumbers(shape, types[type], Load(at, bytes), name);
        at += number(3) != 0 ? 2 * bytes : bytes;
        if (at > file_.Length()) RefuseMat("it is damaged or cut off.");
    }
}

}  // namespace

MatContents ReadMatFile(const DataFile& file) { return MatReader(file).Read(); }

}  // namespace kymora
