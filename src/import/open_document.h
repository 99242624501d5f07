#pragma once
// The way from a path to a document.

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

inline constexpr const char* unrecognisedTypeText = "Unrecognised file type: abandoning";

// What comes of an opening.
struct Opened {
    std::unique_ptr<CDataDoc> document{};  // null when the file did not open; the user was told why
    Opening opening{};
};

// The file to open of a folder that is a recording; any other path as it is.
std::filesystem::path RecordingIn(FileSystem& files, const std::filesystem::path& path);

// Opens a recording by its extension, whatever its case.
Opened OpenRecording(Session& session, const std::filesystem::path& path, const OpenRequest& request);
// The same for who wants the document alone.
std::unique_ptr<CDataDoc> OpenDocument(Session& session, const std::filesystem::path& path,
                                       const OpenRequest& request = {});

// Opens recordings for batches, without dialogs, frames and views, beside those that are open in the
// interface.
class BatchDocuments {
  public:
    // `shown` answers the documents of the interface; the settings are those with which files open.
    BatchDocuments(Session& session, std::function<std::vector<CDataDoc*>()> shown,
                   ImportSettings settings = {})
        : session_(session), shown_(std::move(shown)), settings_(std::move(settings)) {}

    // The document of a path: the one that is open already, or else a new one, which stays until
    // CloseIfNotOpen. Null when it cannot be opened; the user was told why. Text files are not taken.
    CDataDoc* OpenForBatch(const std::filesystem::path& path);
    // The recording as it is on disk, in a document of its own that leaves the file alone, also where the
    // interface has it open.
    CDataDoc* OpenCopyForBatch(const std::filesystem::path& path);
    // Deletes the documents that were opened for a batch; one of the interface stays.
    void CloseIfNotOpen(const std::filesystem::path& path);

    // The document in which the interface shows a file, or null.
    CDataDoc* FindShown(const std::filesystem::path& path) const;
    std::vector<CDataDoc*> Shown() const { return shown_(); }
    // A new file has taken the place of what a document of the interface shows: closes the document and opens
    // `path` instead. Without `replaceShown`, which the interface sets, the document stays.
    void ReplaceShown(CDataDoc& doc, const std::filesystem::path& path) const {
        if (replaceShown) replaceShown(doc, path);
    }
    std::function<void(CDataDoc&, const std::filesystem::path&)> replaceShown;
    Session& GetSession() const { return session_; }
    const ImportSettings& Settings() const { return settings_; }

  private:
    CDataDoc* Take(const std::filesystem::path& path, const OpenRequest& request);

    Session& session_;
    std::function<std::vector<CDataDoc*>()> shown_;
    ImportSettings settings_;
    std::vector<std::unique_ptr<CDataDoc>> own_;
};

}  // namespace kymora
