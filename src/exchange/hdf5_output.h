#pragma once
// Writes HDF5 files by the HDF5 library, into any DataFile. The library is not safe between threads: one
// object at a time exists in the program, and another thread waits for its end.

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// Paths lead from the root; groups on the way are made. All functions throw FileError.
class Hdf5Output {
  public:
    explicit Hdf5Output(DataFile& file);
    ~Hdf5Output();
    Hdf5Output(const Hdf5Output&) = delete;
    Hdf5Output& operator=(const Hdf5Output&) = delete;

    void Group(const std::string& path);
    // Of a group or an array that stands.
    void Attribute(const std::string& path, const char* name, const std::string& text);
    void Attribute(const std::string& path, const char* name, double number);
    void Attribute(const std::string& path, const char* name, const std::vector<std::string>& texts);
    // An object of the file.
    void ReferenceAttribute(const std::string& path, const char* name, const std::string& to);
    void Text(const std::string& path, const std::string& text);
    void Texts(const std::string& path, const std::vector<std::string>& texts);
    void Number(const std::string& path, double number);
    void Numbers(const std::string& path, std::span<const double> numbers);
    void Wholes(const std::string& path, std::span<const int64_t> numbers);
    void References(const std::string& path, const std::vector<std::string>& to);
    // A second name.
    void Link(const std::string& path, const std::string& to);

    // An array that is filled from its beginning. `columns` of 0 make it one of a single side.
    void BeginSingles(const std::string& path, int64_t rows, int64_t columns);
    void AddSingles(std::span<const float> values);
    void BeginDoubles(const std::string& path, int64_t count);
    void AddDoubles(std::span<const double> values);

    // Nothing can follow. Without it the file is not complete.
    void Close();

  private:
    struct State;
    void Check(int64_t answer);
    void Write(const std::string& path, int64_t type, const std::vector<int64_t>& sizes, const void* values);
    void WriteAttribute(const std::string& path, const char* name, int64_t type, int64_t count,
                        const void* values);
    void Begin(const std::string& path, int64_t type, int64_t rows, int64_t columns);
    void Add(int64_t type, const void* values, size_t count);

    std::unique_ptr<State> state_;
};

}  // namespace kymora
