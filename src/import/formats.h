#pragma once
// The formats of recordings, one line each: all that the program lists of them is made from this table.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

// Formats that know several classes choose by the import settings.
using DocumentMaker = std::unique_ptr<CDataDoc> (*)(Session&, const ImportSettings&);

// The class that reads a format, and what it does.
struct FormatReader {
    DocumentMaker make = nullptr;  // null for a format that is recognised but cannot be read
    bool asks = false;             // its files do not tell all that is needed
    bool folds = false;            // tells extremes without making every sample
    bool savesInPlace = false;     // the others keep what the user adds in a side-car
};

struct FormatExtension {
    std::string_view extension;     // with the dot, lower case
    int place = 0;                  // in the open dialog's pattern of all types, from 1; 0: not in it
    bool inBatch = false;           // batches take it
    std::string_view filterText{};  // of file dialogs; empty: not offered on its own
    std::string_view typeName{};    // empty for none
};

inline constexpr int noFileType = -1;

struct Format {
    std::string_view className;
    int fileType;  // under which files keep where a recording comes from
    FormatReader reader;
    std::vector<FormatExtension> extensions;
};

// In the order of file dialogs.
const std::vector<Format>& Formats();

struct FormatMatch {
    const Format* format = nullptr;
    const FormatExtension* extension = nullptr;
};
// By the extension of a path, whatever its case; nulls for none.
FormatMatch FindFormat(const std::filesystem::path& path);

// The class that answers a file type ("CFloatDoc" for 5).
std::string_view FileTypeClassName(int fileType);

// The open dialog's filters: all recognised types, then each that can be opened.
std::string OpenFilter();
// The same for what can be written as text: recordings that a batch can open, so no text files.
std::string ConvertibleFilter();

}  // namespace kymora
