#include "protocol/acq_prop_page_16_chan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "acquisition/stimulus_preview.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t boardsOwnMode = 0xFFFFFFFF;
constexpr const char* gainFaultText = "A gain must not be 0: the value before stays.";

}  // namespace

void CAcqPropPage16Chan::Describe(ParamList& params) {
    SettingList list(params, m_state.settings);
    DescribeRate(list);
    DescribeChannels(list);
}

void CAcqPropPage16Chan::DescribeRate(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    list.Group("Sampling");
    list.AddSampling(settings);
    const SubsystemCapabilities& inputs = m_state.board.inputs;
    if (!settings.IsRefractory() && inputs.singleEnded > 0 && inputs.differential > 0)
        list.AddChoice(
                "inputMode", "Inputs",
                {"As the board is set", fmt::format("Single-ended ({})", inputs.singleEnded),
                 fmt::format("Differential ({})", inputs.differential)},
                [&settings] {
                    return settings.m_nInputMode < 2 ? static_cast<int>(settings.m_nInputMode) + 1 : 0;
                },
                [&settings](int choice) {
                    settings.m_nInputMode = choice == 0 ? boardsOwnMode : static_cast<uint32_t>(choice - 1);
                })
            .Tip("Each input against ground, or against another one");
    list.AddNote("rate", [this] { return RateText(); });
    list.AddWarning("rateWarning", [this] { return WarningText(); });
}

void CAcqPropPage16Chan::DescribeChannels(SettingList& list) {
    AcquisitionSettings& settings = m_state.settings;
    list.Group("Channels");
    size_t shown = static_cast<size_t>(std::clamp(m_state.board.inputs.channels, 1, 16));
    for (size_t i = 0; i < settings.channels.size(); ++i)
        if (settings.channels[i].m_nChanOn) shown = std::max(shown, i + 1);
    list.AddInteger(
            "firstOn", "Channels on", [&settings] { return settings.ChannelsOn(); },
            [&settings](double count) { settings.SetChannelsOn(static_cast<uint32_t>(count)); })
        .Tip("How many are on. A number that is entered switches on the first so many, and the others off.")
        .Limits(0, static_cast<double>(shown))
        .Spin();
    struct Column {
        const char *key, *heading, *tip;
    };
    constexpr Column columns[] = {
        {"chanOn", "On", "The channel is recorded"},
        {"chanGain", "Gain", "Of the amplifier before the board. The recording shows volts divided by it."},
        {"label", "Label", "Name of the trace"},
        {"colour", "Colour", "Colour of the trace"},
        {"note", "Note", "Label of the axis; empty: the units"},
        {"axisA", "Axis from", "One end of the display's axis"},
        {"axisB", "Axis to", "The other end of the display's axis"}};
    for (size_t i = 0; i < shown; ++i) {
        const std::string number = std::to_string(i + 1);
        AcquisitionChannel& channel = settings.channels[i];
        for (const Column& column : columns) {
            Field& field = list.Add("channel" + number + "." + column.key);
            field.Tip(column.tip).Cell(number, column.heading);
            if (field.kind == FieldKind::flag) field.label.clear();
            if (field.key.ends_with("chanGain"))
                field.PutBackIf([&channel] { return channel.m_dChanGain == 0.0 ? gainFaultText : ""; });
        }
    }
}

double CAcqPropPage16Chan::RateKHz() const {
    const double wanted = 1.0 / m_state.settings.m_dSampleInterval;
    if (!m_state.board.rate) return wanted;
    const int channels = std::max(1, static_cast<int>(m_state.settings.ChannelsOn()));
    return m_state.board.rate(Subsystem::adc, channels, wanted).value_or(wanted);
}

std::string CAcqPropPage16Chan::RateText() const {
    const double kHz = RateKHz();
    const double bytes = BytesPerSecond(m_state.settings, m_state.board.inputs, kHz);
    std::string text =
        fmt::format("{} bytes/s, {} an hour", GroupedDigits(std::llround(bytes)), BytesText(bytes * 3600.0));
    if (m_state.board.rate)
        text = fmt::format("The board gives {:.9g} ms ({:.9g} kHz).\n", 1.0 / kHz, kHz) + text;
    return text;
}

std::string CAcqPropPage16Chan::WarningText() const {
    const AcquisitionSettings& settings = m_state.settings;
    std::string text = ChannelFault(settings, m_state.board.inputs, m_state.board.name);
    const int channels = std::max(1, static_cast<int>(settings.ChannelsOn()));
    const auto range = m_state.board.rates ? m_state.board.rates(Subsystem::adc, channels) : std::nullopt;
    const double hertz = 1000.0 / settings.m_dSampleInterval;
    if (!range || (hertz >= range->least && hertz <= range->greatest)) return text;
    if (!text.empty()) text += '\n';
    return text + fmt::format("{} A channel can have {:.9g} to {:.9g} kHz.", rateOutsideText,
                              range->least / 1000.0, range->greatest / 1000.0);
}

}  // namespace kymora
