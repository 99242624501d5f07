#include "protocol/acq_prop_page_refr_stim.h"

#include <fmt/format.h>

#include "acquisition/refractory_search.h"

namespace kymora {

void CAcqPropPageRefrStim::Describe(ParamList& params) {
    AcquisitionSettings& settings = m_state.settings;
    SettingList list(params, settings);
    list.Group("Search");
    list.AddChoice(
            "type", "Search", {"Manual search", "Auto search"}, [this] { return IsAutomatic() ? 1 : 0; },
            [&settings](int choice) {
                settings.m_eRecordingType =
                    choice == 1 ? RecordingType::refractoryAutomatic : RecordingType::refractoryManual;
            })
        .Buttons()
        .Tip("By hand, with Try and Accept; or unattended, with a threshold for the change of the waveform");
    list.AddNote("now", [this] {
        const RefractoryReadings& now = m_state.refractory;
        const bool isFirst = now.sweepCount == 0 && now.amplitude == 0.0f && now.delay == 0.0f;
        return isFirst ? std::string("Now: no trial yet")
                       : fmt::format("Now: amplitude {:.6g} V, delay {:.6g} ms, count: {}", now.amplitude,
                                     now.delay, now.sweepCount);
    });
    list.AddWarning("refractoryWarning", [this] { return WarningText(); });
    DescribePulses(list);
    DescribeSweeps(list);
}

void CAcqPropPageRefrStim::DescribePulses(SettingList& list) {
    const DacRange range = m_state.board.OutputRange();
    const auto volts = [&](const char* key, const char* label, const char* tip) {
        Field& field = list.Add(key).Limits(range.m_fDacLow, range.m_fDacHigh).Tip(tip);
        field.label = label;
    };
    const auto add = [&list](const char* key, const char* label, const char* tip) {
        list.Add(key).Tip(tip).label = label;
    };
    list.Group("Pre-pulse");
    volts("preAmp", "Amplitude", "Amplitude of the conditioning pulse.");
    add("preDelay", "Delay", "From the start of the sweep to the conditioning pulse.");
    add("preDur", "Duration", "Duration of the conditioning pulse.");
    list.Group("Trial pulse");
    add("trialDur", "Duration", "Duration of the trial pulse.");
    volts("trialAmp0", "Initial amplitude", "Trial pulse initial amplitude.");
    if (IsAutomatic())
        volts("trialAmpMax", "Maximum amplitude", "Maximum amplitude of trial pulse in Auto search mode.");
    add("ampStep", "Amplitude step",
        "Amplitude step for trial pulse after each sub-threshold trial (normally positive).");
    add("trialDelay0", "Initial delay", "Trial pulse initial delay.");
    if (IsAutomatic())
        add("trialDelayMin", "Minimum delay", "Minimum delay of trial pulse in Auto search mode.");
    add("delayStep", "Delay step",
        "Delay step for trial pulse after Accept supra-threshold trial (normally negative).");
}

void CAcqPropPageRefrStim::DescribeSweeps(SettingList& list) {
    list.Group("Sweeps");
    list.Add("sweepDur").Tip("Recording duration for each trial sweep.");
    if (IsAutomatic()) {
        list.Add("searchRate").Tip("Rate at which trial pulses are emitted during Auto search.");
        list.Add("checksPerDelay").Tip("Number of times threshold checked at each delay during Auto search.");
    } else {
        list.Add("stepOnAccept")
            .Tip("Increment the amplitude with each trial and decrement the delay after Accept during Manual "
                 "search.");
    }
    list.Add("digitalTrigOut")
        .Tip("The board waits for its external trigger, and its digital output gives a pulse just after the "
             "start of each sweep")
        .EnabledIf([this] { return m_state.board.hasDigitalOutput; });
}

std::string CAcqPropPageRefrStim::WarningText() const {
    const RefractorySettings& r = m_state.settings.refractory;
    if (IsAutomatic()) return SearchFault(r, 1.0 / m_state.settings.m_dSampleInterval);
    return r.m_fSweepDur > 0.0f ? "" : "A sweep needs a duration above 0 ms.";
}

}  // namespace kymora
