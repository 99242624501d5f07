#pragma once
// The side-car of a foreign data file: all that the user adds to it, in a .kymr-hdr file beside it.

#include <functional>
#include <memory>

#include "document/data_doc.h"
#include "document/native_writer.h"
#include "document/side_car_signals.h"

namespace kymora {

// The data file's name with the extension .kymr-hdr.
std::filesystem::path SideCarPath(const std::filesystem::path& dataFile);

enum class SideCarResult { none, read, damaged };

// The side-car of a recording, sought as .kymr-hdr and then as .kym. It is looked through before anything of
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

// For a part of a file whose side-car belongs to another part: `why` goes on after "cannot be saved beside
// it".
void MarkSideCarAsOthers(CDataDoc& doc, const std::string& why);
// Tells so in place of a save.
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
