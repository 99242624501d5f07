#include "protocol/acq_prop_page_ard.h"

#include <algorithm>

#include "acquisition/ard_acq_view.h"

namespace kymora {

namespace {

constexpr SourceWords serialWords[] = {
    {"port", "Port", "", "A path or a name; empty: that of the Arduino that is found"},
    {"boardBits", "Resolution", "bits", "Of the converter of the board"},
    {"boardVolts", "Full scale", "V", "Its inputs go from 0 to this"}};

}  // namespace

void CAcqPropPageArd::Describe(ParamList& params) {
    AcquisitionSettings& settings = m_state.settings;
    SettingList list(params, settings);
    list.Group("Sampling");
    list.AddInteger(
            "channelCount", "Channels", [&settings] { return settings.ChannelsOn(); },
            [&settings](double count) { settings.SetChannelsOn(static_cast<uint32_t>(count)); })
        .Tip("So many of the inputs are recorded, from A0 on")
        .Limits(1, CArdAcqView::mostChannels)
        .Spin()
        .Linked({"rateIndex"})
        .OnChange([this] { HoldRate(); });
    list.Add("rateIndex")
        .Tip("Time from one sample of a channel to the next")
        .With(&Field::store, std::function<void(const Field&)>([&settings](const Field& from) {
            settings.SetArduinoRate(static_cast<uint32_t>(from.choice));
        }))
        .OnChange([this] { HoldRate(); });
    DescribeBoard(list);
    list.Group("Axes");
    list.AddAxes(std::clamp(settings.ChannelsOn(), 1u, uint32_t{CArdAcqView::mostChannels}));
}

void CAcqPropPageArd::DescribeBoard(SettingList& list) {
    list.Group("Board");
    list.AddOfSource(m_state.source, serialWords);
}

void CAcqPropPageArd::HoldRate() {
    if (LimitRate(m_state.settings)) m_state.session.host.Message(rateLimitText);
}

}  // namespace kymora
