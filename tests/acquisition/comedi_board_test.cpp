// The Comedi board on a stand-in for the library: a device whose file is a socket, which a test fills.

#include "acquisition/comedi_board.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "support/engine_fixture.h"

namespace kymora::test {
namespace {

// The device: 8 inputs of 12 bits and 2 outputs of 16, whose clock has steps of 50 ns.
struct Device {
    int ends[2] = {-1, -1};  // the program's, and the device's
    bool inputRuns = false, outputRuns = false, isTriggered = false, isFull = false;
    comedi_cmd input{}, output{};
    std::vector<uint16_t> played;
    std::vector<unsigned int> bits;
    int64_t given = 0;
} device;
std::atomic<int> readError{0};  // in place of the next bytes, which another thread reads

constexpr int inputs = 0, outputs = 1, digital = 2;

ComediDevice* Handle() { return reinterpret_cast<ComediDevice*>(&device); }
ComediRange ranges[] = {{-5.0, 5.0, 0}, {-10.0, 10.0, 0}, {0.0, 20.0, 1}};

int Test(ComediDevice*, comedi_cmd* command) {
    const unsigned int wanted = command->scan_begin_arg;
    command->scan_begin_arg = (wanted + 25) / 50 * 50;
    return wanted == command->scan_begin_arg ? 0 : 4;
}

int Timed(ComediDevice*, unsigned int subdevice, comedi_cmd* command, unsigned int channels,
          unsigned int period) {
    *command = {};
    command->subdev = subdevice;
    command->scan_begin_src = TRIG_TIMER;
    command->scan_begin_arg = period;
    command->scan_end_src = TRIG_COUNT;
    command->scan_end_arg = channels;
    return 0;
}

int Begin(ComediDevice*, comedi_cmd* command) {
    const bool isInput = command->subdev == inputs;
    (isInput ? device.input : device.output) = *command;
    (isInput ? device.inputRuns : device.outputRuns) = true;
    return 0;
}

ssize_t Read(int file, void* to, size_t bytes) {
    const ssize_t n = ::read(file, to, bytes);
    if (n > 0 || readError == 0) return n;
    errno = readError;
    return -1;
}

ssize_t Write(int, const void* from, size_t bytes) {
    // The driver's room: 100 samples, and then none for a moment.
    if (std::exchange(device.isFull, !device.isFull)) {
        errno = EAGAIN;
        return -1;
    }
    const size_t taken = std::min<size_t>(bytes, 200);
    const auto* const codes = static_cast<const uint16_t*>(from);
    device.played.insert(device.played.end(), codes, codes + taken / 2);
    return static_cast<ssize_t>(taken);
}

const ComediLibrary standIn = {
    [](const char* file) { return std::string(file) == "/dev/comedi0" ? Handle() : nullptr; },
    [](ComediDevice*) { return 0; },
    [](ComediDevice*) { return device.ends[0]; },
    [](ComediDevice*) -> const char* { return "stand-in"; },
    [](ComediDevice*, int type, unsigned int from) {
        const int at = type == COMEDI_SUBD_AI    ? inputs
                       : type == COMEDI_SUBD_AO  ? outputs
                       : type == COMEDI_SUBD_DIO ? digital
                                                 : -1;
        return at >= static_cast<int>(from) ? at : -1;
    },
    [](ComediDevice*, unsigned int) { return SDF_CMD_READ | SDF_CMD_WRITE | SDF_GROUND; },
    [](ComediDevice*, unsigned int subdevice) { return subdevice == inputs ? 8 : 2; },
    [](ComediDevice*, unsigned int subdevice, unsigned int) { return subdevice == inputs ? 4095u : 65535u; },
    [](ComediDevice*, unsigned int, unsigned int) { return 3; },
    [](ComediDevice*, unsigned int, unsigned int, unsigned int range) { return &ranges[range]; },
    Timed,
    Test,
    Begin,
    [](ComediDevice*, unsigned int subdevice) {
        (subdevice == inputs ? device.inputRuns : device.outputRuns) = false;
        return 0;
    },
    [](ComediDevice*, unsigned int, unsigned int) {
        device.isTriggered = true;
        return 0;
    },
    [](ComediDevice*, unsigned int, unsigned int, unsigned int) { return 0; },
    [](ComediDevice*, unsigned int, unsigned int, unsigned int bit) {
        device.bits.push_back(bit);
        return 1;
    },
    Read,
    Write,
};

struct ComediBoardTest : EngineTest {
    ComediBoardTest() {
        device = {};
        readError = 0;
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, device.ends), 0);
    }
    ~ComediBoardTest() override {
        view.reset();
        for (const int end : device.ends)
            if (end >= 0) ::close(end);
    }
    void OpenComedi(int channels) {
        view = std::make_unique<CDTGenAcqView>(session, loop,
                                               std::make_unique<ComediBoard>(standIn, "/dev/comedi0"));
        ASSERT_TRUE(view->OpenBoard()) << host.LastMessage();
        for (size_t i = 0; i < 16; ++i)
            view->m_settings.channels[i].m_nChanOn = i < static_cast<size_t>(channels);
        view->m_settings.m_dSampleInterval = 0.1;
        view->m_settings.m_dTimeLimit = 0.1;
        view->m_temporaryFolder = "/";
        view->m_saveAs = out;
        view->m_saveAsStamp = files.Stamp(out);
    }
    // The device samples: a counter of 12 bits.
    void Give(int samples) {
        std::vector<uint16_t> codes;
        for (int i = 0; i < samples; ++i) codes.push_back(static_cast<uint16_t>(device.given++ & 0xFFF));
        EXPECT_EQ(::write(device.ends[1], codes.data(), codes.size() * 2),
                  static_cast<ssize_t>(codes.size() * 2));
    }
};

TEST_F(ComediBoardTest, StreamsInputsInTheWidestRange) {
    OpenComedi(3);
    view->m_settings.m_dSampleInterval = 0.100013;
    ASSERT_TRUE(view->OnAcqStart()) << host.LastMessage();
    EXPECT_EQ(device.input.start_src, unsigned{TRIG_NOW});
    EXPECT_EQ(device.input.stop_src, unsigned{TRIG_NONE});
    ASSERT_EQ(device.input.chanlist_len, 3u);
    EXPECT_EQ(device.input.chanlist[2], unsigned{CR_PACK(2, 1, AREF_GROUND)});
    EXPECT_DOUBLE_EQ(view->m_settings.m_dSampleInterval, 0.1);
    for (int i = 0; i < 40; ++i) Give(3 * 40 + 1);
    Run();
    EXPECT_TRUE(view->OnSave()) << host.LastMessage();
    EXPECT_FALSE(device.inputRuns);
    const auto codes = Codes();
    EXPECT_EQ(codes.size(), 3u * 1001u);
    EXPECT_EQ(Lost(codes, 0xFFF), 0);
    // The greatest code is the upper end of the range.
    const auto doc = Saved();
    EXPECT_EQ(doc->m_strBoardName, "stand-in");
    EXPECT_EQ(doc->m_nResolutionBits, 12);
    EXPECT_NEAR(doc->m_fVoltLow + 4095.0 * doc->VoltSpan() / 4096.0, 10.0, 1e-5);
}

TEST_F(ComediBoardTest, PlaysOutputsThatAreLongerThanTheDriversRoom) {
    OpenComedi(1);
    view->m_settings.m_nDacInUse = 1;
    view->m_settings.m_dOutputFreqKHz = 10.0;
    COutputPulse pulse;
    pulse.m_fDelay = 10.0f;
    pulse.m_fPlateau = 20.0f;
    pulse.m_fAmplitude = 10.0f;
    view->m_settings.dac[0].pulses = {pulse};
    ASSERT_TRUE(view->OnAcqStart()) << host.LastMessage();
    EXPECT_TRUE(device.isTriggered);
    EXPECT_EQ(device.output.stop_arg, 310u);
    for (int i = 0; i < 10; ++i) Give(200);
    Run();
    ASSERT_EQ(device.played.size(), 310u);
    EXPECT_EQ(device.played[99], 32768 - 1);  // 0 V lies just below the middle of codes that reach both ends
    EXPECT_EQ(device.played[100], 65535);
    EXPECT_EQ(device.played[300], 32768 - 1);
}

TEST_F(ComediBoardTest, TellsWhatEndedIt) {
    const struct {
        int error;
        const char* text;
    } cases[] = {{EPIPE, "Overrun Error on input (reduce sample frequency)"},
                 {ENODEV, "The board does not answer any more."}};
    for (const auto& c : cases) {
        OpenComedi(1);
        ASSERT_TRUE(view->OnAcqStart());
        Give(450);
        Run([&] { return view->StoredScans() >= 400; });
        readError = c.error;
        ::shutdown(device.ends[1], SHUT_WR);
        Run();
        EXPECT_TRUE(WasTold(c.text)) << host.LastMessage();
        EXPECT_TRUE(view->OnSave());
        EXPECT_EQ(Codes().size(), 400u);
        view.reset();
        for (const int end : device.ends) ::close(end);
        device = {};
        readError = 0;
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, device.ends), 0);
        files.Remove(out);
    }
}

TEST_F(ComediBoardTest, ATriggerAndTheDigitalOutput) {
    OpenComedi(1);
    view->m_settings.m_bDigitalTrigOut = true;
    ASSERT_TRUE(view->OnAcqStart());
    EXPECT_EQ(device.input.start_src, unsigned{TRIG_EXT});
    EXPECT_EQ(device.bits, (std::vector<unsigned int>{1, 0}));
    ComediBoard none(standIn, "/dev/comedi7");
    EXPECT_FALSE(none.Has(Subsystem::adc));
}

}  // namespace
}  // namespace kymora::test
