#pragma once
// What MATLAB files (version 4, and 5 to 7 with or without compression) hold of numbers and texts, read into
// memory. Layout: "MAT-File Format" (MathWorks).

#include <map>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// A matrix of real numbers with more than one element; of a structure with one element under "name.field".
struct MatArray {
    std::string name;
    size_t rows = 0, columns = 0;
    std::vector<float> values;  // column by column
};

struct MatContents {
    std::vector<MatArray> arrays;  // in the file's order
    std::map<std::string, double> numbers;
    std::map<std::string, std::string> texts;
    std::string passedOver;  // names of what is none of these, for a message
};

// Throws OpenError, also for what expands to far more than the file.
MatContents ReadMatFile(const DataFile& file);

}  // namespace kymora
