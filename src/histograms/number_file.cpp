#include "histograms/number_file.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <optional>
#include <utility>

#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr std::string_view blanks = " \t\r\n;\"";  // and the marks around a cell

// "inf", "-Infinity": beyond all ranges, but a value.
std::optional<double> ParseInfinity(std::string_view word) {
    const bool isNegative = word.starts_with('-');
    if (isNegative || word.starts_with('+')) word.remove_prefix(1);
    std::string name(word);
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (name != "inf" && name != "infinity") return std::nullopt;
    return isNegative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
}

// A word that stands between blanks: a number, with a point or a decimal comma, or several with commas
// between them.
void TakeWord(std::string_view word, bool commasPart, std::vector<double>& numbers) {
    if (const auto number = ParseNumber(word)) {
        numbers.push_back(*number);
        return;
    }
    if (const auto endless = ParseInfinity(word)) {
        numbers.push_back(*endless);
        return;
    }
    const bool isDecimal = !commasPart && std::count(word.begin(), word.end(), ',') == 1;
    if (isDecimal && word.front() != ',' && word.back() != ',') {
        std::string pointed(word);
        std::replace(pointed.begin(), pointed.end(), ',', '.');
        if (const auto number = ParseNumber(pointed)) {
            numbers.push_back(*number);
            return;
        }
    }
    while (!word.empty()) {
        const size_t comma = word.find(',');
        if (const auto number = ParseNumber(word.substr(0, comma)); number && word.front() != ',')
            numbers.push_back(*number);
        if (comma == std::string_view::npos) return;
        word.remove_prefix(comma + 1);
    }
}

// Whether commas part numbers: where one has a point, where a word has more than one comma ("1,2,3"), and
// where a comma stands within words (of a head, "a,b") unless tabs or semicolons part them.
bool CommasPart(TextReader& text) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const auto isLetter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
    const auto isBlank = [](char c) { return blanks.find(c) != std::string_view::npos; };
    char before = ' ', at = ' ';
    int commas = 0;  // of the word
    bool isInWords = false, hasOthers = false;
    for (std::string_view piece = text.NextPiece(); !piece.empty(); piece = text.NextPiece())
        for (const char next : piece) {
            if (at == '.' && (isDigit(before) || isDigit(next))) return true;
            if (at == ',' && !isBlank(before) && !isBlank(next)) {
                if (++commas > 1) return true;
                isInWords |= isLetter(before) || isLetter(next);
            }
            if (commas > 0 && isBlank(next)) commas = 0;
            hasOthers |= next == '\t' || next == ';';
            before = std::exchange(at, next);
        }
    return (at == '.' && isDigit(before)) || (isInWords && !hasOthers);
}

}  // namespace

void ReadNumbers(TextReader& text, std::vector<double>& numbers) {
    const bool commasPart = CommasPart(text);
    text.Rewind();
    std::string line;
    while (text.NextLine(line, std::numeric_limits<size_t>::max())) {
        for (size_t at = 0; (at = line.find_first_not_of(blanks, at)) != std::string::npos;) {
            const size_t end = std::min(line.find_first_of(blanks, at), line.size());
            TakeWord(std::string_view(line).substr(at, end - at), commasPart, numbers);
            at = end;
        }
    }
}

bool ReadNumberFile(FileSystem& files, const std::filesystem::path& path, std::vector<double>& numbers) {
    try {
        const auto file = files.Open(path, OpenMode::readOnly);
        TextReader text(*file);
        ReadNumbers(text, numbers);
        return true;
    } catch (const FileError&) {
        return false;
    }
}

}  // namespace kymora
