#include "protocol/acq_prop_page_rec_gen.h"

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/hand_acq_view.h"
#include "recording/recording_header.h"

namespace kymora {

namespace {

constexpr const char* recordingFilter = "Kymora recording (*.kymr-rec)|*.kymr-rec||";

}  // namespace

void CAcqPropPageRecGen::Describe(ParamList& params) {
    AcquisitionSettings& settings = m_state.settings;
    SettingList list(params, settings);
    list.Group("Sweep");
    list.AddMode("sweepMode", settings.HasBoard() ? Words(sweepModeTexts) : Words(handSweepModeTexts));
    list.Add("timeLimit").Tip("How long a recording becomes at most").EnabledIf([&settings] {
        return settings.m_nSweepMode != 0;
    });
    list.Add("displaySpan").Tip("Time between the left and the right edge of the display");
    list.Group("Saving");
    if (settings.HasBoard()) list.AddMode("saveMode", Words(saveModeTexts));
    list.Add("autoLoad").Tip("A recording that was saved is opened in the main display");
    if (settings.HasBoard()) DescribeSaving(list);
    list.Group("Protocol");
    list.Add("notes").Tip("Kept with the configuration, and in each recording").Lines(3);
}

void CAcqPropPageRecGen::DescribeSaving(SettingList& list) {
    list.Add("followLatest").Tip("The view of a file that is appended to goes to the newest data");
    list.Add("presetName").Tip("The first recording, too, has the base name, and nobody is asked for one");
    list.Add("autoSaveBase")
        .Tip("Folder and beginning of the names of files that save themselves; a number is put behind it");
    list.List()
        .Action("chooseBase", "Choose folder and name\u2026", [this] { ChooseBase(); })
        .Tip("Choose where recordings that save themselves go");
}

void CAcqPropPageRecGen::ChooseBase() {
    const std::filesystem::path base(m_state.settings.m_strAutoSaveBase);
    auto chosen = m_state.session.host.ChooseSaveFile(
        {"Folder and base name of recordings", recordingFilter, recordingExtension + 1, base});
    if (chosen) m_state.settings.m_strAutoSaveBase = chosen->replace_extension().string();
}

}  // namespace kymora
