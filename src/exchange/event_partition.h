#pragma once
// Partition files: whole numbers separated by white space, one for each event of a channel in their order,
// that say which of several channels gets it.

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "archive/text_reader.h"
#include "host/host.h"

namespace kymora {

// What stands in the file is no partition; what() is a sentence for the user.
class PartitionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Partition {
    std::vector<int32_t> numbers;  // the first ones
    int64_t count = 0;             // of all that were read
    int32_t maximum = 0;           // of all; 0 where none is above
    bool wasCancelled = false;
};

// Keeps the first `mostKept` numbers and counts all. Throws PartitionError for a word that is no whole number
// of 32 bits, and FileError.
Partition ReadPartition(TextReader& reader, size_t mostKept, Host& host);

}  // namespace kymora
