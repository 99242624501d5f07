#pragma once
// The dialog of text files: their first lines, and how they are to be read.

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/session.h"

namespace kymora {

// The lines of the file that are shown.
inline constexpr size_t previewLines = 20;
// The limits of the sample interval, ms.
inline constexpr double leastInterval = 1e-8, greatestInterval = 1e10;

struct TextFileQuestion {
    std::string preview;
    std::set<std::string, std::less<>> known;  // keys that are settled and not asked for
    // The rows at the top that seem to be no data when so many columns are skipped; empty where the number
    // in the form was stated by somebody.
    std::function<int(int skipColumns)> guess;
    std::string fault;  // why the file could not be read as the values say
};

// The first lines without trailing blanks; very long ones are cut.
std::string TextPreview(const std::vector<std::string_view>& lines);

// Asks for what is not known yet. False when the user cancels.
bool AskTextFile(Session& session, const TextFileQuestion& question, TextFileDefaults& values);

}  // namespace kymora
