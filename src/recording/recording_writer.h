#pragma once
// Recording files that are made of others: a copy, a part, and one recording behind another. Each is written
// beside its place and takes it in one step when it has reached the disk, so that whatever ends the program
// leaves the old file, the new one or none, and the source as it is.

#include <filesystem>
#include <optional>
#include <string>

#include "recording/acq_doc.h"

namespace kymora {

inline constexpr const char* saveNotOpenedText = "Couldn't open Save file. Abandoning";

// From a time to a time, ms, both ends included; held to the recording.
struct RecordingSpan {
    double startMs = 0.0;
    double endMs = 0.0;
};

// A side-car that stands beside this place, where a new recording would take it for its own.
std::optional<std::filesystem::path> SideCarBeside(FileSystem& files, const std::filesystem::path& path);
// Throws FileError where a side-car beside a new recording would be taken for its own.
void CheckNoSideCar(FileSystem& files, const std::filesystem::path& path);

// The whole recording under another name. Shows progress. Throws FileError and Cancelled, and then leaves
// nothing behind.
void WriteRecording(CAcqDoc& doc, const std::filesystem::path& path);

// The file of a part could not be made.
class SaveNotOpened : public FileError {
  public:
    explicit SaveNotOpened(const FileError& why)
        : FileError(std::string(saveNotOpenedText) + "\n" + why.what(), why.systemError) {}
};

// The part of it: the scans from the first to the last of these times. It begins at its own time 0. Markers
// and annotations in it are moved by the start, events are cut at its ends. Where channel 'a' marks episodes,
// the part begins with the mark of its first one. The same throws, SaveNotOpened, and FileError where the
// part holds no scan.
void WriteRecordingPart(CAcqDoc& doc, const std::filesystem::path& path, RecordingSpan span);

// Why one recording cannot stand behind another; empty where it can. They need the same layout, channels,
// interval and codes.
std::string AppendFault(const CAcqDoc& first, const CAcqDoc& second);

enum class MayCancel { no, yes };

// A recording, and behind it the scans of another with a mark of the episode in channel 'a' whose label is
// the time from start to start in seconds. The other's markers, annotations and events go along. The head,
// and so the time of start, is the first one's. Where `path` is the first one's own file and a side-car
// describes it, that is written anew, too; a program that ends between the two leaves what reads as both.
// The same throws (Cancelled only where it may), and FileError where its own file would be replaced and has
// no tail that can be read.
// Where it may, the first one's own file is added to in place (append_in_place.h), which takes only as long
// as the second one is: other names of that file then lead to the longer recording, too.
enum class MayAddInPlace { no, yes };
void WriteAppended(CAcqDoc& first, const CAcqDoc& second, const std::filesystem::path& path,
                   MayCancel mayCancel = MayCancel::yes, MayAddInPlace mayAdd = MayAddInPlace::no);

}  // namespace kymora
