#pragma once
// The types of recordings in their order of registration, and the way from a path to a document.

#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

using DocumentMaker = std::unique_ptr<CDataDoc> (*)(Session&);

struct DocumentTemplate {
    std::string_view className;
    std::string_view filterText;  // of the open dialog
    std::string_view extension;   // with the dot, lower case
    std::string_view typeName;    // empty for none
    // Null for a type that is recognised but cannot be read.
    DocumentMaker Maker() const;
};
std::span<const DocumentTemplate> DocumentTemplates();

// The open dialog's filters: all recognised types, then each that can be opened.
std::string OpenFilter();
// The same for what can be written as text: recordings that a batch can open, so no text files.
std::string ConvertibleFilter();

inline constexpr const char* unrecognisedTypeText = "Unrecognised file type: abandoning";

// Opens a recording by its extension, whatever its case. Null when it cannot be opened; the user was told
// why.
std::unique_ptr<CDataDoc> OpenDocument(Session& session, const std::filesystem::path& path,
                                       OpenFor purpose = OpenFor::editing);

// Opens recordings for batches, without dialogs, frames and views, beside those that are open in the
// interface.
class BatchDocuments {
  public:
    // `shown` answers the documents of the interface.
    BatchDocuments(Session& session, std::function<std::vector<CDataDoc*>()> shown)
        : session_(session), shown_(std::move(shown)) {}

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

  private:
    std::unique_ptr<CDataDoc> Make(const std::filesystem::path& path) const;

    Session& session_;
    std::function<std::vector<CDataDoc*>()> shown_;
    std::vector<std::unique_ptr<CDataDoc>> own_;
};

}  // namespace kymora
