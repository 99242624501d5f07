#include "protocol/acq_prop_page_trig.h"

#include <algorithm>

#include "acquisition/dt_gen_acq_view.h"

namespace kymora {

namespace {

constexpr SourceWords levelWords[] = {
    {"triggerTrace", "Trace", "", "Which of the traces that are recorded, from 1, starts the recording"},
    {"triggerLevel", "Level", "V", "The recording begins when the trace crosses it"},
    {"triggerDirection", "Direction", "", "Whether the trace crosses the level from below or from above"},
    {"preTrigger", "Kept before", "ms", "What came before the trigger is part of the recording"}};

}  // namespace

void CAcqPropPageTrig::Describe(ParamList& params) {
    AcquisitionSettings& settings = m_state.settings;
    const auto isMode = [&settings](TriggerMode mode) {
        return [&settings, mode] { return settings.m_nTrigMode == static_cast<uint32_t>(mode); };
    };
    SettingList list(params, settings);
    list.Group("Start");
    list.AddMode("trigMode", Words(triggerModeTexts));
    list.Add("repeatInterval")
        .Tip("From the beginning of a recording to that of the next")
        .EnabledIf(isMode(TriggerMode::repeat));
    list.Add("repeatCount").Tip("Recordings of a series").EnabledIf(isMode(TriggerMode::repeat));
    list.Add("rearm")
        .Tip("The trigger is armed again when a recording has ended")
        .EnabledIf(isMode(TriggerMode::external));
    DescribeLevel(list);
    list.AddWarning("triggerWarning", [this] { return WarningText(); });
    list.Group("Other devices");
    list.Add("digitalTrigOut")
        .Tip("The board waits for its external trigger, and its digital output gives a pulse just after the "
             "start")
        .EnabledIf([this] { return m_state.board.hasDigitalOutput; });
    list.AddNote("noDigitalOutput",
                 [this] { return m_state.board.hasDigitalOutput ? "" : "The board has no digital output."; });
}

void CAcqPropPageTrig::DescribeLevel(SettingList& list) {
    const auto [least, greatest] = InputRange();
    list.AddOfSource(m_state.source, levelWords, [&](Field& field) {
        field.EnabledIf(
            [this] { return m_state.settings.m_nTrigMode == static_cast<uint32_t>(TriggerMode::internal); });
        if (field.key == "triggerTrace") field.Limits(1, std::max(1u, m_state.settings.ChannelsOn()));
        if (field.key == "triggerLevel") field.Limits(least, greatest);
    });
}

std::pair<double, double> CAcqPropPageTrig::InputRange() const {
    double gain = 1.0;
    size_t trace = 0;
    for (const AcquisitionChannel& channel : m_state.settings.channels)
        if (channel.m_nChanOn && ++trace == m_state.source.trigger.trace) gain = channel.m_dChanGain;
    const SubsystemCapabilities& inputs = m_state.board.inputs;
    return std::minmax({inputs.voltLow / gain, inputs.voltHigh / gain});
}

std::string CAcqPropPageTrig::WarningText() const {
    const AcquisitionSettings& s = m_state.settings;
    const double seconds = s.m_nSweepMode == 0 ? s.displaySpan / 1000.0 : s.m_dTimeLimit;
    switch (static_cast<TriggerMode>(s.m_nTrigMode)) {
    case TriggerMode::repeat:
        if (seconds < s.m_nRepeatInterval) return {};
        return shortRepeatText;
    case TriggerMode::internal:
        if (m_state.source.trigger.preTriggerMs >= seconds * 1000.0) return longPreTriggerText;
        return TriggerLevelFault(m_state.source.trigger, InputRange().first, InputRange().second);
    default:
        return {};
    }
}

}  // namespace kymora
