#include "results/aligned_table.h"

#include <algorithm>

namespace kymora {

namespace {

// Characters, which is near enough to columns for the texts of a recording.
size_t Width(std::string_view text) {
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

}  // namespace

std::string AlignedTable::Text() const {
    std::vector<size_t> widths(alignment_.size(), 0);
    for (const auto& row : rows_)
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
    std::string text;
    for (const auto& row : rows_) {
        std::string line = " ";
        for (size_t i = 0; i < row.size(); ++i) {
            const std::string fill(widths[i] - Width(row[i]), ' ');
            line += alignment_[i] == 'r' ? " " + fill + row[i] + " " : " " + row[i] + fill + " ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

}  // namespace kymora
