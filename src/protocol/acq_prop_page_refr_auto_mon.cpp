#include "protocol/acq_prop_page_refr_auto_mon.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

void CAcqPropPageRefrAutoMon::Describe(ParamList& params) {
    SettingList list(params, m_state.settings);
    DescribeMonitor(list);
    DescribeReview(list);
}

void CAcqPropPageRefrAutoMon::DescribeMonitor(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    RefractorySettings& r = settings.refractory;
    list.Group("Monitor");
    std::vector<std::string> traces;
    for (const AcquisitionChannel& channel : settings.channels) {
        if (!channel.m_nChanOn) continue;
        const size_t number = traces.size() + 1;
        traces.push_back(channel.label.empty() ? fmt::format("trace {}", number)
                                               : fmt::format("{}: {}", number, channel.label));
    }
    if (r.m_nMonitorTrace >= traces.size())
        list.AddWarning("monitorWarning", [&r] {
            return fmt::format("Trace {} is monitored, and not recorded.", r.m_nMonitorTrace + 1);
        });
    if (!traces.empty())
        list.AddChoice(
                "monitorTrace", "Trace", traces,
                [&r, count = traces.size()] {
                    return static_cast<int>(std::min<size_t>(r.m_nMonitorTrace, count - 1));
                },
                [&r](int choice) { r.m_nMonitorTrace = static_cast<uint32_t>(choice); })
            .Tip("The trace in which spikes are looked for");
    list.Add("winStart").Tip("Start time of window which will be monitored for spike occurrence.").label =
        "Window from";
    list.Add("winEnd").Tip("End time of window which will be monitored for spike occurrence.").label =
        "Window to";
    list.Add("spikeThreshold").Tip("Threshold criterion (delta) for detecting spikes .");
    Field colour;
    colour.kind = FieldKind::colour;
    colour.key = "spikeColour";
    colour.label = "Spike colour";
    colour.load = [this](Field& to) { to.colour = m_state.refractory.spikeColour; };
    colour.store = [this](const Field& from) {
        m_state.refractory.spikeColour = from.colour;
        if (m_state.refractoryCommands.setSpikeColour) m_state.refractoryCommands.setSpikeColour(from.colour);
    };
    colour.load(colour);
    list.Add(std::move(colour)).Tip("Of sweeps with a spike, from here on");
    list.List()
        .Note("spikesHere", "Spikes at this delay",
              [this] { return std::to_string(m_state.refractory.spikesHere); })
        .Tip("Number of spikes found at this trial delay.");
    list.List()
        .Note("spikesTotal", "Spikes in all",
              [this] { return std::to_string(m_state.refractory.spikesTotal); })
        .Tip("Total number of spikes found in this run of the protocol.");
    list.List()
        .Note("change", "Change", [this] { return fmt::format("{:.4g}", m_state.refractory.change); })
        .Tip("Relative waveform change from previous stimulus.");
}

void CAcqPropPageRefrAutoMon::DescribeReview(SettingList& list) {
    const RefractoryReadings& now = m_state.refractory;
    const RefractoryCommands& commands = m_state.refractoryCommands;
    list.Group("Review");
    list.List()
        .Action("loadReview", "Load file\u2026", commands.load)
        .Tip("Load a recorded file for review.");
    list.List()
        .Note("reviewSweeps", "Sweeps",
              [&now] {
                  return now.file.empty() ? std::to_string(now.sweeps)
                                          : fmt::format("{} of {}", now.sweeps, now.file);
              })
        .Tip("Number of sweeps in review data.");
    if (now.sweeps == 0) return;
    list.AddInteger(
            "reviewSweep", "Sweep", [&now] { return static_cast<double>(now.selected + 1); },
            [this](double sweep) {
                m_state.refractory.selected = static_cast<size_t>(sweep) - 1;
                m_state.refractoryCommands.select(m_state.refractory.selected);
            })
        .Limits(1, static_cast<double>(now.sweeps))
        .Spin()
        .Tip("Sweep for which delta is calculated.");
    list.List()
        .Note(
            "reviewDelta", "Delta",
            [&now] { return now.reviewChange ? fmt::format("{:.4g}", *now.reviewChange) : now.reviewFault; })
        .Tip("Delta value of review sweep.");
    list.List()
        .Action("recalculate", "&Use these deltas", commands.recalculate)
        .Tip("Review acquired data and recalculate delta values.");
    list.List().Action("deleteSweep", "Delete this sweep", commands.deleteSweep).Tip("Take this sweep away");
}

}  // namespace kymora
