#pragma once
// What the documentation says of the formats that can be opened.

#include <string>
#include <string_view>
#include <vector>

namespace kymora {

struct FormatPage {
    std::string_view className;
    std::string_view name;     // of the system, or what the files are
    std::string_view reads{};  // of a recording of another system: what becomes of it
};

// In the order of the documentation; one for each format that can be read.
const std::vector<FormatPage>& FormatPages();

// A table of all formats that can be read: the extensions of Formats(), and what they are.
std::string FormatList();
// One of the recordings of other systems, and what is read of them.
std::string OtherSystemsTable();

// The text with what lies between the line "<!-- NAME -->" and the next "<!-- end -->" replaced. Unchanged
// where there are no such lines.
std::string WithTable(std::string text, std::string_view name, const std::string& table);

}  // namespace kymora
