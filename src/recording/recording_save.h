#pragma once
// "Save data to file?": the dialogs around a save of a recording.

#include <optional>

#include "host/file_request.h"
#include "recording/recording_writer.h"

namespace kymora {

// The code of the command that saves what is visible; every other one saves the whole.
inline constexpr uint32_t saveVisibleCommand = 0x831E;

inline constexpr const char* problemSavingText = "Problem saving file. Sorry!";

FileRequest RecordingFileRequest(const std::filesystem::path& suggestion = {});
// The same for sound, which can be a plain wave file, too.
FileRequest SoundFileRequest();
std::filesystem::path WithRecordingExtension(std::filesystem::path path);

struct RecordingSave {
    std::filesystem::path presetName;  // in place of the questions for name and comment
    bool beginsSeries = false;         // others will be appended: the first episode is marked
};

// Saves what was recorded or opened; sound under a name with .wav as samples alone. The name of the file;
// nothing where none was written, of which the user knows. What is visible is the stored viewport, or that of
// the view.
std::optional<std::filesystem::path> SaveRecording(CAcqDoc& doc, uint32_t command,
                                                   const RecordingSave& how = {});

}  // namespace kymora
