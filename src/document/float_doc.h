#pragma once
// The native file: .kymr-dat, and .flt of the same bytes. Reads versions 1 to 48 and saves in place.

#include "document/data_doc.h"

namespace kymora {

// Files of this version and later hold their samples trace by trace and are saved in place; older ones are
// converted.
inline constexpr int firstVersionSavedInPlace = 22;

class CFloatDoc : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    int GetFileType() const override { return typeFloat; }
    void WriteTraceData(CArchive& archive, int trace) override;
    // Reads the head and the tail; the samples stay on disk. The metadata is skimmed first, so that a damaged
    // file is refused before anything is kept of it. A storing archive is an internal error and is refused.
    void Serialize(CArchive& archive);
    bool OnSaveDocument() override;

  protected:
    bool Load(OpenFor purpose) override;
    bool AfterLoad() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    bool OpenSampleFile(OpenFor purpose);
    void HandleJournal(OpenFor purpose);
    void LoadAll(CArchive& archive);
    void LoadHead(CArchive& archive);
    void LoadOldHead(CArchive& archive);
    void LoadTail(CArchive& archive);
    void LoadSharedRows(CArchive& archive);
    void ReadInterleaved(int64_t storedIndex, std::span<const StoredRead> pieces);
    bool MaySaveOverSource();
    bool SaveInPlace();
    bool SaveOldVersion();

    bool ownsFile_ = false;     // the file is open for writing and locked
    uint64_t fingerprint_ = 0;  // of the owned file as it was opened
    uint64_t headEnd_ = 0;      // versions 22 and above: where the head ends and the samples begin
};

// Whether this or another program has the file open for editing.
bool IsBeingEdited(FileSystem& files, const std::filesystem::path& path);

// Ends the conversion of a file of a version below 22, once its document is closed: deletes the old file and
// gives the new one the old path with the extension .kymr-dat. False when the old file was kept, as it is
// when its state is not `oldStamp`, that of the conversion.
bool FinishRewrite(Session& session, const std::filesystem::path& oldPath,
                   const std::filesystem::path& newPath, const std::optional<FileStamp>& oldStamp);

}  // namespace kymora
