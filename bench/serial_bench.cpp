// Recording from a serial board and from a sound input: whether everything arrives, and what it costs.
//   serial_bench [HOURS]    of line rate, compressed in time (24)

#include <sys/resource.h>
#include <sys/wait.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "acquisition/ard_acq_view.h"
#include "acquisition/mic_acq_view.h"
#include "acquisition/plain_loop.h"
#include "bench_files.h"
#include "serial_board.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr double lineBytesPerSecond = 25600.0;  // 256000 baud, ten bits a byte
constexpr double scanRate = 1000.0;
constexpr uint32_t channels = 6;
constexpr double compression = 600.0;  // a pseudo terminal carries some 9 MB/s

double ProcessSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// A board in a process of its own, so that its work does not count.
class BoardProcess {
  public:
    explicit BoardProcess(const SerialBoardScript& script) {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0) std::abort();
        m_nProcess = ::fork();
        if (m_nProcess == 0) {
            const SerialBoard board(script);
            [[maybe_unused]] const auto written =
                ::write(ends[1], board.Path().c_str(), board.Path().size() + 1);
            for (;;) ::pause();
        }
        char path[64] = {};
        [[maybe_unused]] const auto count = ::read(ends[0], path, sizeof path - 1);
        m_path = path;
        ::close(ends[0]);
        ::close(ends[1]);
    }
    ~BoardProcess() {
        ::kill(m_nProcess, SIGKILL);
        ::waitpid(m_nProcess, nullptr, 0);
    }
    BoardProcess(const BoardProcess&) = delete;
    BoardProcess& operator=(const BoardProcess&) = delete;
    const std::string& Path() const { return m_path; }

  private:
    pid_t m_nProcess = -1;
    std::string m_path;
};

// What a recording of the counter holds.
struct Outcome {
    int64_t scans = 0;
    int64_t wrong = 0;  // values
    double cores = 0.0;
    double seconds = 0.0;
    bool hasFailed = false;
};

int64_t WrongValues(CAcqDoc& doc, uint16_t first) {
    constexpr size_t atOnce = 1 << 20;
    const uint64_t bytes = static_cast<uint64_t>(doc.StoredScans()) * doc.ScanBytes();
    std::vector<uint16_t> values(atOnce / 2);
    int64_t wrong = 0;
    uint16_t expected = first;
    for (uint64_t at = 0; at < bytes; at += atOnce) {
        const auto count = static_cast<size_t>(std::min<uint64_t>(atOnce, bytes - at));
        doc.SampleFile().ReadAt(doc.m_nDataStart + at,
                                std::as_writable_bytes(std::span(values)).first(count));
        for (size_t i = 0; i < count / 2; ++i) wrong += values[i] != expected++;
    }
    return wrong;
}

template <typename View>
Outcome Run(View& view, PlainLoop& loop, uint16_t first) {
    Outcome outcome;
    const double before = ProcessSeconds();
    const auto start = Waker::Clock::now();
    if (!view.OnAcqStart()) return {0, 0, 0.0, 0.0, true};
    loop.Run([&] { return !view.HasEnded(); }, std::chrono::milliseconds(100));
    outcome.seconds = std::chrono::duration<double>(Waker::Clock::now() - start).count();
    outcome.cores = (ProcessSeconds() - before) / outcome.seconds;
    outcome.scans = view.Document().StoredScans();
    outcome.hasFailed = view.HasFailed();
    outcome.wrong = WrongValues(view.Document(), first);
    return outcome;
}

class LoudHost : public QuietHost {
  public:
    void Message(std::string_view text, std::string_view) override {
        std::printf("%.*s\n", static_cast<int>(text.size()), text.data());
    }
};

Outcome RecordSerial(const Folder& folder, double speed, uint32_t channelCount, uint32_t rate,
                     double seconds) {
    SerialBoardScript script;
    script.speed = speed;
    const BoardProcess board(script);
    LoudHost host;
    DiskFileSystem files;
    Session session(host, files);
    PlainLoop loop;
    SerialBoardSettings settings;
    settings.port = board.Path();
    settings.speed = speed;
    CArdAcqView view(session, loop, settings);
    if (!view.OpenPort()) return {0, 0, 0.0, 0.0, true};
    view.m_temporaryFolder = folder / "";
    view.m_settings.SetChannelsOn(channelCount);
    view.m_settings.SetArduinoRate(rate);
    view.m_settings.m_dTimeLimit = seconds;
    return Run(view, loop, 0);
}

// A device that gives what its clock says, and drops what is not fetched within half a second.
struct PacedSound : SoundSystem {
    struct Input : SoundInput {
        explicit Input(const SoundFormat& with) : format(with) {}
        int Rate() const override { return format.rate; }
        void Start() override { begun = Waker::Clock::now(); }
        size_t Read(std::span<std::byte> to, bool& hasLost) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            const double seconds = std::chrono::duration<double>(Waker::Clock::now() - begun).count();
            const auto due = static_cast<int64_t>(seconds * format.rate);
            if (due - given > format.rate / 2) hasLost = true;
            const int64_t frames = std::min<int64_t>(due - given, to.size() / format.FrameBytes());
            for (int64_t i = 0; i < 2 * frames; ++i) {
                const auto value = static_cast<uint16_t>(2 * given + i);
                std::memcpy(to.data() + 2 * i, &value, 2);
            }
            given += frames;
            return static_cast<size_t>(frames) * format.FrameBytes();
        }
        SoundFormat format;
        Waker::Clock::time_point begun;
        int64_t given = 0;
    };
    std::vector<SoundDevice> Devices() override { return {{"paced", 2, 0, 96000.0, true, false}}; }
    std::unique_ptr<SoundInput> OpenInput(const std::string&, const SoundFormat& format, double) override {
        return std::make_unique<Input>(format);
    }
    std::unique_ptr<SoundOutput> OpenOutput(const std::string&, const SoundFormat&, double) override {
        return {};
    }
};

Outcome RecordSound(const Folder& folder, double seconds, bool isLoaded) {
    std::atomic<bool> ends = false;
    std::vector<std::thread> load;
    for (unsigned i = 0; isLoaded && i < 2 * std::thread::hardware_concurrency(); ++i)
        load.emplace_back([&ends] {
            while (!ends) {
            }
        });
    LoudHost host;
    DiskFileSystem files;
    Session session(host, files);
    PlainLoop loop;
    CMicAcqView view(session, loop, std::make_shared<PacedSound>(), "");
    view.m_temporaryFolder = folder / "";
    view.m_settings.m_dSampleInterval = 1.0 / 96.0;
    view.m_settings.channels[1].m_nChanOn = true;
    view.m_settings.m_dTimeLimit = seconds;
    // Behind the first buffer of 20 ms.
    const Outcome outcome = Run(view, loop, static_cast<uint16_t>(2 * 1920));
    ends = true;
    for (std::thread& one : load) one.join();
    return outcome;
}

void Tell(const char* what, const Outcome& outcome, double scans, const char* rest) {
    const bool isWhole = !outcome.hasFailed && outcome.wrong == 0 && outcome.scans == std::llround(scans) + 1;
    std::printf("%s: %lld scans in %.0f s, %s (%lld values wrong), %.3f cores%s\n", what,
                static_cast<long long>(outcome.scans), outcome.seconds, isWhole ? "nothing lost" : "LOST",
                static_cast<long long>(outcome.wrong), outcome.cores, rest);
}

}  // namespace

int main(int argc, char** argv) {
    const double hours = argc > 1 ? std::atof(argv[1]) : 24.0;
    const Folder folder;
    const double scans = std::round(hours * 3600.0 * lineBytesPerSecond / (2.0 * channels));
    Tell("serial line, compressed", RecordSerial(folder, compression, channels, 9, scans / scanRate), scans,
         "");
    Tell("serial, 2 channels at 2 kHz", RecordSerial(folder, 1.0, 2, 10, 20.0), 40000.0, " (at most 0.05)");
    Tell("sound, stereo at 96 kHz", RecordSound(folder, 10.0, false), 960000.0, "");
    Tell("sound, the same under load", RecordSound(folder, 10.0, true), 960000.0, ", the load with it");
    return 0;
}
