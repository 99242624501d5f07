// Long recordings on the screen: from the start of the process to the first picture, the whole recording at
// once, and every page and zoom after it. Each measurement is a process of its own, so that memory and start
// are its own.
//
//   zoom_bench [MINUTES [GIBIBYTES]]     minutes of an EDF of 16 signals at 25 kHz (20), and the length of a
//   sparse
//                                        native file (10)

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "bench_files.h"
#include "display/kymora_view.h"
#include "display/picture.h"
#include "drawing/cairo_device.h"
#include "import/open_document.h"
#include "summaries/summary_service.h"

#ifdef KYMORA_DESKTOP
#include <QApplication>
#include <QImage>
#include <QPainter>

#include "app/kymora_app.h"
#include "app/main_frame.h"
#include "drawing/windows/painter_device.h"
#endif

using namespace kymora;
using namespace kymora::bench;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int signalCount = 16;
constexpr int rate = 25000;
constexpr int width = 1600, height = 900;

double Ms(Clock::time_point from) {
    return std::chrono::duration<double, std::milli>(Clock::now() - from).count();
}

double PeakMiB() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

double ShareOf(std::vector<double>& times, double share) {
    std::sort(times.begin(), times.end());
    return times[std::min(times.size() - 1, static_cast<size_t>(share * static_cast<double>(times.size())))];
}

// --- the files
// -------------------------------------------------------------------------------------------------------------

void Field(std::string& out, std::string text, size_t size) {
    text.resize(size, ' ');
    out += text;
}

// Slow waves, noise and now and then a spike one sample wide, in records of a second.
void WriteEdf(const std::filesystem::path& path, int seconds) {
    std::string head;
    Field(head, "0", 8);
    Field(head, "", 160);
    Field(head, "01.01.0000.00.00", 16);
    Field(head, std::to_string(256 * (signalCount + 1)), 8);
    Field(head, "", 44);
    Field(head, std::to_string(seconds), 8);
    Field(head, "1", 8);
    Field(head, std::to_string(signalCount), 4);
    const std::pair<std::string, size_t> fields[] = {{"EEG", 16},    {"", 80},      {"uV", 8},
                                                     {"-3276.8", 8}, {"3276.7", 8}, {"-32768", 8},
                                                     {"32767", 8},   {"", 80},      {std::to_string(rate), 8},
                                                     {"", 32}};
    for (const auto& [text, size] : fields)
        for (int i = 0; i < signalCount; ++i) Field(head, text, size);
    std::ofstream file(path, std::ios::binary);
    file << head;
    std::vector<int16_t> record(static_cast<size_t>(signalCount) * rate);
    uint32_t draw = 1;
    for (int second = 0; second < seconds; ++second) {
        for (int s = 0; s < signalCount; ++s)
            for (int i = 0; i < rate; ++i) {
                draw = draw * 1664525u + 1013904223u;
                const double wave = 3000.0 * std::sin((second + i / double{rate}) * (0.3 + 0.1 * s));
                const int spike = draw % 40000 == 0 ? 12000 : 0;
                record[static_cast<size_t>(s * rate + i)] =
                    static_cast<int16_t>(wave + static_cast<int>(draw >> 20) - 2048 + spike);
            }
        file.write(reinterpret_cast<const char*>(record.data()),
                   static_cast<std::streamsize>(2 * record.size()));
    }
    if (!file) std::exit(1);
}

// --- what each process does
// ----------------------------------------------------------------------------------------------

struct Screen : ViewWindow {
    void Invalidate() override {}
    void ShowTimes() override {}
    void LayoutChanged() override {}
};

// Counts what is read of the recording and of its summary.
class CountingFiles : public DiskFileSystem {
  public:
    std::atomic<uint64_t> bytesRead{0};

    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override {
        return std::make_unique<Counted>(DiskFileSystem::Open(path, mode), bytesRead);
    }

  private:
    class Counted : public DataFile {
      public:
        Counted(std::unique_ptr<DataFile> file, std::atomic<uint64_t>& counter)
            : file_(std::move(file)), counter_(counter) {}
        size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
            const size_t n = file_->ReadAt(offset, to);
            counter_ += n;
            return n;
        }
        void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
            file_->WriteAt(offset, from);
        }
        uint64_t Length() const override { return file_->Length(); }
        void Truncate(uint64_t length) override { file_->Truncate(length); }
        void Sync() override { file_->Sync(); }
        bool IsWritable() const override { return file_->IsWritable(); }
        bool TryLock() override { return file_->TryLock(); }
        FileStamp Stamp() const override { return file_->Stamp(); }

      private:
        std::unique_ptr<DataFile> file_;
        std::atomic<uint64_t>& counter_;
    };
};

// A document with a view on a screen that is an image.
class Program {
  public:
    explicit Program(const std::filesystem::path& path) {
        session_.summaries = &service_;
        doc_ = OpenDocument(session_, path, OpenFor::reading);
        if (!doc_) std::exit(1);
        view_ = std::make_unique<CKymoraView>(*doc_);
        view_->SetWindow(&screen_);
        view_->OnSize(width, height);
        view_->OnInitialUpdate(Viewport{0.0, 1000.0});
    }
    CKymoraView& View() { return *view_; }
    CDataDoc& Document() { return *doc_; }
    SummaryService& Service() { return service_; }
    uint64_t BytesRead() const { return files_.bytesRead; }

    void Paint() {
#ifdef KYMORA_DESKTOP
        QPainter painter(&image_);
        PainterDevice device(painter);
        PaintRecording(view_->Plot(), device, PictureTarget::window);
#else
        PaintRecording(view_->Plot(), cairo_, PictureTarget::window);
#endif
    }
    // Polls as a window does, but without pauses that would be counted.
    void WaitUntilExact() {
        while (view_->IsReloading()) {
            std::this_thread::sleep_for(std::chrono::microseconds(500));
            view_->PollReload();
        }
    }
    void WaitForSummary() {
        while (!service_.Find(*doc_)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

  private:
    QuietHost host_;
    CountingFiles files_;
    Session session_{host_, files_};
    SummaryService service_{files_, {SummaryFolder::OfUser()}};
    Screen screen_;
    std::unique_ptr<CDataDoc> doc_;
    std::unique_ptr<CKymoraView> view_;
#ifdef KYMORA_DESKTOP
    QImage image_{width, height, QImage::Format_RGB32};
#else
    CairoDevice cairo_{width, height};
#endif
};

// The first picture of the whole recording while there is no summary, and all that comes after it.
void RunWhole(const std::filesystem::path& path) {
    Program program(path);
    program.View().Autoscale(true);
    program.Paint();
    const auto start = Clock::now();
    program.View().Go(&Navigation::ShowAll);
    program.Paint();
    const double coarse = Ms(start);
    program.WaitUntilExact();
    program.Paint();
    std::printf("%.1f %.1f %.1f\n", coarse, Ms(start), PeakMiB());
}

// Pages and zooms at all levels, each until it is painted exactly.
void RunMoves(const std::filesystem::path& path) {
    Program program(path);
    program.WaitForSummary();
    CKymoraView& view = program.View();
    view.Autoscale(true);
    program.Paint();
    std::mt19937 random(1);
    std::vector<double> times;
    const double end = view.Plot().FileEnd();
    for (int round = 0; round < 60; ++round) {
        const double duration =
            std::exp(std::uniform_real_distribution(std::log(50.0), std::log(end))(random));
        const double from = std::uniform_real_distribution(0.0, end - duration)(random);
        view.ChangeViewport({from, from + duration});
        program.WaitUntilExact();
        const auto move = [&](auto&& command) {
            const auto start = Clock::now();
            command();
            program.WaitUntilExact();
            program.Paint();
            times.push_back(Ms(start));
        };
        move([&] { view.Go(&Navigation::RightPage); });
        move([&] { view.Go(&Navigation::RightPercent); });
        move([&] { view.Go(&Navigation::Compress); });
        move([&] { view.Go(&Navigation::LeftPage); });
        move([&] {
            view.ChangeViewport(view.GetNavigation().Around(view.Plot().PixelToTime(width / 3), 0.7));
        });
        move([&] { view.Go(&Navigation::Expand); });
        if (round % 6 == 0) move([&] { view.Go(&Navigation::ShowAll); });
    }
    const double median = ShareOf(times, 0.5), late = ShareOf(times, 0.99);
    std::printf("%.2f %.2f %.2f %.1f\n", median, late, times.back(), PeakMiB());
}

void RunBuild(const std::filesystem::path& path) {
    Program program(path);
    program.WaitForSummary();
    // Until it is in the folder as well.
    const auto folder = SummaryFolder::OfUser();
    for (bool kept = false; !kept; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(folder, none))
            kept = kept || entry.path().extension() == ".kymora-summary";
    }
    std::printf("%.1f\n", PeakMiB());
}

void RunShowAll(const std::filesystem::path& path) {
    Program program(path);
    program.Paint();
    const uint64_t before = program.BytesRead();
    const auto start = Clock::now();
    program.View().Go(&Navigation::ShowAll);
    const bool atOnce = !program.View().IsReloading();
    const double shown = Ms(start);
    program.Paint();
    std::printf("%.2f %.2f %.2f %d %.1f\n", shown, Ms(start),
                static_cast<double>(program.BytesRead() - before) / (1 << 20), atOnce ? 1 : 0, PeakMiB());
}

// The program itself: its main window with the first second of the recording.
void RunStart(int& argc, char** argv, const std::filesystem::path& path) {
#ifdef KYMORA_DESKTOP
    QApplication qt(argc, argv);
    CKymora32App app;
    CMainFrame frame(app.GetSession(), &app.GetHost());
    frame.resize(width, height);
    frame.show();
    frame.OpenFiles({path});
    frame.ActiveChild()->View().ChangeViewport({0.0, 1000.0});
    QApplication::processEvents();
    frame.ActiveChild()->Widget().repaint();
    std::printf("1\n");
    std::fflush(stdout);
    std::_Exit(0);  // what comes after the picture is not measured
#else
    (void)argc, (void)argv;
    Program program(path);
    program.Paint();
    std::printf("1\n");
#endif
}

// --- the measuring process
// ---------------------------------------------------------------------------------------------

// Runs itself for one job and answers the numbers that it prints.
std::vector<double> RunSelf(const char* job, const std::filesystem::path& path, double* wallMs = nullptr) {
    const std::string command =
        "/proc/" + std::to_string(::getpid()) + "/exe " + job + " '" + path.string() + "'";
    const auto start = Clock::now();
    FILE* out = ::popen(command.c_str(), "r");
    std::vector<double> numbers;
    for (double number; out && std::fscanf(out, "%lf", &number) == 1;) numbers.push_back(number);
    if (wallMs) *wallMs = Ms(start);
    if (!out || ::pclose(out) != 0 || numbers.empty()) {
        std::fprintf(stderr, "zoom_bench: %s failed\n", job);
        std::exit(1);
    }
    return numbers;
}

double CatMs(const std::filesystem::path& path) {
    const std::string command = "cat '" + path.string() + "' > /dev/null";
    return 1e3 * Seconds(5, [&] {
               if (std::system(command.c_str()) != 0) std::exit(1);
           });
}

void ForgetSummaries() {
    std::error_code ignored;
    std::filesystem::remove_all(SummaryFolder::OfUser(), ignored);
}

// Takes a file out of the system's memory. Where that does not work, the figures say so: they are those of
// memory.
void MakeCold(const std::filesystem::path& path) {
    const int file = ::open(path.c_str(), O_RDONLY);
    ::fdatasync(file);
    ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    ::close(file);
}

// The first picture of a whole recording that has to come from the disk.
void BenchCold(const std::filesystem::path& path) {
    double disk = 1e300, coarse = 1e300, whole = 1e300;
    const std::string read = "dd if='" + path.string() + "' of=/dev/null bs=1M 2>/dev/null";
    for (int round = 0; round < 3; ++round) {
        MakeCold(path);
        const auto start = Clock::now();
        if (std::system(read.c_str()) != 0) std::exit(1);
        disk = std::min(disk, Ms(start));
        MakeCold(path);
        ForgetSummaries();
        const auto numbers = RunSelf("whole", path);
        coarse = std::min(coarse, numbers[0]);
        whole = std::min(whole, numbers[1]);
    }
    std::printf("  whole recording from the disk, which reads it in %.0f ms: coarse after %.0f ms (goal: "
                "150), exact after %.0f ms, "
                "%.2f of the disk's read (goal: 1.2)\n",
                disk, coarse, whole, whole / disk);
}

void BenchEdf(const Folder& folder, int minutes) {
    const auto path = folder / "long.edf";
    WriteEdf(path, 60 * minutes);
    const double cat = CatMs(path);
    const auto size = static_cast<double>(std::filesystem::file_size(path));
    std::printf("EDF of %d signals at %d Hz, %d minutes: %.0f MB; cat takes %.0f ms\n", signalCount, rate,
                minutes, size / 1e6, cat);

    double start = 1e300, coarse = 1e300, whole = 1e300, peak = 0.0;
    for (int round = 0; round < 3; ++round) {
        double wall = 0.0;
        ForgetSummaries();
        RunSelf("start", path, &wall);
        start = std::min(start, wall);
        ForgetSummaries();
        const auto numbers = RunSelf("whole", path);
        coarse = std::min(coarse, numbers[0]);
        whole = std::min(whole, numbers[1]);
        peak = std::max(peak, numbers[2]);
    }
    std::printf("  process start to the picture of the first second: %.0f ms (goal: 400)\n", start);
    std::printf(
        "  whole recording, no summary: coarse after %.0f ms (goal: 100), exact after %.0f ms, %.2f of cat "
        "(goal: 2.5), peak %.0f MiB (goal: 250)\n",
        coarse, whole, whole / cat, peak);
    BenchCold(path);
    ForgetSummaries();
    RunSelf("build", path);
    double bytes = 0.0;
    for (const auto& entry : std::filesystem::directory_iterator(SummaryFolder::OfUser()))
        bytes += static_cast<double>(entry.file_size());
    std::printf("  summary: %.2f %% of the file (goal: 2)\n", 100.0 * bytes / size);
    const auto moves = RunSelf("moves", path);
    std::printf(
        "  pages and zooms with painting: median %.1f ms (goal: 16), 99 %% within %.1f ms (goal: 16), "
        "longest %.1f ms, peak %.0f MiB (goal: 250)\n",
        moves[0], moves[1], moves[2], moves[3]);
    std::filesystem::remove(path);
}

void BenchNative(const Folder& folder, double gibibytes) {
    const auto path = folder / "long.kymr-dat";
    constexpr int traces = 4;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    const auto length = static_cast<int64_t>(gibibytes * (1 << 30) / (4 * traces));
    MakeNative(session, path, traces, length, 0, true);
    ForgetSummaries();
    const auto build = RunSelf("build", path);
    std::printf(
        "native file of %.1f GiB, %d traces, sparse: summary built with a peak of %.0f MiB (goal: 250)\n",
        gibibytes, traces, build[0]);
    const auto numbers = RunSelf("showall", path);
    std::printf(
        "  whole recording with a summary: %.1f ms (goal: 50), %.1f ms with painting, %.2f MiB read (goal: "
        "32), at once: %s, peak %.0f MiB\n",
        numbers[0], numbers[1], numbers[2], numbers[3] > 0.0 ? "yes" : "no", numbers[4]);
}

int RunJob(int& argc, char** argv) {
    const std::string job = argv[1];
    const std::filesystem::path path = argv[2];
#ifdef KYMORA_DESKTOP
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (job != "start") {
        QGuiApplication application(argc, argv);
        if (job == "whole") RunWhole(path);
        if (job == "moves") RunMoves(path);
        if (job == "build") RunBuild(path);
        if (job == "showall") RunShowAll(path);
        return 0;
    }
#else
    if (job == "whole") RunWhole(path);
    if (job == "moves") RunMoves(path);
    if (job == "build") RunBuild(path);
    if (job == "showall") RunShowAll(path);
#endif
    if (job == "start") RunStart(argc, argv, path);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2 && std::isalpha(static_cast<unsigned char>(argv[1][0]))) return RunJob(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const Folder folder;
    // Nothing of the user's own is touched: neither summaries nor settings.
    ::setenv("XDG_CACHE_HOME", (folder / "cache").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1);
    BenchEdf(folder, argc > 1 ? std::atoi(argv[1]) : 20);
    BenchNative(folder, argc > 2 ? std::atof(argv[2]) : 10.0);
    return 0;
}
