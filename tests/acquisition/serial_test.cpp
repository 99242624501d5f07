// Recording from a board on a serial port; the board is simulated behind a pseudo terminal.

#include <fstream>

#include <gtest/gtest.h>

#include "acquisition/ard_acq_view.h"
#include "acquisition/com_port_id.h"
#include "serial_board.h"
#include "support/hand_fixture.h"
#include "support/run_program.h"

namespace kymora::test {
namespace {

struct Serial : HandTest<CArdAcqView> {
    std::unique_ptr<SerialBoard> board;

    // Two channels at 1 kHz, where nothing else is said.
    bool Start(SerialBoardScript script = {}, uint32_t channels = 2, uint32_t rate = 9,
               double seconds = 0.3) {
        board = std::make_unique<SerialBoard>(script);
        SerialBoardSettings settings;
        settings.port = board->Path();
        settings.speed = script.speed;
        Make(settings);
        if (!view->OpenPort()) return false;
        view->m_settings.SetChannelsOn(channels);
        view->m_settings.SetArduinoRate(rate);
        view->m_settings.m_dTimeLimit = seconds;
        return view->OnAcqStart();
    }
};

TEST_F(Serial, TheLimitEndsARecordingOfAllValues) {
    ASSERT_TRUE(Start({.speed = 20.0}, 3, 9, 2.0)) << host.LastMessage();
    Run();
    EXPECT_FALSE(view->HasFailed()) << host.LastMessage();
    // round(2 s * 1 kHz) + 1 scans.
    EXPECT_EQ(view->StoredScans(), 2001);
    EXPECT_TRUE(Counts(Values()));
    EXPECT_EQ(board->Heard().substr(0, 2), "3j");
    for (int i = 0; i < 200 && board->Heard().size() < 3; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(board->Heard(), "3jz");
    view->m_saveAs = "/out.kymr-rec";
    ASSERT_TRUE(view->OnSave()) << host.LastMessage();
    CAcqDoc doc(session);
    ASSERT_TRUE(doc.OnOpenDocument("/out.kymr-rec", OpenFor::reading));
    EXPECT_EQ(doc.m_eRecordingType, RecordingType::arduino);
    EXPECT_EQ(doc.m_strMaker, "Unknown manufacturer");
    EXPECT_EQ(doc.m_nChannels, 3u);
    EXPECT_EQ(doc.GetLength(), 2001);
    // The fourth value, of channel 1: 3 of 1024 codes to 5 V.
    doc.SetReadPosition(1);
    EXPECT_NEAR(doc.ReadNext(0), 3.0 * 5.0 / 1024.0, 1e-6);
    // A second recording on the same port.
    ASSERT_TRUE(view->OnAcqStart());
    Run([this] { return view->StoredScans() >= 100; });
    view->OnAcqStop();
    EXPECT_FALSE(view->HasFailed()) << host.LastMessage();
    EXPECT_TRUE(Counts(Values()));
}

TEST_F(Serial, AnAnswerThatIsNotTwoReadyBytesIsRefused) {
    for (const std::string answer : {"", "\x04", "\x04\x05", "\x05\x04", "zz"}) {
        host.messages.clear();
        ASSERT_TRUE(Start({.handshake = answer, .bytes = 0}));
        Run();
        EXPECT_TRUE(
            WasTold("Header from Arduino incorrect. Suggest re-plug board and try again. If that fails, "
                    "reload sketch km_ard.ino."))
            << testing::PrintToString(answer);
        EXPECT_TRUE(view->HasFailed());
        EXPECT_FALSE(view->HasUnsaved());
        for (int i = 0; i < 200 && !board->Heard().ends_with('z'); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_TRUE(board->Heard().ends_with('z'));
    }
    // A byte too many belongs to the stream: nothing tells it from a value.
    ASSERT_TRUE(Start({.handshake = "\x04\x04\x04", .speed = 20.0}));
    Run();
    EXPECT_FALSE(view->HasFailed());
    EXPECT_EQ(Values().at(0), 0x0004);
    EXPECT_EQ(Values().at(1), 0x0100);
}

TEST_F(Serial, WhatCameBeforeTheStreamEndsIsKept) {
    // Slots of 100 scans of 4 bytes; the board falls silent within the sixth, and within a value.
    ASSERT_TRUE(Start({.speed = 20.0, .bytes = 2203}, 2, 9, 100.0));
    const auto start = std::chrono::steady_clock::now();
    Run();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    EXPECT_FALSE(view->HasFailed());
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(view->StoredScans(), 500);
    EXPECT_TRUE(Counts(Values()));

    // It vanishes there: whole scans count, 550 of them.
    ASSERT_TRUE(Start({.speed = 20.0, .bytes = 2203, .vanishes = true}, 2, 9, 100.0));
    Run();
    EXPECT_TRUE(view->HasFailed());
    EXPECT_TRUE(
        WasTold("Error communicating with Arduinio. Input/output error. Suggest unplug and replug board."));
    EXPECT_EQ(view->StoredScans(), 550);
    EXPECT_TRUE(Counts(Values()));
    EXPECT_TRUE(view->HasUnsaved());
    // It is looked for anew.
    board.reset();
    EXPECT_FALSE(view->OnAcqStart());
    EXPECT_TRUE(WasTold(" for Arduino communication. Is the Arduino plugged in?"));
}

TEST_F(Serial, RatesBeyondTheBoardAreAdjusted) {
    const char* const words =
        "Maximum allowed ADC frequency is 2k Hz for 2, channels, 1 kHz for > 2 channels. Adjusting.";
    struct Case {
        uint32_t channels, rate, adjusted;
    };
    for (const auto [channels, rate, adjusted] :
         {Case{1, 11, 11}, Case{2, 11, 10}, Case{2, 10, 10}, Case{3, 10, 9}, Case{6, 11, 9}, Case{6, 0, 0}}) {
        host.messages.clear();
        ASSERT_TRUE(Start({.speed = 100.0}, channels, rate, 0.01));
        EXPECT_EQ(view->m_settings.arduinoRate, adjusted);
        EXPECT_EQ(WasTold(words), adjusted != rate);
        view->OnAcqStop();
    }
    EXPECT_FALSE(Start({}, 0));
    EXPECT_FALSE(Start({}, 7));
}

TEST_F(Serial, APortThatIsHeldIsTold) {
    ASSERT_TRUE(Start());
    SerialBoardSettings settings;
    settings.port = board->Path();
    TestHost otherHost;
    Session otherSession{otherHost, files};
    PlainLoop otherLoop;
    CArdAcqView other(otherSession, otherLoop, settings);
    EXPECT_FALSE(other.OpenPort());
    EXPECT_EQ(otherHost.LastMessage(), "Failed to open " + board->Path() +
                                           " for Arduino communication. Is the Arduino plugged in?\n"
                                           "Another program holds the port.");
    view->OnAcqStop();
}

TEST_F(Serial, AnotherProgramAtThePortIsTold) {
    board = std::make_unique<SerialBoard>(SerialBoardScript{});
    // It has the port open until it is told to end, without a lock.
    FILE* const other = ::popen(("exec 3<>" + board->Path() + "; cat > /dev/null").c_str(), "w");
    ASSERT_NE(other, nullptr);
    for (int i = 0; i < 500 && ProgramsWith(board->Path()).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    SerialBoardSettings settings;
    settings.port = board->Path();
    Make(settings);
    EXPECT_TRUE(view->OpenPort());
    EXPECT_NE(host.LastMessage().find(board->Path() + " is also open in "), std::string::npos)
        << host.LastMessage();
    ::pclose(other);
    EXPECT_TRUE(ProgramsWith(board->Path()).empty()) << "this program itself is none";
}

TEST(ByteRateWatch, TellsOfDeparturesAboveTwoPercent) {
    // Bytes every 10 ms for 25 s; 4 bytes a scan at 1 kHz.
    for (const auto& [factor, isTold] :
         {std::pair{1.0, false}, {1.015, false}, {0.985, false}, {1.03, true}, {0.97, true}}) {
        ByteRateWatch watch(4, 1000.0);
        const auto start = ByteRateWatch::Clock::now();
        std::optional<double> told;
        double sent = 0.0;
        for (int i = 0; i < 2500 && !told; ++i) {
            const double due = std::floor(factor * 40.0 * i);
            told = watch.Take(static_cast<size_t>(due - sent), start + std::chrono::milliseconds(10 * i));
            sent = due;
        }
        EXPECT_EQ(told.has_value(), isTold) << factor;
        EXPECT_NEAR(told.value_or(4000.0 * factor), 4000.0 * factor, 4.0);
    }
}

TEST(CComPortID, NamesPortsByTheirProducts) {
    TempFolder temp;
    const auto write = [&](const std::string& file, const std::string& text) {
        std::filesystem::create_directories((temp / file).parent_path());
        std::ofstream(temp / file) << text << "\n";
    };
    const auto port = [&](const std::string& name, const std::string& device, const std::string& type) {
        write("class/" + name + "/type", type);
        std::filesystem::create_directories(temp / device);
        std::filesystem::create_directory_symlink(temp / device, temp / ("class/" + name + "/device"));
    };
    write("usb/1-1/product", "USB Serial");
    port("ttyUSB0", "usb/1-1/1-1:1.0/ttyUSB0", "4");
    write("usb/1-2/manufacturer", "Arduino (www.arduino.cc)");
    port("ttyACM0", "usb/1-2/1-2:1.0", "0 ");
    port("ttyS0", "platform/serial8250", "0");
    port("ttyS1", "pnp/00:01", "4");
    std::filesystem::create_directories(temp / "class/tty1");
    const CComPortID ports(temp / "class", "/dev");
    ASSERT_EQ(ports.Ports().size(), 3u);
    EXPECT_EQ(ports.Ports()[0].Shown(), "/dev/ttyACM0 <Arduino (www.arduino.cc)>");
    EXPECT_EQ(ports.Ports()[1].Shown(), "/dev/ttyS1");
    EXPECT_EQ(ports.Ports()[2].Shown(), "/dev/ttyUSB0 <USB Serial>");
    ASSERT_TRUE(ports.Arduino());
    EXPECT_EQ(ports.Arduino()->path, "/dev/ttyACM0");

    write("dev/serial/by-id/usb-Arduino_Uno_7553-if00", "");
    const CComPortID named(temp / "none", temp / "dev");
    ASSERT_TRUE(named.Arduino());
    EXPECT_TRUE(named.Arduino()->product.find("Arduino Uno") != std::string::npos);
    EXPECT_FALSE(CComPortID(temp / "none", temp / "none").HasList());
    EXPECT_EQ(CComPortID::PathOf("COM4"), "/dev/ttyS3");
    EXPECT_EQ(CComPortID::PathOf("COM12"), "/dev/ttyS11");
    EXPECT_EQ(CComPortID::PathOf("ttyUSB1"), "/dev/ttyUSB1");
    EXPECT_EQ(CComPortID::PathOf("/dev/pts/3"), "/dev/pts/3");
}

TEST(RecordProgram, ASerialBoardRecordsUntilItIsInterrupted) {
    TempFolder temp;
    const SerialBoard board(SerialBoardScript{});
    const auto out = temp / "out.kymr-rec";
    const auto start = std::chrono::steady_clock::now();
    ProgramSetup setup;
    setup.interruptWhen = [&](pid_t) {
        return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(1500);
    };
    const ProgramResult done = RunKymora({"record", "--source", "serial", "--set", "port=" + board.Path(),
                                          "--set", "channelCount=2", "-o", out.string()},
                                         setup);
    EXPECT_EQ(done.code, 0) << done.err;
    EXPECT_NE(RunKymora({"info", out.string()}).out.find("Traces (2)"), std::string::npos);
    EXPECT_EQ(temp.Count(), 1u);
    // A setting of another source is not passed over.
    EXPECT_EQ(RunKymora({"record", "--source", "simulated", "--set", "port=x", "-o",
                         (temp / "b.kymr-rec").string()})
                  .code,
              2);
}

}  // namespace
}  // namespace kymora::test
