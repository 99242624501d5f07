#pragma once
// Recordings that a crash has left: temporary files of recordings that no program holds any more.

#include <filesystem>
#include <vector>

#include "recording/acq_doc.h"

namespace kymora {

inline constexpr const char* leftRecordingStart = "kymora-unfinished-";

// The system's folder for temporary files; empty where there is none.
std::filesystem::path TemporaryFolder();

// Those in a folder, by name. One that a program is recording into is not among them, and where nobody can
// hold a lock, nobody can tell, and none is.
std::vector<std::filesystem::path> FindLeftRecordings(FileSystem& files, const std::filesystem::path& folder);

// A document that opens a recording under any name, also one that was never finished.
class CLeftRecording : public CAcqDoc {
  public:
    using CAcqDoc::CAcqDoc;

  protected:
    bool TakesName(const std::string&) const override { return true; }
};

// What the user is asked of recordings that were found, one after the other: whether and where to save each,
// and else whether to remove it. A file goes only when it was saved under another name or the user has said
// so. The names of the files that were saved.
std::vector<std::filesystem::path> OfferLeftRecordings(Session& session, const std::filesystem::path& folder);

}  // namespace kymora
