#pragma once
// The side-car of a foreign data file: all that the user adds to it, in a .kymr-hdr file beside it.

#include <functional>
#include <memory>
#include <optional>

#include "document/data_doc.h"
#include "document/native_writer.h"
#include "document/side_car_signals.h"

namespace kymora {

// Where a save puts the side-car of a data file: its name with .kymr-hdr in the place of the extension. Where
// a file of the same name with another extension stands beside it, and has that side-car or may have it since
// the side-car does not tell, .kymr-hdr stands behind the whole name.
std::filesystem::path SideCarPath(FileSystem& files, const std::filesystem::path& dataFile);
// The side-car that is read: one of either name, unless it belongs to another file that is there, or else of
// the old ending .kym. Nothing where there is none.
std::optional<std::filesystem::path> FindSideCar(FileSystem& files, const std::filesystem::path& dataFile);

enum class SideCarResult { none, read, damaged };

// The side-car of a recording, as FindSideCar finds it. It is looked through before anything of
// it is used; the user is told of a damaged one. What is read goes into the model of `doc`, which is partly
// changed after anything but `none`: the caller resets it unless Load has answered `read`.
class SideCarFile {
  public:
    explicit SideCarFile(CDataDoc& doc);
    SideCarResult Result() const { return result_; }
    // For formats of which only some signals become traces: what these were, before the traces are chosen.
    SideCarTraces Traces();
    // Fills the model, with so many traces' settings.
    SideCarResult Load(int traceCount);

  private:
    bool Attempt(const std::function<void()>& read);
    void LookThrough();
    void Damaged(const std::string& reason);

    CDataDoc& doc_;
    std::filesystem::path path_;
    std::unique_ptr<DataFile> file_;
    SideCarResult result_ = SideCarResult::none;
    uint64_t signalsAt_ = 0;  // in the file; 0: it has none
};

// Reads the side-car of a recording whose traces are always the same. After `damaged` the caller resets the
// model.
SideCarResult ReadSideCar(CDataDoc& doc);

// The same where the traces are a choice of the file's signals, those of doc.traceSignals: each takes what
// `file` holds for its signal, as `stored` tells. What is there for others is kept for them.
SideCarResult ReadSideCarOfSignals(CDataDoc& doc, SideCarFile& file, const SideCarTraces& stored);

// The side-car of a recording of which the user, or the side-car, chooses what is shown: opened before the
// choice, read behind it.
class SideCarOfChoice {
  public:
    // Changes the model, which the caller resets.
    void Open(CDataDoc& doc);
    const SideCarTraces& Traces() const { return stored_; }
    bool IsThere() const { return file_ && file_->Result() == SideCarResult::read; }
    // What it holds for doc.traceSignals. One of another part of the file is not read: `otherPart`, empty for
    // that which is shown, goes on after "cannot be saved beside it", which is what a save then tells.
    SideCarResult Read(CDataDoc& doc, const std::string& otherPart = {});

  private:
    std::unique_ptr<SideCarFile> file_;
    SideCarTraces stored_;
};
// Tells in place of a save that the side-car belongs to another part.
SaveOutcome RefuseSideCarSave(CDataDoc& doc);

// Makes traces without limits of their own autoscale when they are first seen. Those that the side-car does
// not know, because it was made with fewer traces, were never scaled.
void ScaleUnknownTraces(CDataDoc& doc);

// Writes the side-car, limited to `range` unless that is whole. False when the user kept another writer's
// changes. Throws FileError, and ResultKept where another program changed it in the very moment.
bool WriteSideCar(CDataDoc& doc, SampleRange range = {});

// Writes what the side-car holds to a file of another name. Throws FileError.
void WriteSideCarAs(const CDataDoc& doc, FileSystem& files, const std::filesystem::path& path);

}  // namespace kymora
