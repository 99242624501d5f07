#include "import/axograph_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "archive/text_encoding.h"
#include "document/open_request.h"

namespace kymora {

namespace {

constexpr int mostColumns = 20000;
constexpr uint64_t mostTitleBytes = 1 << 20;
constexpr int firstOfX = 3, firstWithVersionedTraces = 6;

enum ColumnType : int {
    columnShort = 4,
    columnInt = 5,
    columnFloat = 6,
    columnDouble = 7,
    columnSeries = 9,
    columnScaled = 10,
};

[[noreturn]] void RefuseAxograph(const std::string& why) {
    throw OpenError("This AxoGraph file cannot be read: " + why);
}

// The file ends before a field.
struct CutOff : OpenError {
    using OpenError::OpenError;
};

// Reads one field after the other.
class Cursor {
  public:
    explicit Cursor(const DataFile& file, uint64_t at) : file_(file), at_(at) {}
    uint64_t Place() const { return at_; }
    void Skip(uint64_t bytes) { at_ += bytes; }
    int16_t I16() { return Next(2).I16(0); }
    int32_t I32() { return Next(4).I32(0); }
    float F32() { return Next(4).F32(0); }
    double F64() { return Next(8).F64(0); }
    std::string Pascal() {
        const FileFields field = Next(80);
        return MacRomanToText(field.Bytes(1, std::min<size_t>(field.U8(0), 79)));
    }
    // UTF-16 behind the number of its bytes, which is -1 or 0 where there is none.
    std::string Wide() {
        const int32_t length = I32();
        if (length <= 0) return {};
        if (static_cast<uint64_t>(length) > mostTitleBytes) RefuseAxograph("a text in it is too long.");
        const FileFields bytes = Next(static_cast<uint64_t>(length));
        std::u16string units;
        for (size_t i = 0; i + 2 <= bytes.Length(); i += 2) units += static_cast<char16_t>(bytes.U16(i));
        return WideToText(units);
    }

  private:
    FileFields Next(uint64_t bytes) {
        if (at_ > file_.Length() || bytes > file_.Length() - at_)
            throw CutOff("This AxoGraph file cannot be read: it is cut off.");
        FileFields fields(file_, at_, bytes, ByteOrder::big);
        at_ += bytes;
        return fields;
    }
    const DataFile& file_;
    uint64_t at_;
};

class AxographReader {
  public:
    explicit AxographReader(const DataFile& file) : file_(file), cursor_(file, 0) {}
    AxographFile Read();

  private:
    void ReadColumn(bool isFirst);
    void ReadColumnX(AxographColumn& column);
    void ReadTexts();
    void ReadGroups();

    const DataFile& file_;
    Cursor cursor_;
    AxographFile found_;
};

AxographFile AxographReader::Read() {
    const FileFields mark(file_, 0, std::min<uint64_t>(file_.Length(), 4));
    const bool isX = mark.Bytes(0, mark.Length()) == "axgx";
    if (!isX && mark.Bytes(0, mark.Length()) != "AxGr") RefuseAxograph("it does not begin as such files do.");
    cursor_.Skip(4);
    found_.version = isX ? cursor_.I32() : cursor_.I16();
    const int columns = isX ? cursor_.I32() : cursor_.I16();
    const bool isKnown =
        isX ? found_.version >= firstOfX && found_.version <= 6 : found_.version == 1 || found_.version == 2;
    if (!isKnown) RefuseAxograph(fmt::format("its version, {}, is not known.", found_.version));
    if (columns < 2 || columns > mostColumns) RefuseAxograph("it holds no columns of data.");
    for (int c = 0; c < columns && !found_.isCutOff; ++c) {
        try {
            ReadColumn(c == 0);
        } catch (const CutOff&) {
            if (c < 2) throw;
            found_.isCutOff = true;
        }
    }
    if (isX && !found_.isCutOff) {
        try {
            ReadTexts();
            ReadGroups();
        } catch (const OpenError&) {
            found_.groups.clear();  // what stands behind the columns only adds to them
        }
    }
    return std::move(found_);
}

void AxographReader::ReadColumn(bool isFirst) {
    AxographColumn column;
    column.points = cursor_.I32();
    if (column.points < 0) RefuseAxograph("a column of it is damaged.");
    if (found_.version >= firstOfX) {
        ReadColumnX(column);
    } else {
        column.title = cursor_.Pascal();
        column.isSeries = isFirst && found_.version == 2;
        if (column.isSeries) {
            column.scale.offset = cursor_.F32();
            column.scale.factor = SevenDigits(cursor_.F32());
        } else if (found_.version == 2) {
            column.type = NumberType::i16;
            column.scale.factor = cursor_.F32();
        }
    }
    if (column.isSeries && !isFirst) RefuseAxograph("it holds a computed column, which is no recording.");
    if (!column.isSeries) {
        column.offset = cursor_.Place();
        const auto each = static_cast<uint64_t>(BytesOf(column.type));
        const auto held = static_cast<int64_t>((file_.Length() - column.offset) / each);
        found_.isCutOff = held < column.points;
        if (found_.isCutOff && isFirst) RefuseAxograph("it is cut off.");
        column.points = std::min(column.points, held);
        cursor_.Skip(static_cast<uint64_t>(column.points) * each);
    }
    const bool isScaled = column.scale.factor != 0.0 && std::isfinite(column.scale.factor) &&
                          std::isfinite(column.scale.offset);
    if (!isFirst && !isScaled)
        RefuseAxograph(fmt::format("column {} states a scale of {} and an offset of {}.",
                                   found_.columns.size() + 1, column.scale.factor, column.scale.offset));
    found_.columns.push_back(std::move(column));
}

void AxographReader::ReadColumnX(AxographColumn& column) {
    const int type = cursor_.I32();
    column.title = cursor_.Wide();
    switch (type) {
    case columnShort:
        column.type = NumberType::i16;
        return;
    case columnInt:
        column.type = NumberType::i32;
        return;
    case columnFloat:
        column.type = NumberType::f32;
        return;
    case columnDouble:
        column.type = NumberType::f64;
        return;
    case columnSeries:
        column.isSeries = true;
        column.scale.offset = cursor_.F64();
        column.scale.factor = cursor_.F64();
        return;
    case columnScaled:
        column.type = NumberType::i16;
        column.scale.factor = cursor_.F64();
        column.scale.offset = cursor_.F64();
        return;
    default:
        RefuseAxograph(fmt::format("a column has the type {}, which is not known.", type));
    }
}

void AxographReader::ReadTexts() {
    found_.comment = cursor_.Wide();
    found_.notes = cursor_.Wide();
}

// Each trace tells its column and its group; what it is drawn with is passed over.
void AxographReader::ReadGroups() {
    constexpr uint64_t bytesOfDrawing = 4 + 24 + 8 + 8 + 24 + 4 + 4 + 8 + 14 * 4;
    const int traces = cursor_.I32();
    if (traces < 1 || traces > mostColumns) return;
    std::map<int, int> groups;  // of columns
    for (int t = 0; t < traces; ++t) {
        const int version = found_.version >= firstWithVersionedTraces ? cursor_.I32() : 1;
        cursor_.Skip(4);
        const int column = cursor_.I32();
        cursor_.Skip(version >= 2 ? 8 : 4);
        groups[column] = cursor_.I32();
        cursor_.Skip(bytesOfDrawing);
    }
    std::vector<int> list;
    for (int c = 1; c < static_cast<int>(found_.columns.size()); ++c) {
        const auto group = groups.find(c);
        if (group == groups.end()) return;
        list.push_back(group->second);
    }
    found_.groups = std::move(list);
}

}  // namespace

AxographFile ReadAxographFile(const DataFile& file) { return AxographReader(file).Read(); }

}  // namespace kymora
