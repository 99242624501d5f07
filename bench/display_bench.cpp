// The display: reload of the cache against the block read that it stands on, and a repaint from the cache.

#include "bench_files.h"
#include "display/kymora_view.h"
#include "display/picture.h"
#include "drawing/cairo_device.h"

#ifdef KYMORA_DESKTOP
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include "drawing/windows/painter_device.h"
#endif

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr int64_t reloadSamples = 100000000;
constexpr int reloadTraces = 4;
constexpr int64_t readPiece = 65536;
constexpr int rounds = 5;

double ReadAllBlocks(CDataDoc& doc) {
    const auto traces = static_cast<size_t>(doc.traceCount);
    std::vector<std::vector<float>> values(traces, std::vector<float>(readPiece));
    std::vector<TraceBlock> blocks(traces);
    return Seconds(rounds, [&] {
        for (int64_t from = 0; from < doc.GetLength(); from += readPiece) {
            const auto n = static_cast<size_t>(std::min(readPiece, doc.GetLength() - from));
            for (size_t t = 0; t < traces; ++t)
                blocks[t] = {static_cast<int>(t), std::span(values[t]).first(n), {}};
            doc.ReadBlocks(from, blocks);
        }
    });
}

void BenchReload(Session& session, const std::filesystem::path& path) {
    MakeNative(session, path, reloadTraces, reloadSamples / reloadTraces, 0, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) return;
    CKymoraView view(doc);
    view.OnSize(1600, 900);
    view.OnInitialUpdate();
    const double blocks = ReadAllBlocks(doc);
    const double reload = Seconds(rounds, [&] {
        view.ChangeViewport({0.0, 50.0}, false);
        view.Go(&Navigation::ShowAll);
    });
    std::printf(
        "display reload of %.0f M samples in %d traces: %.1f ms, block read %.1f ms, ratio %.2f (goal 0.5)\n",
        reloadSamples / 1e6, reloadTraces, reload * 1e3, blocks * 1e3, blocks / reload);
}

void AddEvents(CDataDoc& doc, int64_t count, int rows) {
    const auto step = static_cast<int32_t>(doc.GetLength() * rows / std::max<int64_t>(1, count));
    for (int row = 0; row < rows; ++row)
        for (int64_t i = 0; i < count / rows; ++i) {
            const auto on = static_cast<int32_t>(i * std::max(1, step));
            doc.AddEvent(row, {on, on + std::max(1, step / 2)});
        }
}

// Noise, in a viewport whose bins are `samples` / 4000 wide.
void BenchPaint(Session& session, const std::filesystem::path& path, int traces, int64_t samples,
                int64_t events) {
    std::filesystem::remove(path);
    MakeNative(session, path, traces, samples, 0, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) return;
    if (events != 0) AddEvents(doc, events, 10);
    CKymoraView view(doc);
    view.OnSize(1600, 900);
    view.OnInitialUpdate(Viewport{0.0, doc.GetEndTime()});
    view.Autoscale(true);
    const auto print = [&](const char* target, double seconds) {
        std::printf(
            "repaint of %3d traces, %7lld samples, %7lld events in 10 rows: %6.2f ms on %s (goal 16)\n",
            traces, static_cast<long long>(samples), static_cast<long long>(events), seconds * 1e3, target);
    };
    CairoDevice cairo(1600, 900);
    print("a cairo image", Seconds(20, [&] { PaintRecording(view.Plot(), cairo, PictureTarget::window); }));
#ifdef KYMORA_DESKTOP
    for (const double ratio : {1.0, 1.5, 2.0}) {
        QImage image(QSize(1600, 900) * ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(ratio);
        const double seconds = Seconds(20, [&] {
            QPainter painter(&image);
            PainterDevice device(painter);
            PaintRecording(view.Plot(), device, PictureTarget::window);
        });
        print(ratio == 1.0   ? "a QImage"
              : ratio == 1.5 ? "a QImage of ratio 1.5"
                             : "a QImage of ratio 2",
              seconds);
    }
#endif
}

}  // namespace

int main(int argc, char** argv) {
#ifdef KYMORA_DESKTOP
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
#else
    (void)argc;
    (void)argv;
#endif
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    Folder folder;
    BenchReload(session, folder / "reload.kymr-dat");
    for (const int traces : {1, 16, 128})
        for (const int64_t samples : {int64_t{1500}, int64_t{4000}, int64_t{500000}})
            BenchPaint(session, folder / "paint.kymr-dat", traces, samples, 0);
    BenchPaint(session, folder / "paint.kymr-dat", 16, 1000000, 1000000);
    return 0;
}
