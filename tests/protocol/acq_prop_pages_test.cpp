#include "protocol/acq_prop_page_stim.h"

#include <gtest/gtest.h>

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/plain_loop.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class AcqPropPages : public SessionTest {
  protected:
    AcqPropPages()
        : view(session, loop, OpenSource(simulatedSource, {})),
          state(session),
          pages(MakeAcqPropPages(state)) {
        EXPECT_TRUE(view.OpenBoard());
        state.board = view.Facts();
        state.board.isSimulated = true;
    }
    AcqPropPage& Page(std::string_view title) {
        for (auto& page : pages)
            if (page->Title() == title) return *page;
        throw std::out_of_range("no such page");
    }
    // As a user who types; why it may not be.
    std::string Set(std::string_view page, std::string_view key, std::string_view text) {
        ParamList params = Page(page).Params();
        std::string fault = params[key].SetFromText(text);
        return fault.empty() ? params[key].Fault() : fault;
    }
    void Press(std::string_view page, std::string_view key) {
        ParamList params = Page(page).Params();
        params[key].action(params);
    }
    std::string Says(std::string_view page, std::string_view key) { return Page(page).Params()[key].shown(); }

    PlainLoop loop;
    CDTGenAcqView view;
    ProtocolState state;
    std::vector<std::unique_ptr<AcqPropPage>> pages;
};

TEST_F(AcqPropPages, RatesAreThoseOfTheBoard) {
    EXPECT_EQ(Set("&Channels", "frequency", "7.7"), "");
    EXPECT_DOUBLE_EQ(state.settings.m_dSampleInterval, 1.0 / 7.7) << "what is wanted stays";
    // 20 MHz divided by 2597.
    EXPECT_EQ(Says("&Channels", "rate"),
              "The board gives 0.12985 ms (7.70119369 kHz).\n15,402 bytes/s, 55.4 MB an hour");
    EXPECT_EQ(Set("&Channels", "firstOn", "3"), "");
    EXPECT_EQ(state.settings.ChannelsOn(), 3u);
    EXPECT_EQ(Says("&Channels", "rateWarning"), "");
    EXPECT_EQ(Set("&Channels", "sampleInterval", "0.0001"), "");
    EXPECT_NE(Says("&Channels", "rateWarning").find(rateOutsideText), std::string::npos);
    EXPECT_NE(Set("&Channels", "sampleInterval", "0"), "");
    EXPECT_NE(Set("&Channels", "channel1.chanGain", "x"), "");
    state.board.inputs.channelList = ChannelListRule::inSequenceFromFirst;
    state.settings.channels[0].m_nChanOn = false;
    EXPECT_NE(Says("&Channels", "rateWarning").find("start with channel 1."), std::string::npos);
}

TEST_F(AcqPropPages, SoundAndSerialBoardsHaveTheirSettings) {
    for (const RecordingType type : {RecordingType::microphone, RecordingType::arduino}) {
        state.settings = AcquisitionSettings(type);
        state.board = UnknownBoard();
        std::set<std::string> keys;
        for (auto& page : pages)
            for (const Field& field : page->Params()) keys.insert(field.key);
        for (const std::string& key : SettingKeys(state.settings))
            EXPECT_TRUE(keys.contains(key) || (key.starts_with("channel") && key.find(".axis") != key.npos))
                << key;
    }
    // 0.2 ms are of one channel alone; two have 0.5 ms.
    const auto enter = [this](std::string_view key, std::string_view text) {
        ParamList params = Page("Ser&ial board").Params();
        EXPECT_EQ(params[key].SetFromText(text), "");
        if (params[key].changed) params[key].changed();
    };
    enter("rateIndex", "11");
    EXPECT_EQ(state.settings.m_dSampleInterval, 0.2);
    EXPECT_TRUE(host.messages.empty());
    enter("channelCount", "2");
    EXPECT_EQ(state.settings.m_dSampleInterval, 0.5);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].text, rateLimitText);
}

TEST_F(AcqPropPages, EveryPageHasItsSettings) {
    // What cannot be set there: of the file alone, of single pulses, and what the stimulus has by itself.
    const std::set<std::string> elsewhere = {"boardName", "boardValue", "boardDacChannels",
                                             "dac1.pulseCount"};
    state.settings.m_nDacInUse = 1;
    std::set<std::string> keys;
    for (const uint32_t mode : {0u, 1u, 2u}) {
        state.settings.m_nStimMode = mode;
        for (auto& page : pages)
            for (const Field& field : page->Params()) {
                keys.insert(field.key);
                EXPECT_TRUE(!field.HasValue() || field.load) << field.key;
            }
    }
    for (const std::string& key : SettingKeys(state.settings)) {
        if (elsewhere.contains(key)) continue;
        const std::string shown = key == "outputTraceSource" ? "onlyVisible"
                                  : key == "dac1.dcLevel"    ? "dcLevel"
                                                             : key;
        EXPECT_TRUE(keys.contains(shown)) << key;
    }
    for (const std::string& key : SourceSettingKeys())
        if (const auto source = SourceOfSetting(key); source.empty() || source == simulatedSource) {
            EXPECT_TRUE(keys.contains(key)) << key;
        }
    std::set<char> marks;
    for (auto& page : pages) {
        const std::string title = page->Title();
        EXPECT_TRUE(marks.insert(static_cast<char>(std::tolower(title[title.find('&') + 1]))).second)
            << title;
    }
}

TEST_F(AcqPropPages, PulsesAreEditedByTheirNumbers) {
    constexpr std::string_view page = "&Stimulus";
    Set(page, "dacInUse", "1");
    Set(page, "stimMode", "1");
    auto& pulses = state.settings.dac[0].pulses;
    Set(page, "pulse.amplitude", "2");
    EXPECT_NE(Set(page, "pulse.amplitude", "11"), "") << "beyond the board's range";
    Set(page, "pulse.amplitude", "3");
    Set(page, "pulse.plateau", "0.5");
    Press(page, "addPulse");
    Set(page, "pulse.delay", "10");
    Press(page, "addPulse");
    ASSERT_EQ(pulses.size(), 2u);
    EXPECT_EQ(pulses[1].m_fDelay, 10.0f);
    EXPECT_EQ(pulses[0].m_fAmplitude, 3.0f);
    Press(page, "deletePulse");
    EXPECT_EQ(host.messages.back().text, "Please select a pulse (id > 0) to delete.");
    Press(page, "sequence");
    EXPECT_EQ(host.messages.back().text, noPulseForSequenceText);
    Set(page, "editPulse", "2");
    Set(page, "pulse.onRamp", "4");
    EXPECT_EQ(pulses[1].m_fOnRamp, 4.0f);
    host.fillForms.emplace_back([](Form& form) {
        form["stepAmplitude"].number = 0.25;
        form["seqCount"].number = 2147483647;
        form["seqMode"].choice = 3;
        return true;
    });
    Press(page, "sequence");
    EXPECT_EQ(pulses[1].m_fStepAmplitude, 0.25f);
    EXPECT_EQ(pulses[1].m_nSeqCount, 2147483647);
    EXPECT_EQ(pulses[1].m_eSeqMode, 3);
    host.fillForms.emplace_back([](Form& form) {
        form["clearSequences"].action(form);
        return false;
    });
    Press(page, "sequence");
    EXPECT_EQ(host.questions.back().text, clearSequencesText);
    EXPECT_FALSE(HasSequences(state.settings));
    Press(page, "deletePulse");
    EXPECT_EQ(pulses.size(), 1u);

    // The simple page says what it would replace.
    Set(page, "stimMode", "0");
    EXPECT_EQ(Says(page, "trainWarning"), "");
    pulses[0].m_fOnRamp = 1.0f;
    EXPECT_NE(Says(page, "trainWarning"), "");
    Set(page, "train.number", "4");
    EXPECT_EQ(pulses, TrainPulses({0.0f, 0.5f, 3.0f, 0.0f, 4}));
}

TEST_F(AcqPropPages, AFileIsChosenAmongThoseThatAreOpen) {
    state.settings.m_nDacInUse = 1;
    state.settings.m_nStimMode = 2;
    EXPECT_EQ(Says("&Stimulus", "stimulusWarning"), warningMark + std::string("No output file defined."));
    Press("&Stimulus", "chooseOutputFile");
    EXPECT_EQ(host.messages.back().text, noOpenFilesText);
    state.openFiles = [] { return std::vector<std::filesystem::path>{"/a.kymr-dat", "/b.kymr-dat"}; };
    host.fillForms.emplace_back([](Form&) { return false; });
    Press("&Stimulus", "chooseOutputFile");
    EXPECT_EQ(host.messages.back().text, "No file selected as source for output.");
    host.fillForms.emplace_back([](Form& form) { return form["file"].choice = 1, true; });
    Press("&Stimulus", "chooseOutputFile");
    EXPECT_EQ(state.settings.m_strOutputFile, "/b.kymr-dat");
    EXPECT_EQ(Says("&Stimulus", "stimulusWarning"), "");
}

}  // namespace
}  // namespace kymora::test
