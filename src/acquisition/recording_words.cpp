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

StateWords WordsOf(const CAcqView& view) {
    const bool isSearching =
        view.m_settings.m_eRecordingType == RecordingType::refractoryAutomatic && !view.IsIdle();
    return isSearching ? StateWords{"SEARCHING", StateTone::recording} : WordsOf(view.State());
}

std::string ElapsedText(double seconds) {
    const int64_t tenths = std::llround(std::max(seconds, 0.0) * 10.0);
    const int64_t minutes = tenths / 600;
    const std::string rest = fmt::format("{:02}.{}", tenths / 10 % 60, tenths % 10);
    if (minutes < 60) return fmt::format("{}:{}", minutes, rest);
    return fmt::format("{}:{:02}:{}", minutes / 60, minutes % 60, rest);
}

namespace {

// clang-format off
constexpr RecordingKey recordingKeys[] = {
    {"reload", "R&eload", "", "Looks for boards anew"},
    {"loadConfiguration", "&Load...", "Ctrl+O", "Loads the settings of an ADC-DAC configuration file"},
    {"saveConfiguration", "Sa&ve settings...", "Ctrl+Shift+S", "Saves the settings as an ADC-DAC configuration file"},
    {"settings", "Settin&gs", "F4", "Shows the settings beside the display, and takes them away"},
    {"scope", "Sc&ope", "F3", "Shows sweeps of a trace in a window of their own, triggered by a level"},
    {"start", "St&art", "F5", "Starts a recording, or arms the trigger and disarms it"},
    {"stop", "Stop", "F6", "Stops the recording, the series or the trigger"},
    {"pause", "&Pause display", "F7", "Holds the display; the recording goes on"},
    {"view", "Vie&w", "F8", "Shows what the inputs see; nothing is stored"},
    {"save", "Save", "F9", "Saves the last recording, or appends it to the file"},
    {"done", "&Done", "Shift+F9", "Nothing more is appended to the file"},
    {"note", "&Note", "F2", "Marks this moment; a text can follow"},
    {"accept", "&Accept", "F10", "Accept sweep, reset trial pulse amplitude, optionally step trial pulse delay"},
    {"clear", "Clea&r", "F11", "Clear un-accepted sweeps from screen"},
    {"deleteAll", "Del all", "Shift+F11", "Delete ALL acquired data without saving"},
    {"", "Note", "Space", "On the display: the same"},
    {"", "Autoscale", "A", "On the display: each axis to what is seen of its trace"},
    {"", "Half the time", "[", "On the display: shows half as much time at once"},
    {"", "Twice the time", "]", "On the display: shows twice as much time at once"},
};
// clang-format on

}  // namespace

std::span<const RecordingKey> RecordingKeys() { return recordingKeys; }

std::string WhyLocked(const CAcqView& view) {
    // A sweep by hand is over before anyone could read it.
    const bool isByHand = view.m_settings.m_eRecordingType == RecordingType::refractoryManual;
    if (view.MayChangeSettings() || isByHand) return {};
    if (!view.HasEnded())
        return "These settings are those of the recording under way. Stop it (F6) to change them.";
    return "The file that is appended to keeps these settings. Click Done (Shift+F9) to end it and change "
           "them.";
}

RecordingControls ControlsOf(const CAcqView& view) {
    const AcqState state = view.State();
    const bool isIdle = view.HasEnded();
    const bool isTaking = state == AcqState::recording || state == AcqState::episode ||
                          state == AcqState::triggered || state == AcqState::displayPaused;
    const bool isStream = !view.m_settings.IsRefractory();
    RecordingControls controls;
    controls.start = isIdle || state == AcqState::armed;
    controls.stop = !isIdle;
    controls.pause = isStream && isTaking;
    controls.view = isStream && isIdle;
    controls.save = isIdle && view.HasUnsaved();
    controls.done = isIdle && view.AppendCount() > 0;
    controls.settings = view.MayChangeSettings();
    controls.note = isStream && isTaking;
    return controls;
}

}  // namespace kymora
