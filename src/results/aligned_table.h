#pragma once
// A table as a person reads it in a terminal or a text window.

#include <string>
#include <string_view>
#include <vector>

namespace kymora {

// Rows of cells that are printed in aligned columns.
class AlignedTable {
  public:
    // A letter for each column: those of numbers, 'r', stand to the right. No row has more cells.
    explicit AlignedTable(std::string alignment) : alignment_(std::move(alignment)) {}
    void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    std::string Text() const;

  private:
    std::string alignment_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace kymora
