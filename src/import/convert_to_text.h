#pragma once
// The command "Convert to txt format": recordings written as text beside themselves.

#include <span>

#include "import/open_document.h"

namespace kymora {

// Asks for files, and writes each as text under its own name with the extension .txt. Shows progress; a
// cancel stops the run after whole files. Another file of such a name is replaced only when the user agrees.
// The number of files written.
int ConvertFilesToText(Session& session, BatchDocuments& batch);

}  // namespace kymora
