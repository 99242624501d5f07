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

    // --- a recording that is going to be written
    // Makes this new, empty document a copy of the whole model of another recording, of any format: all that
    // a native file of the current version holds but the samples, which are in physical units there, so that
    // every gain is 1. Its samples cannot be read. The settings of a view are those that `from` has stored.
    void CopyHeader(const CDataDoc& from);
    // Inserts a copy of each flagged trace behind it, without annotations and with " *" at the end of its
    // label. It is drawn on an axis of its own, a copy of its source's, behind that. Everything that names a
    // trace or an axis above goes on to mean the same one. The flags are those of the traces as they are now;
    // the caller has seen to it that no more than 128 traces result.
    void AddTraces(std::span<const uint8_t> flags);

    int GetFileType() const override { return typeFloat; }
    // Samples of versions that hold them trace by trace are copied from file to file.
    void WriteTraceData(CArchive& archive, int trace) override;
    // Reads the head and the tail; the samples stay on disk. The metadata is skimmed first, so that a damaged
    // file is refused before anything is kept of it. A storing archive is an internal error and is refused.
    void Serialize(CArchive& archive);
    SaveOutcome Save() override;
    bool KeepsAllInFile() const override { return true; }
    bool HasMetadataOf(const CDataDoc& fresh) const override;
    OpenFor ReloadPurpose() const override;
    void TakeReader(std::unique_ptr<CDataDoc> fresh) override;

  protected:
    void Load() override;
    void AfterLoad() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    void AddTraceBehind(int source);
    void OpenSampleFile();
    void HandleJournal();
    void PassOverForeignJournal();
    void ReadBesideJournal(const std::string& reason);
    void LoadAll(CArchive& archive);
    void LoadHead(CArchive& archive);
    void LoadOldHead(CArchive& archive);
    void LoadTail(CArchive& archive);
    void LoadSharedRows(CArchive& archive);
    void ReadInterleaved(int64_t storedIndex, std::span<const StoredRead> pieces);
    bool IsAtItsPlace() const;
    bool IsUnchanged() const;
    bool HoldsItsSamples() const;
    void SumMetadata();
    SaveOutcome MaySaveOverSource();
    SaveOutcome SaveInPlace();
    [[noreturn]] void KeepBeside();
    bool SaveOldVersion();

    bool ownsFile_ = false;                  // the file is open for writing and locked
    uint64_t fingerprint_ = 0;               // of the owned file as it was opened
    std::optional<uint64_t> metadataSum_{};  // of the tail, in versions that have one
    uint64_t headEnd_ = 0;  // versions 22 and above: where the head ends and the samples begin
};

// Whether this or another program has the file open for editing.
bool IsBeingEdited(FileSystem& files, const std::filesystem::path& path);

// Ends the conversion of a file of a version below 22, once its document is closed: deletes the old file and
// gives the new one the old path with the extension .kymr-dat. False when the old file was kept, as it is
// when its state is not `oldStamp`, that of the conversion.
bool FinishRewrite(Session& session, const std::filesystem::path& oldPath,
                   const std::filesystem::path& newPath, const std::optional<FileStamp>& oldStamp);

}  // namespace kymora
