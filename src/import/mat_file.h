#pragma once
// What MATLAB files (version 4, 5 to 7 with or without compression, and 7.3) hold of numbers and texts.
// Arrays are listed by their heads; their numbers are read, and expanded, only where they are asked for.
// Layout: "MAT-File Format" (MathWorks).

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// A matrix of real numbers with more than one element; of a structure with one element under "name.field".
struct MatArray {
    std::string name;  // unlike those of all others
    size_t rows = 0, columns = 0;
    // Where its numbers lie: in the file, or in what expands from the bytes of its variable.
    uint64_t at = 0;
    uint64_t variableAt = 0, packedBytes = 0;  // 0: not compressed
    uint32_t type = 0;
    size_t Count() const { return rows * columns; }
    bool IsSingle() const;  // precision
};

struct MatContents {
    std::vector<MatArray> arrays;  // in the file's order
    std::map<std::string, double> numbers;
    std::map<std::string, std::string> texts;
    std::string passedOver;  // names of what is none of these, for a message
    bool isCutOff = false;   // the last variable is not whole and left out
};

class Hdf5File;

class MatFile {
  public:
    // Throws OpenError. The file must outlive the object.
    explicit MatFile(const DataFile& file);
    ~MatFile();

    const MatContents& Contents() const { return contents_; }
    // Throws OpenError where they expand to far more than the file.
    void CheckExpansion(const std::vector<const MatArray*>& arrays) const;
    // Column by column. Throw OpenError, also where one expands to far more than the file.
    std::vector<float> Floats(const MatArray& array);
    std::vector<double> Doubles(const MatArray& array);

  private:
    template <typename To>
    std::vector<To> Numbers(const MatArray& array);

    const DataFile& file_;
    bool isBig_ = false;
    std::unique_ptr<Hdf5File> hdf5_;  // of version 7.3
    MatContents contents_;
};

}  // namespace kymora
