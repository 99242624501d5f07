#include "recording/recording_save.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/form.h"
#include "recording/wave_file.h"

namespace kymora {

namespace {

bool AskComment(CAcqDoc& doc) {
    Form form("File comment");
    form.AddLongText("comment", "Comment", doc.fileComment, "Free text that is kept in the file.");
    if (!doc.GetHost().AskForm(form)) return false;
    doc.fileComment = form.Text("comment");
    return true;
}

RecordingSpan VisibleSpan(CAcqDoc& doc) {
    doc.GetDisplaySettingsFromView();
    return {doc.view.viewStart,
            doc.view.viewEnd > doc.view.viewStart ? doc.view.viewEnd : doc.UsualViewEnd()};
}

void SaveVisible(CAcqDoc& doc, const std::filesystem::path& target) {
    WriteRecordingPart(doc, target, VisibleSpan(doc));
}

void SaveWave(CAcqDoc& doc, const std::filesystem::path& target, bool isVisible) {
    const int64_t end = doc.TemporaryPath().empty() ? doc.GetLength() : doc.StoredScans();
    if (!isVisible) return WriteWaveFile(doc, target, 0, end);
    const RecordingSpan span = VisibleSpan(doc);
    const int64_t first = std::clamp<int64_t>(doc.PositionOf(span.startMs), 0, end);
    WriteWaveFile(doc, target, first,
                  std::clamp<int64_t>(doc.PositionOf(span.endMs) + 1, first, end) - first);
}

void SaveWhole(CAcqDoc& doc, const std::filesystem::path& target, const RecordingSave& how) {
    if (how.beginsSeries) {
        CEventChan& marks = doc.eventChannels[0];
        if (!MarksEpisodes(marks)) marks.Splice(marks.PlaceFor(0), 0, {EpisodeMark(0, 0)});
        doc.m_timeFirst = doc.m_timeLast;
    }
    if (how.presetName.empty()) AskComment(doc);
    if (doc.TemporaryPath().empty())
        WriteRecording(doc, target);
    else
        doc.FinishRecording(target);
}

}  // namespace

FileRequest RecordingFileRequest(const std::filesystem::path& suggestion) {
    return {"Save data to file?", "Kymora recording (*.kymr-rec)|*.kymr-rec||", recordingExtension + 1,
            suggestion};
}

FileRequest SoundFileRequest() {
    return {"Save data to file?",
            "Kymora recording (*.kymr-rec)|*.kymr-rec|WAV audio (*.wav)|*.wav||",
            recordingExtension + 1,
            {}};
}

std::filesystem::path WithRecordingExtension(std::filesystem::path path) {
    if (FoldedExtension(path) != recordingExtension) path += recordingExtension;
    return path;
}

std::optional<std::filesystem::path> SaveRecording(CAcqDoc& doc, uint32_t command, const RecordingSave& how) {
    Host& host = doc.GetHost();
    std::optional<std::filesystem::path> target = how.presetName;
    if (how.presetName.empty())
        target = host.ChooseSaveFile(doc.IsWave() ? SoundFileRequest() : RecordingFileRequest());
    if (!target) return {};
    const bool isVisible = command == saveVisibleCommand;
    const bool isWave = doc.IsWave() && FoldedExtension(*target) == waveExtension;
    const auto named = isWave ? *target : WithRecordingExtension(*target);
    try {
        if (isWave)
            SaveWave(doc, named, isVisible);
        else if (isVisible)
            SaveVisible(doc, named);
        else
            SaveWhole(doc, named, how);
        return named;
    } catch (const Cancelled&) {
    } catch (const SaveNotOpened& error) {
        host.Failure(error.what());
    } catch (const FileError& error) {
        host.Failure(fmt::format("{}\n{}", problemSavingText, error.what()));
    }
    return {};
}

}  // namespace kymora
