#include "archive/text_reader.h"

#include <algorithm>
#include <cstring>

#include "archive/text_encoding.h"

namespace kymora {

namespace {

constexpr size_t windowBytes = 256 << 10;
constexpr size_t bytesLookedAt = 4096;  // for an encoding without its mark
constexpr std::string_view utf8Mark = "\xEF\xBB\xBF", utf16leMark = "\xFF\xFE", utf16beMark = "\xFE\xFF";

unsigned char Byte(char c) { return static_cast<unsigned char>(c); }

// Bytes of the character that begins here: 1 to 4; 0 for bytes that are no UTF-8; -1 where the text ends
// within what may become one.
int Utf8Length(std::string_view text) {
    const unsigned char lead = Byte(text[0]);
    if (lead < 0x80) return 1;
    const int length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    for (int i = 1; i < length; ++i) {
        if (static_cast<size_t>(i) == text.size()) return -1;
        unsigned char least = 0x80, greatest = 0xBF;
        if (i == 1 && lead == 0xE0) least = 0xA0;     // longer than needed
        if (i == 1 && lead == 0xED) greatest = 0x9F;  // surrogates
        if (i == 1 && lead == 0xF0) least = 0x90;     // longer than needed
        if (i == 1 && lead == 0xF4) greatest = 0x8F;  // above U+10FFFF
        const unsigned char next = Byte(text[static_cast<size_t>(i)]);
        if (next < least || next > greatest) return 0;
    }
    return length;
}

// Plain letters that can be given out as they are.
bool IsPlain(std::string_view text) {
    unsigned char all = 0;
    bool special = false;
    for (const char c : text) {
        all |= Byte(c);
        special |= (c == '\r') | (c == '\0');
    }
    return all < 0x80 && !special;
}

}  // namespace

TextReader::TextReader(const DataFile& file) : file_(&file), length_(file.Length()) {
    bytes_.resize(windowBytes);
    Detect();
    Rewind();
}

TextReader::TextReader(std::string_view text) : source_(text), length_(text.size()) {
    bytes_.resize(std::min(windowBytes, text.size() + 1));
    if (text.starts_with(utf8Mark)) start_ = utf8Mark.size();
    Rewind();
}

void TextReader::Detect() {
    std::string head(bytesLookedAt, '\0');
    head.resize(file_->ReadAt(0, std::as_writable_bytes(std::span(head))));
    const auto hasMark = [&](std::string_view mark, Encoding encoding) {
        if (!head.starts_with(mark)) return false;
        start_ = mark.size();
        encoding_ = encoding;
        return true;
    };
    if (hasMark(utf8Mark, Encoding::utf8) || hasMark(utf16leMark, Encoding::utf16le) ||
        hasMark(utf16beMark, Encoding::utf16be))
        return;
    size_t zeros[2] = {0, 0};
    for (size_t i = 0; i < head.size(); ++i) zeros[i % 2] += head[i] == '\0' ? 1 : 0;
    const size_t many = head.size() / 4;  // half of the units: text in letters of the west
    if (many == 0) return;
    if (zeros[1] > many && zeros[0] == 0) encoding_ = Encoding::utf16le;
    if (zeros[0] > many && zeros[1] == 0) encoding_ = Encoding::utf16be;
}

void TextReader::Rewind() {
    offset_ = start_;
    used_ = filled_ = 0;
    rest_ = {};
    afterCr_ = false;
}

// Reads behind what is left of the window; false at the end.
bool TextReader::Fill() {
    std::memmove(bytes_.data(), bytes_.data() + used_, filled_ - used_);
    filled_ -= used_;
    used_ = 0;
    const std::span<char> room(bytes_.data() + filled_, bytes_.size() - filled_);
    size_t read = 0;
    if (file_) {
        read = file_->ReadAt(offset_, std::as_writable_bytes(room));
    } else if (offset_ < source_.size()) {
        read = source_.copy(room.data(), room.size(), offset_);
    }
    offset_ += read;
    filled_ += read;
    return read != 0;
}

std::string_view TextReader::NextPiece() {
    for (;;) {
        const bool atEnd = !Fill();
        if (atEnd && used_ == filled_) return {};
        if (const std::string_view piece = Decode(atEnd); !piece.empty()) return piece;
        if (atEnd) return {};
    }
}

std::string_view TextReader::Decode(bool atEnd) {
    const std::string_view waiting(bytes_.data() + used_, filled_ - used_);
    if (encoding_ == Encoding::utf8 && !afterCr_ && IsPlain(waiting)) {
        used_ = filled_;
        return waiting;
    }
    decoded_.clear();
    encoding_ == Encoding::utf8 ? DecodeUtf8(waiting, atEnd) : DecodeUtf16(waiting, atEnd);
    std::replace(decoded_.begin(), decoded_.end(), '\0', ' ');
    return decoded_;
}

// Adds characters with their line ends made one.
void TextReader::Append(std::string_view text) {
    if (afterCr_ && !text.empty()) {
        if (text.front() == '\n') text.remove_prefix(1);
        afterCr_ = false;
    }
    while (!text.empty()) {
        const size_t plain = std::min(text.find('\r'), text.size());
        decoded_ += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) return;
        decoded_ += '\n';
        const bool isPair = text.starts_with("\r\n");
        text.remove_prefix(isPair ? 2 : 1);
        afterCr_ = text.empty() && !isPair;
    }
}

void TextReader::DecodeUtf8(std::string_view waiting, bool atEnd) {
    size_t at = 0, plainFrom = 0;
    while (at < waiting.size()) {
        const int length = Byte(waiting[at]) < 0x80 ? 1 : Utf8Length(waiting.substr(at));
        if (length > 0) {
            at += static_cast<size_t>(length);
            continue;
        }
        if (length < 0 && !atEnd) break;
        Append(waiting.substr(plainFrom, at - plainFrom));
        const std::byte odd[] = {static_cast<std::byte>(waiting[at])};
        Append(NarrowToText(odd));
        plainFrom = ++at;
    }
    Append(waiting.substr(plainFrom, at - plainFrom));
    used_ += at;
}

void TextReader::DecodeUtf16(std::string_view waiting, bool atEnd) {
    const size_t high = encoding_ == Encoding::utf16be ? 0 : 1;
    std::u16string units(waiting.size() / 2, u'\0');
    for (size_t i = 0; i < units.size(); ++i) {
        const unsigned unit = Byte(waiting[2 * i + high]) * 256u + Byte(waiting[2 * i + 1 - high]);
        units[i] = static_cast<char16_t>(unit);
    }
    const auto isHighSurrogate = [](char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; };
    if (!atEnd && !units.empty() && isHighSurrogate(units.back())) units.pop_back();
    Append(WideToText(units));
    used_ = atEnd ? filled_ : used_ + 2 * units.size();
}

bool TextReader::NextLine(std::string& line, size_t mostBytes) {
    line.clear();
    bool any = false;
    for (;;) {
        if (rest_.empty()) rest_ = NextPiece();
        if (rest_.empty()) return any;
        any = true;
        const size_t end = std::min(rest_.find('\n'), rest_.size());
        line += rest_.substr(0, std::min(end, mostBytes - line.size()));
        const bool isWhole = end < rest_.size();
        rest_.remove_prefix(isWhole ? end + 1 : end);
        if (isWhole) return true;
    }
}

}  // namespace kymora
