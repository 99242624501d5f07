#pragma once
// The columns of an AxoGraph file.

#include <string>
#include <vector>

#include "import/stored_channels.h"

namespace kymora {

struct AxographColumn {
    std::string title;
    NumberType type = NumberType::f32;
    uint64_t offset = 0;  // file offset of the first number; 0 for a series
    int64_t points = 0;
    ValueScale scale{};
    bool isSeries = false;  // scale.offset, and scale.factor from one point to the next
};

struct AxographFile {
    int version = 0;
    std::vector<AxographColumn> columns;  // the first is time
    std::vector<int> groups;              // of each column but the first; empty where the file tells none
    std::string comment, notes;
    bool isCutOff = false;  // the last columns are not whole: their points are those that there are
};

// Throws OpenError.
AxographFile ReadAxographFile(const DataFile& file);

}  // namespace kymora
