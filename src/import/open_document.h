#pragma once
// The formats that the program can open, in one table, and the way from a path to a document.

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

#include "document/data_doc.h"

namespace kymora {

struct DocumentFormat {
    std::string_view extension;   // with the dot, lower case
    std::string_view filterText;  // of the open dialog
    std::unique_ptr<CDataDoc> (*make)(Session&);
};

// The table stands in import/open_document.cpp, above the formats that it names.
std::span<const DocumentFormat> DocumentFormats();

// Opens a recording by its extension. Null when it cannot be opened; the user was told why.
std::unique_ptr<CDataDoc> OpenDocument(Session& session, const std::filesystem::path& path,
                                       OpenFor purpose = OpenFor::editing);

}  // namespace kymora
