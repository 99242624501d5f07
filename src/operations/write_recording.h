#pragma once
// From an operation to the file that it makes: written beside its place under a name of its own, and put
// there in one step when all of it has reached the disk.

#include <functional>

#include "document/history_steps.h"
#include "operations/batch_base_dlg.h"

namespace kymora {

// What was written into an archive.
struct WrittenRecording {
    bool isDone = false;
    std::string note{};     // the reason of a silent failure
    std::string history{};  // as the file has it, with the steps that belong to it
    HistorySteps steps{};
};

// Has `write(archive, target)` write a native file in the place of the one that stands at the path. `target`
// is where it will stand; scratch files go beside it. Where it is not done, all is as it was, and the user
// was told but for what the note says. Throws Cancelled.
WrittenFile
WriteRecordingFile(CBatchBaseDlg& operation, Session& session, const std::filesystem::path& path,
                   const std::function<WrittenRecording(CArchive&, const std::filesystem::path&)>& write);

}  // namespace kymora
