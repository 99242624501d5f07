#pragma once
// Numbers in a text of unknown making: whatever stands between blanks, tabs, commas, semicolons and line ends
// and is a number, in quotation marks or without. A comma between two numbers is a decimal one where no
// number of the text has a point and no other comma can only be one between cells.

#include <string_view>
#include <vector>

#include "archive/text_reader.h"

namespace kymora {

// Appends the numbers; words are passed over. Throws FileError.
void ReadNumbers(TextReader& text, std::vector<double>& numbers);

// False when the file cannot be opened or read.
bool ReadNumberFile(FileSystem& files, const std::filesystem::path& path, std::vector<double>& numbers);

}  // namespace kymora
