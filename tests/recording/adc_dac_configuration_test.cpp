#include "recording/adc_dac_configuration.h"

#include <gtest/gtest.h>

#include "recording/acquisition_settings_fields.h"
#include "support/bytes.h"
#include "support/faulty_file_system.h"
#include "support/run_program.h"
#include "support/test_host.h"

#include "host/disk_file_system.h"

namespace kymora::test {
namespace {

constexpr const char* settingsPath = "/a.kymr-cfg";

// The parts of a file of type 1 that go wrong, put together by hand.
struct GeneralFile {
    std::u16string head = u"Kymora ADC-DAC Configuration file", notes, board = u"B1", base;
    uint32_t version = 2, type = 1, section = 3, chanOn = 0, inUse = 1, pulses = 1;
    uint8_t digitalOut = 1;
    int dacChannels = 2;
    double span = 100.0, gain = 2.0;

    std::vector<std::byte> Build() const {
        Bytes b;
        b.Wide(head).U32(version).U32(type).Wide(notes);
        for (int i = 0; i < 32; ++i) b.F64(i);
        b.U32(section).Wide(board).F64(span).I32(77).Wide(u"CAcqPropPageRecGen");
        b.U32(1).F64(5.0).U32(3).U32(1).U32(0).U32(1).Wide(base).Wide(u"any landmark");
        for (uint32_t i = 0; i < 16; ++i)
            b.U32(i == chanOn).F64(gain).F64(10.0).F64(-10.0).Wide(u"L").U32(255).Wide(u"n");
        b.F64(0.1);
        if (section > 2) b.U32(9);
        b.Wide(u"").U32(2).U32(30).U32(4).U8(digitalOut).U32(1);
        b.Wide(u"").I32(dacChannels);
        b.U32(6).U32(1).F64(50.0).F64(10.0).U32(inUse).Wide(u"/out.kymr-dat").U32(8);
        b.U32(pulses);
        for (int i = 1; i <= 10; ++i) b.F32(static_cast<float>(i));
        b.I32(7).I32(3);
        return b.U32(2).F32(0.5f).data;
    }
};

class AdcDacConfigurationTest : public ::testing::Test {
  protected:
    bool Load(const std::vector<std::byte>& bytes) {
        host.Forget();
        host.forms.clear();
        files.Put(settingsPath, bytes);
        return LoadConfiguration(session, settingsPath, target, settings);
    }
    void ExpectRefused(const GeneralFile& file, const std::string& words) {
        const AcquisitionSettings before = settings;
        EXPECT_FALSE(Load(file.Build())) << words;
        EXPECT_EQ(host.LastMessage(), words);
        EXPECT_EQ(settings, before);
    }
    std::vector<std::string> Messages() const {
        std::vector<std::string> texts;
        for (const Shown& message : host.messages) texts.push_back(message.text);
        return texts;
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    ConfigurationTarget target;
    AcquisitionSettings settings{RecordingType::board};
};

constexpr const char* damaged = "This ADC-DAC configuration is damaged. Nothing was loaded.\n";

TEST_F(AdcDacConfigurationTest, WhatIsNoneOfTheTypeIsRefusedInItsWords) {
    using File = GeneralFile;
    const auto with = [](auto change) {
        File file;
        change(file);
        return file;
    };
    const std::string wrong = "You are not loading a Kymora ADC-DAC Configuration file. Aborting.";
    ExpectRefused(with([](File& f) { f.head = u"CEventThreshold"; }), wrong);
    for (const uint32_t version : {0u, 3u})
        ExpectRefused(with([&](File& f) { f.version = version; }),
                      "Unrecognized configuration file version " + std::to_string(version) +
                          ".\nShould be between 1 and 2.");
    const char* names[] = {"Microphone: General Purpose", "DataTranslation: General Purpose",
                           "DataTranslation: Refractory protocol: Auto search",
                           "DataTranslation: Refractory protocol: Manual search", "arduino"};
    for (const uint32_t type : {0u, 2u, 3u, 4u})
        ExpectRefused(with([&](File& f) { f.type = type; }),
                      std::string("You are trying to load a ") + names[type] +
                          " configuration file into a DataTranslation: General Purpose interface. Aborting.");
    const char* sections[] = {"Microphone recording", "DT General recording", "DT Refractory protocol",
                              "DT Refractory protocol", "Arduino recording"};
    for (const uint32_t type : {0u, 1u, 2u, 3u, 4u}) {
        target.type = static_cast<RecordingType>(type);
        const auto latest = type == 1 ? 3u : 1u;
        for (const uint32_t section : {0u, latest + 1})
            ExpectRefused(with([&](File& f) { f.type = type, f.section = section; }),
                          std::string("Unrecognized configuration file for ") + sections[type] +
                              ": version " + std::to_string(section) + ".\nShould be between 1 and " +
                              std::to_string(latest) + ".");
    }
    target.type = RecordingType::board;
    ExpectRefused(with([](File& f) { f.inUse = 0xFFFFFFFF; }),
                  damaged + std::string("The file uses 4294967295 output channels; there can be 2."));
    ExpectRefused(with([](File& f) { f.pulses = 0x80000000; }),
                  damaged + std::string("The file states 2147483648 pulses, more than it can hold."));
    ExpectRefused(with([](File& f) { f.gain = 0.0; }),
                  damaged + std::string("channel1.chanGain: \"chanGain\" must not be 0."));
    ExpectRefused(with([](File& f) { f.span = std::nan(""); }),
                  damaged + std::string("displaySpan: \"displaySpan\" needs a number."));
    EXPECT_FALSE(LoadConfiguration(session, "/none.kymr-cfg", target, settings));
    EXPECT_EQ(host.LastMessage(), "Couldn't open file /none.kymr-cfg");
    EXPECT_TRUE(host.forms.empty());
}

TEST_F(AdcDacConfigurationTest, TruncatedAtEachByteItIsRefused) {
    const std::vector<std::byte> whole = GeneralFile().Build();
    const AcquisitionSettings before = settings;
    for (size_t length = 0; length < whole.size(); ++length) {
        ASSERT_FALSE(Load({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)})) << length;
        ASSERT_EQ(host.messages.size(), 1u) << length;
    }
    EXPECT_EQ(settings, before);
    EXPECT_TRUE(Load(whole));
    EXPECT_EQ(settings.channels[15].axisA, 10.0) << "the blocks hold what counts";
    EXPECT_EQ(settings.dac[0].pulses.size(), 1u);
}

TEST_F(AdcDacConfigurationTest, TellsWhatTheBoardDoesNotHave) {
    GeneralFile file;
    file.chanOn = 8;
    target.board = {"B2", 8, 1, false};
    EXPECT_TRUE(Load(file.Build()));
    EXPECT_EQ(
        Messages(),
        (std::vector<std::string>{
            "Configuration file was saved with a B1 board, but you are currently running a B2 "
            "board.\nSome facilities may not operate correctly.",
            "Config file was saved from board with 9 ADC channels.\nThis board only has 8.",
            "Digital trigger out not supported by this board. Reverting to software simultaneous start.",
            "Config file was saved from board with 2 DAC channels.\nThis board only has 1."}));
    EXPECT_FALSE(settings.m_bDigitalTrigOut);
    EXPECT_EQ(settings.boardValue, 77);
    EXPECT_EQ(settings.m_strOutputFile, "/out.kymr-dat");
    target.board = {"B1", 9, 2, true};
    target.findOutputFile = [](const std::filesystem::path& sought) {
        EXPECT_EQ(sought, "/out.kymr-dat");
        return false;
    };
    EXPECT_TRUE(Load(file.Build()));
    EXPECT_TRUE(host.WasSilent());
    EXPECT_TRUE(settings.m_bDigitalTrigOut);
    EXPECT_EQ(settings.m_strOutputFile, "");
}

TEST_F(AdcDacConfigurationTest, AFolderThatIsNotThereBecomesTheDesktop) {
    DiskFileSystem disk;
    Session real(host, disk);
    const TempFolder folder;
    target.desktopFolder = "/desk";
    AcquisitionSettings saved{RecordingType::board};
    const std::string there = (folder / "cell").string();
    const std::pair<std::string, std::string> rows[] = {{there, there},
                                                        {"", ""},
                                                        {"cell", "cell"},
                                                        {"/not there/cell", "/desk/cell"},
                                                        {"C:\\data\\cell", "/desk/cell"}};
    for (const auto& [base, wanted] : rows) {
        saved.m_strAutoSaveBase = base;
        WriteConfiguration(real, saved, folder / "x.kymr-cfg");
        host.Forget();
        ASSERT_TRUE(LoadConfiguration(real, folder / "x.kymr-cfg", target, settings));
        EXPECT_EQ(settings.m_strAutoSaveBase, wanted);
        EXPECT_EQ(host.LastMessage(), base == wanted
                                          ? ""
                                          : "The folder specified in the configuration Autosave path "
                                            "does not exist.\nDefaulting to the Desktop.");
    }
}

TEST_F(AdcDacConfigurationTest, NotesAreShownAndAsked) {
    host.saveFile = "/saved.kymr-cfg";
    EXPECT_FALSE(SaveConfiguration(session, settings)) << "the notes were cancelled";
    EXPECT_FALSE(files.Has("/saved.kymr-cfg"));
    EXPECT_EQ(host.fileRequests[0].title, "Save ADC-DAC configuration file");
    host.fillForms.push_back([](Form& form) {
        EXPECT_EQ(form.title, "Protocol notes");
        form["notes"].text = "two\nlines";
        return true;
    });
    EXPECT_TRUE(SaveConfiguration(session, settings));
    EXPECT_EQ(settings.notes, "two\nlines");
    AcquisitionSettings loaded{RecordingType::board};
    host.openFiles = {"/saved.kymr-cfg"};
    EXPECT_TRUE(LoadConfiguration(session, {}, target, loaded));
    EXPECT_EQ(host.fileRequests.back().title, "Load ADC-DAC configuration file");
    EXPECT_EQ(host.forms.size(), 3u) << "closing them ends no load";
    EXPECT_EQ(loaded, settings);
    EXPECT_TRUE(Load(GeneralFile().Build()));
    EXPECT_TRUE(host.forms.empty()) << "no notes, no dialog";
}

TEST_F(AdcDacConfigurationTest, ASaveThatDiesLeavesTheOldOrTheNew) {
    WriteConfiguration(session, settings, settingsPath);
    const auto old = files.Bytes(settingsPath);
    AcquisitionSettings other{RecordingType::arduino};
    WriteConfiguration(session, other, "/new.kymr-cfg");
    const auto wanted = files.Bytes("/new.kymr-cfg");
    bool done = false;
    for (int64_t change = 1; !done; ++change) {
        ASSERT_LT(change, 50);
        files.Put(settingsPath, old);
        FaultyFileSystem faulty(files);
        faulty.dieAtChange = change;
        faulty.dieHalfWay = change % 2 == 0;
        Session dying(host, faulty);
        try {
            WriteConfiguration(dying, other, settingsPath);
        } catch (const std::exception&) {
        }
        done = !faulty.died;
        EXPECT_TRUE(files.Bytes(settingsPath) == old || files.Bytes(settingsPath) == wanted) << change;
    }
    EXPECT_EQ(files.Bytes(settingsPath), wanted);
}

TEST(AcquisitionSettingsTest, SettingsAreSetByTheirKeys) {
    AcquisitionSettings settings(RecordingType::board);
    const auto set = [&](const char* key, const char* text) { return SetSetting(settings, key, text); };
    EXPECT_EQ(set("dac2.dcLevel", "1"), std::nullopt);
    EXPECT_EQ(set("dacInUse", "2"), "");
    EXPECT_EQ(set("dac2.pulseCount", "3"), "");
    EXPECT_EQ(set("dac2.pulse3.stepPlateau", "-0.25"), "");
    EXPECT_EQ(settings.dac[1].pulses[2].m_fStepPlateau, -0.25f);
    EXPECT_EQ(set("dac2.pulse4.delay", "1"), std::nullopt);
    EXPECT_EQ(set("dac2.pulse1.seqMode", "reverse-repeat"), "");
    EXPECT_EQ(settings.dac[1].pulses[0].m_eSeqMode, 3);
    EXPECT_EQ(set("inputMode", "4294967295"), "");
    EXPECT_EQ(settings.m_nInputMode, 0xFFFFFFFFu);
    EXPECT_EQ(set("inputMode", "4294967296"), "\"inputMode\" must be at most 4294967295.");
    EXPECT_EQ(set("channel2.colour", "#0102fe"), "");
    EXPECT_EQ(settings.channels[1].colour, 0xFE0201u);
    EXPECT_EQ(set("boardDacChannels", "0"), "");
    EXPECT_EQ(set("dacInUse", "1"), std::nullopt) << "such a board has no stimulus";
    AcquisitionSettings arduino(RecordingType::arduino);
    EXPECT_EQ(SetSetting(arduino, "rateIndex", "11"), "");
    EXPECT_EQ(arduino.m_dSampleInterval, 0.2);
    EXPECT_EQ(SetSetting(arduino, "channelCount", "3"), "");
    EXPECT_TRUE(arduino.channels[2].m_nChanOn && !arduino.channels[3].m_nChanOn);
    AcquisitionSettings sound(RecordingType::microphone);
    EXPECT_EQ(SetSetting(sound, "resolutionBits", "12"), "");
    EXPECT_EQ(SettingsFault(sound), "resolution: A microphone has 8 or 16 bits.");
}

}  // namespace
}  // namespace kymora::test
