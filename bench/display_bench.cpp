// The display: reload of the cache against the block read that it stands on, and a repaint from the cache.

#include "bench_files.h"
#include "display/kymora_view.h"
#include "display/picture.h"
#include "output/cairo_device.h"

#ifdef KYMORA_DESKTOP
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include "display/windows/painter_device.h"
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
        view.ShowAll();
    });
    std::printf(
        "display reload of %.0f M samples in %d traces: %.1f ms, block read %.1f ms, ratio %.2f (goal 0.5)\n",
        reloadSamples / 1e6, reloadTraces, reload * 1e3, blocks * 1e3, blocks / reload);
}

// 16 traces of noise, in a viewport whose bins are `samples` / 4000 wide.
void BenchPaint(Session& session, const std::filesystem::path& path, int64_t samples) {
    MakeNative(session, path, 16, samples, 1000, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) return;
    CKymoraView view(doc);
    view.OnSize(1600, 900);
    view.OnInitialUpdate(Viewport{0.0, doc.GetEndTime()});
    view.Autoscale(true);
    CairoDevice cairo(1600, 900);
    const double onCairo = Seconds(20, [&] { PaintRecording(view, cairo, PictureTarget::window); });
    std::printf("repaint of 16 traces, %lld samples: %.2f ms on a cairo image (goal 16)\n",
                static_cast<long long>(samples), onCairo * 1e3);
#ifdef KYMORA_DESKTOP
    QImage image(1600, 900, QImage::Format_RGB32);
    const double onQt = Seconds(20, [&] {
        QPainter painter(&image);
        PainterDevice device(painter);
        PaintRecording(view, device, PictureTarget::window);
    });
    std::printf("repaint of 16 traces, %lld samples: %.2f ms on a QImage (goal 16)\n",
                static_cast<long long>(samples), onQt * 1e3);
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
    fuzz::QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    session.skipFileDetails = true;
    Folder folder;
    BenchReload(session, folder / "reload.kymr-dat");
    BenchPaint(session, folder / "paint1.kymr-dat", 1500);
    BenchPaint(session, folder / "paint2.kymr-dat", 4000);
    BenchPaint(session, folder / "paint3.kymr-dat", 500000);
    return 0;
}
