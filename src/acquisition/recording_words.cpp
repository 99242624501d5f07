#include "acquisition/recording_words.h"

#include <fmt/format.h>

#include <cmath>

namespace kymora {

StateWords WordsOf(AcqState state) {
    switch (state) {
    case AcqState::recording:
    case AcqState::episode:
    case AcqState::triggered:
        return {"RECORDING", StateTone::recording};
    case AcqState::armed:
        return {"ARMED", StateTone::waiting};
    case AcqState::betweenEpisodes:
        return {"WAITING", StateTone::waiting};
    case AcqState::displayPaused:
        return {"RECORDING - held", StateTone::recording};
    case AcqState::displayOnly:
        return {"VIEW, not stored", StateTone::watching};
    case AcqState::idle:
        break;
    }
    return {"Ready", StateTone::calm};
}

std::string ElapsedText(double seconds) {
    const auto tenths = static_cast<int64_t>(std::floor(std::max(seconds, 0.0) * 10.0 + 1e-6));
    const int64_t minutes = tenths / 600;
    const std::string rest = fmt::format("{:02}.{}", tenths / 10 % 60, tenths % 10);
    if (minutes < 60) return fmt::format("{}:{}", minutes, rest);
    return fmt::format("{}:{:02}:{}", minutes / 60, minutes % 60, rest);
}

RecordingControls ControlsOf(const CDTGenAcqView& view) {
    const AcqState state = view.State();
    const bool isIdle = view.HasEnded();
    const bool isTaking = state == AcqState::recording || state == AcqState::episode ||
                          state == AcqState::triggered || state == AcqState::displayPaused;
    RecordingControls controls;
    controls.start = isIdle || state == AcqState::armed;
    controls.stop = !isIdle;
    controls.pause = isTaking;
    controls.view = isIdle;
    controls.save = isIdle && view.HasUnsaved();
    controls.done = isIdle && view.AppendCount() > 0;
    // A file that appends itself keeps its settings until it is done.
    controls.settings = isIdle && !(view.Saving() == SaveMode::append && view.AppendCount() > 0);
    controls.note = isTaking;
    return controls;
}

}  // namespace kymora
