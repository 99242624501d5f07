// The recording engine at the highest rate of the simulated board, and against a plain sequential write.
//   acquisition_bench [SECONDS]    so long at 16 channels of 1 MHz each (5)

#include <sys/resource.h>

#include <cmath>
#include <cstdlib>

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/plain_loop.h"
#include "acquisition/simulated_board.h"
#include "bench_files.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr int channels = 16;
constexpr double bytesPerSecond = channels * 2 * 1e6;

double ProcessSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct RecordingRun {
    bool isWhole = false;  // nothing was lost
    double cores = 0.0;    // busy, on average
    double fill = 0.0;     // the most of the pipe
    double seconds = 0.0;
    std::string words;
};

// Keeps what is said.
class ListeningHost : public QuietHost {
  public:
    void Message(std::string_view text, std::string_view) override { words += std::string(text) + " "; }
    std::string words;
};

// Records so many seconds of the board, whose clock runs `speed` times as fast as that of the wall. It is
// given buffers as it needs them: its twenty hold but a few ms of such a speed, and other programs may take
// longer.
RecordingRun Record(const Folder& folder, double seconds, double speed) {
    ListeningHost host;
    DiskFileSystem files;
    Session session(host, files);
    PlainLoop loop;
    SimulatedBoardSettings board;
    board.input = SimulatedInput::counter;
    board.speed = speed;
    board.waitsForBuffers = speed != 1.0;
    CDTGenAcqView view(session, loop, std::make_unique<SimulatedBoard>(board));
    view.OpenBoard();
    view.m_settings.m_dSampleInterval = 0.001;
    view.m_settings.m_dTimeLimit = seconds;
    for (auto& channel : view.m_settings.channels) channel.m_nChanOn = true;
    view.m_temporaryFolder = folder / "";
    RecordingRun run;
    if (!view.OnAcqStart()) return run;
    const double before = ProcessSeconds();
    const auto start = Waker::Clock::now();
    loop.Run(
        [&] {
            run.fill = std::max(run.fill, view.PipeFill());
            return !view.HasEnded();
        },
        std::chrono::milliseconds(20));
    run.seconds = std::chrono::duration<double>(Waker::Clock::now() - start).count();
    run.cores = (ProcessSeconds() - before) / run.seconds;
    run.words = host.words;
    run.isWhole =
        !view.HasFailed() && view.StoredScans() == static_cast<int64_t>(std::lround(seconds * 1e6)) + 1;
    return run;
}

// Cores that the samples themselves take.
double BoardCores() {
    SimulatedSampling sampling;
    sampling.frequency = 1e6;
    for (int i = 0; i < channels; ++i) sampling.channels.push_back(i);
    std::vector<std::byte> buffer(20000 * channels * 2);
    SimulatedInputs inputs(sampling, {});
    return Seconds(5,
                   [&] {
                       for (int i = 0; i < 50; ++i) inputs.Fill(buffer);
                   }) /
           (50 * static_cast<double>(buffer.size()) / bytesPerSecond);
}

// Bytes a second of a file that is written in buffers from front to end, and has reached the disk.
double PlainRate(const Folder& folder, double bytes) {
    DiskFileSystem files;
    const std::vector<std::byte> buffer(20000 * channels * 2, std::byte{7});
    const double took = Seconds(2, [&] {
        const auto file = files.Open(folder / "plain", OpenMode::createNew);
        for (uint64_t at = 0; static_cast<double>(at) < bytes; at += buffer.size()) file->WriteAt(at, buffer);
        file->Sync();
        files.Remove(folder / "plain");
    });
    return bytes / took;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    const Folder folder;
    const double board = BoardCores();
    const RecordingRun usual = Record(folder, seconds, 1.0);
    std::printf(
        "%.0f s of 16 channels at 1 MHz: %s, pipe filled to %.1f %%, %.2f cores, %.2f without the board's "
        "samples (at most 0.5)\n",
        seconds, usual.isWhole ? "nothing lost" : "LOST", usual.fill * 100.0, usual.cores,
        usual.cores - board);

    double highest = 0.0;
    for (double speed = 1.0; speed < 200.0; speed *= 1.25) {
        const RecordingRun run = Record(folder, 3.0 * speed, speed);
        // What is not there in time was no such rate.
        if (!run.isWhole || run.seconds > 1.1 * 3.0) {
            std::printf("%.0f MB/s: %.2f s for 3, pipe %.0f %% %s\n", speed * bytesPerSecond / 1e6,
                        run.seconds, run.fill * 100.0, run.words.c_str());
            break;
        }
        highest = speed * bytesPerSecond;
    }
    const double plain = PlainRate(folder, 3.0 * highest);
    std::printf("plain sequential write %.0f MB/s, highest rate without a loss %.0f MB/s, ratio %.2f (at "
                "least 0.5)\n",
                plain / 1e6, highest / 1e6, highest / plain);
    return 0;
}
