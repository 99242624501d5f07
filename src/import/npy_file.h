#pragma once
// Arrays of one dimension and more in NumPy's format (.npy, versions 1 to 3).

#include <memory>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

class NpyFile {
  public:
    // Null where there is no such file or it is no array of numbers or texts that lie in the C order,
    // little-endian.
    static std::unique_ptr<NpyFile> Find(FileSystem& files, const std::filesystem::path& path);

    char Kind() const { return kind_; }      // 'i', 'u', 'f', 'b' or 'S'
    size_t Width() const { return width_; }  // bytes of an item
    // As many as the file holds: what a crash has left states another number.
    int64_t Count() const { return count_; }
    // A whole number; 0 for other kinds. Throws FileError.
    int64_t Whole(int64_t index) const;
    // The first `most` items. Throws FileError.
    std::vector<int64_t> Wholes(int64_t most) const;
    std::string Text(int64_t index) const;

  private:
    int64_t Decode(const std::byte* from) const;

    std::unique_ptr<DataFile> file_;
    char kind_ = ' ';
    size_t width_ = 1;
    uint64_t start_ = 0;
    int64_t count_ = 0;
};

}  // namespace kymora
