#include "app/remote_recording.h"

#include "acquisition/dt_refr_acq_view.h"
#include "acquisition/windows/recording_window.h"
#include "app/main_frame.h"
#include "app/widget_picture.h"
#include "widgets/text.h"

namespace kymora {

namespace {

RefractoryState StateOf(const CDTRefrAcqView& view) {
    RefractoryState state;
    state.isAutomatic = view.IsAutomatic();
    state.sweeps = view.Sweeps().size();
    state.accepted = view.AcceptedCount();
    state.amplitude = view.AmplitudeNow();
    state.delay = view.DelayNow();
    for (const RefractoryThreshold& one : ThresholdsOf(view.Data()))
        state.curve.push_back({one.delay, *one.amplitude, one.spikes});
    if (state.sweeps == 0) return state;
    state.selected = view.Selected() + 1;
    state.stored = view.Sweeps()[view.Selected()].delta;
    if (view.IsAutomatic() && view.IsIdle()) state.delta = view.ReviewChange();
    return state;
}

}  // namespace

RecorderState DesktopRecorder::State() {
    const RecordingWindow& window = *frame_.Recorder();
    const LiveWidget& display = window.Display();
    RecorderState state;
    state.notice = window.NoticeText().toStdString();
    state.frames = display.Frames();
    state.framesPerSecond = display.FramesPerSecond();
    state.droppedScans = display.DroppedScans();
    state.latencies = display.Latencies();
    state.paintTimes = display.PaintTimes();
    if (const LiveSpikes* spikes = display.Spikes()) {
        state.spikes = spikes->Count();
        state.spikeRate = spikes->Rate();
    }
    CAcqView* const engine = window.Engine();
    if (!engine) return state;
    state.source = window.Source();
    state.state = WordsOf(*engine).text;
    state.status = engine->StatusText();
    state.running = !engine->HasEnded();
    state.unsaved = engine->HasUnsaved();
    state.scans = engine->StoredScans();
    state.scansAtMost = engine->ScansPerSweep();
    state.sampleInterval = engine->m_settings.m_dSampleInterval;
    state.appended = engine->AppendCount();
    state.pipeFill = engine->PipeFill();
    state.diskSeconds = engine->DiskSeconds();
    state.notes = engine->Document().markers;
    if (const CDTRefrAcqView* nerve = window.Refractory()) state.refractory = StateOf(*nerve);
    return state;
}

bool DesktopRecorder::OpenSource(const std::string& source) { return frame_.Recorder()->OpenBoard(source); }

bool DesktopRecorder::Load(const std::filesystem::path& configuration) {
    return frame_.Recorder()->LoadConfig(configuration);
}

std::string DesktopRecorder::Set(const std::string& key, const std::string& value) {
    return frame_.Recorder()->Set(key, value);
}

bool DesktopRecorder::Press(std::string_view button) {
    RecordingWindow& window = *frame_.Recorder();
    const bool isReview = button == "recalculate" || button == "deleteSweep";
    if (button != "autoscale" && !isReview) return window.Press(ToQString(button));
    if (isReview && (!window.Refractory() || !window.Refractory()->IsIdle())) return false;
    if (button == "recalculate")
        window.Recalculate();
    else if (button == "deleteSweep")
        window.DeleteSweep();
    else
        window.Display().Autoscale();
    return true;
}

bool DesktopRecorder::Review(const std::filesystem::path& recording) {
    return frame_.Recorder()->LoadReview(recording);
}

bool DesktopRecorder::SelectSweep(int sweep) {
    return frame_.Recorder()->SelectSweep(static_cast<size_t>(sweep) - 1);
}

bool DesktopRecorder::Note(std::string_view text) {
    if (!frame_.Recorder()->Press("note")) return false;
    frame_.Recorder()->NoteText(ToQString(text));
    return true;
}

bool DesktopRecorder::Close(bool discards) {
    RecordingWindow* const window = frame_.Recorder();
    if (!discards) return window->close();
    window->CloseAtOnce();
    return true;
}

void DesktopRecorder::Detect(int trace, double level, bool isFalling) {
    frame_.Recorder()->Detect(trace - 1, level, isFalling);
}

void DesktopRecorder::Resize(int width, int height) { frame_.Recorder()->resize(width, height); }

bool DesktopRecorder::ShowPage(std::string_view title) {
    return frame_.Recorder()->ShowPage(ToQString(title));
}

std::vector<std::byte> DesktopRecorder::Picture() { return PngOf(*frame_.Recorder()); }

}  // namespace kymora
