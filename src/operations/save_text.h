#pragma once
// The file that a button of an operation's window saves as text.

#include <functional>
#include <string>

#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr const char* recordingItselfText = "That is the recording itself. Choose another name.";

struct TextFileKind {
    std::string title;   // of the box that asks for the name
    std::string ending;  // behind the name of the recording: " fit.txt"
    std::string what;    // "The fit", for what there is to say
    std::string filter = "text (*.txt)|*.txt||";
};

// Asks for the name and has the file written, which appears whole or not at all. What fails is told;
// Cancelled ends it without a word. The operation has a recording, whose own name is refused.
void SaveTextFile(CBatchBaseDlg& operation, const TextFileKind& kind,
                  const std::function<void(const std::filesystem::path&, CArchive&)>& write);
// Of lines.
void SaveTextLines(CBatchBaseDlg& operation, const TextFileKind& kind,
                   const std::function<void(const TextSink&)>& write);

}  // namespace kymora
