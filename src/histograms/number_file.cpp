#include "histograms/number_file.h"

#include <algorithm>
#include <limits>

#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr std::string_view blanks = " \t\r\n;";

// A word that stands between blanks: a number, with a point or a decimal comma, or several with commas
// between them.
void TakeWord(std::string_view word, std::vector<double>& numbers) {
    if (const auto number = ParseNumber(word)) {
        numbers.push_back(*number);
        return;
    }
    const bool isDecimal =
        std::count(word.begin(), word.end(), ',') == 1 && word.find('.') == std::string_view::npos;
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

}  // namespace

void ReadNumbers(TextReader& text, std::vector<double>& numbers) {
    std::string line;
    while (text.NextLine(line, std::numeric_limits<size_t>::max())) {
        for (size_t at = 0; (at = line.find_first_not_of(blanks, at)) != std::string::npos;) {
            const size_t end = std::min(line.find_first_of(blanks, at), line.size());
            TakeWord(std::string_view(line).substr(at, end - at), numbers);
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
