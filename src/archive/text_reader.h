#pragma once
// Text of unknown making, from a file or from the clipboard, as UTF-8 with "\n" as its only line end. A byte
// order mark tells the encoding; without one, a file whose first bytes are zero in every second place is
// UTF-16, and all others are UTF-8 in which bytes that are none count as Windows-1252. CR LF and a lone CR
// end a line too. Zero characters become blanks. Memory does not grow with the file.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/file_system.h"

namespace kymora {

class TextReader {
  public:
    // The file must outlive the reader.
    explicit TextReader(const DataFile& file);
    // Text that is UTF-8 already; it must outlive the reader.
    explicit TextReader(std::string_view text);

    // The next stretch of text, cut anywhere but within a character; empty at the end. Valid until the next
    // call. Throws FileError.
    std::string_view NextPiece();
    // The next line without its end; false at the end of the text. What follows a last line end is no line.
    // Of a line with more than `mostBytes` the rest is passed over. Throws FileError.
    bool NextLine(std::string& line, size_t mostBytes = 1 << 20);

    void Rewind();
    // Of the file, for progress.
    uint64_t BytesRead() const { return offset_; }
    uint64_t Length() const { return length_; }

  private:
    enum class Encoding { utf8, utf16le, utf16be };
    void Detect();
    bool Fill();
    std::string_view Decode(bool atEnd);
    void DecodeUtf8(std::string_view waiting, bool atEnd);
    void DecodeUtf16(std::string_view waiting, bool atEnd);
    void Append(std::string_view text);

    const DataFile* file_ = nullptr;
    std::string_view source_;
    uint64_t length_ = 0;
    uint64_t start_ = 0;  // behind the byte order mark
    uint64_t offset_ = 0;
    Encoding encoding_ = Encoding::utf8;
    std::vector<char> bytes_;  // read and not decoded: [used_, filled_)
    size_t used_ = 0, filled_ = 0;
    std::string decoded_;
    std::string_view rest_;  // of a piece, not yet given out as lines
    bool afterCr_ = false;  // what was given out ends with a CR: an LF that follows is no line end of its own
};

}  // namespace kymora
