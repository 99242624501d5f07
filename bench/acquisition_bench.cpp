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
};

// Records so many seconds of the board.
RecordingRun Record(const Folder& folder, double seconds) {
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    PlainLoop loop;
    SimulatedBoardSettings board;
    board.input = SimulatedInput::counter;
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
    const double took = std::chrono::duration<double>(Waker::Clock::now() - start).count();
    run.cores = (ProcessSeconds() - before) / took;
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

class DocumentStore : public ScanStore {
  public:
    explicit DocumentStore(CAcqDoc& doc) : doc_(doc) {}
    void Store(std::span<const std::byte> scans) override { doc_.StoreScans(scans); }
    void Flush() override { doc_.FlushScans(); }

  private:
    CAcqDoc& doc_;
};

// Bytes a second that a source can give without a loss, as long as the pipe holds what the disk is late by: a
// source that waits while the pipe is full.
double StorageRate(const Folder& folder, double bytes) {
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    PlainLoop loop;
    AcqMailbox mailbox(loop);
    CAcqDoc doc(session);
    const std::vector<std::byte> buffer(20000 * channels * 2, std::byte{7});
    CPipe pipe(300, buffer.size());
    DocumentStore store(doc);
    const double took = Seconds(3, [&] {
        doc.WriteAcqFileStart(folder / "");
        StorageThread storage(pipe, store, mailbox, StoragePlan{static_cast<uint64_t>(bytes)});
        for (uint64_t at = 0; static_cast<double>(at) < bytes; at += buffer.size())
            while (!pipe.Write(buffer)) std::this_thread::sleep_for(std::chrono::microseconds(200));
        storage.Stop();
        storage.Join();
        doc.FlushScans();
    });
    doc.DiscardRecording();
    return bytes / took;
}

// Bytes a second of a file that is written in buffers from front to end, and has reached the disk.
double PlainRate(const Folder& folder, double bytes) {
    DiskFileSystem files;
    const std::vector<std::byte> buffer(20000 * channels * 2, std::byte{7});
    const double took = Seconds(3, [&] {
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
    const RecordingRun usual = Record(folder, seconds);
    std::printf(
        "%.0f s of 16 channels at 1 MHz: %s, pipe filled to %.1f %%, %.2f cores, %.2f without the board's "
        "samples (at most 0.5)\n",
        seconds, usual.isWhole ? "nothing lost" : "LOST", usual.fill * 100.0, usual.cores,
        usual.cores - board);

    const double stored = StorageRate(folder, 2e9), plain = PlainRate(folder, 2e9);
    std::printf("through pipe and storage thread %.0f MB/s, plain sequential write %.0f MB/s, ratio %.2f (at "
                "least 0.5)\n",
                stored / 1e6, plain / 1e6, stored / plain);
    return 0;
}
