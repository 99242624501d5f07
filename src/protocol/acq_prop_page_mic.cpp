#include "protocol/acq_prop_page_mic.h"

#include <fmt/format.h>

#include <cmath>

#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr SourceWords deviceWords[] = {
    {"device", "Device", "", "By its name; empty: the input that the system uses"}};

}  // namespace

void CAcqPropPageMic::Describe(ParamList& params) {
    AcquisitionSettings& settings = m_state.settings;
    SettingList list(params, settings);
    list.Group("Sound input");
    list.AddOfSource(m_state.source, deviceWords);
    list.AddChoice(
            "secondChannel", "Channels", {"1 (mono)", "2 (stereo)"},
            [&settings] { return settings.channels[1].m_nChanOn ? 1 : 0; },
            [&settings](int choice) { settings.channels[1].m_nChanOn = choice == 1; })
        .Tip("Stereo input gives two traces")
        .Buttons();
    list.AddChoice(
            "resolutionBits", "Resolution", {"8 bits", "16 bits"},
            [&settings] { return settings.m_nResolutionBits == 16 ? 1 : 0; },
            [&settings](int choice) { settings.m_nResolutionBits = choice == 1 ? 16 : 8; })
        .Tip("Of a sample")
        .Buttons();
    list.AddSampling(settings);
    list.AddNote("rate", [&settings] {
        const double hertz = std::round(1000.0 / settings.m_dSampleInterval);
        const double bytes = hertz * (settings.channels[1].m_nChanOn ? 2 : 1) * settings.BytesPerSample();
        return fmt::format("{:.0f} Hz; {} bytes/s, {} an hour", hertz, GroupedDigits(std::llround(bytes)),
                           BytesText(bytes * 3600.0));
    });
    list.Group("Axes");
    list.AddAxes(settings.channels[1].m_nChanOn ? 2 : 1);
}

}  // namespace kymora
