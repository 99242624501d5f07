// Event rows: a repaint with a million events in view, and what the mouse and the edits cost among them.

#include "bench_files.h"
#include "display/events/event_editing.h"
#include "display/events/event_rows.h"
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

constexpr int64_t recordingSamples = 10000000;
constexpr int rowCount = 10;
constexpr int eventsPerRow = 100000;

// Rows of 100,000 events each. The hard case has tags, colours, labels and long events among the short ones.
void FillRows(CDataDoc& doc, bool hard) {
    for (int row = 0; row < rowCount; ++row) {
        CEventChan& chan = doc.eventChannels[static_cast<size_t>(row)];
        chan.Clear();
        if (hard) chan.channelDrawMode = row % shapeCount;
        for (int i = 0; i < eventsPerRow; ++i) {
            const int on = i * 100 + row;
            CEventKM event{on, on + 20};
            if (hard && i % 1000 == 7) event.offPosition = on + 200000;
            if (hard && i % 50 == 3) event.eventTag = 1;
            if (hard && i % 40 == 5) event.eventColour = 0x00A000;
            if (hard && i % 100 == 9) event.eventLabel = "label " + std::to_string(i);
            chan.AddEvent(std::move(event));
        }
    }
    doc.UpdateAllViews(UpdateHint::events);
}

void Paint(const CKymoraView& view, const char* what) {
    CairoDevice cairo(1600, 900);
    const double rows = Seconds(20, [&] { DrawEventRows(view.Plot(), cairo); });
    const double onCairo = Seconds(20, [&] { PaintRecording(view.Plot(), cairo, PictureTarget::window); });
    std::printf(
        "repaint of 16 traces and 1,000,000 %s events in 10 rows: %.2f ms on cairo, %.2f of it rows\n", what,
        onCairo * 1e3, rows * 1e3);
#ifdef KYMORA_DESKTOP
    QImage image(1600, 900, QImage::Format_RGB32);
    const double onQt = Seconds(20, [&] {
        QPainter painter(&image);
        PainterDevice device(painter);
        PaintRecording(view.Plot(), device, PictureTarget::window);
    });
    std::printf("  the same on a QImage: %.2f ms (goal 16)\n", onQt * 1e3);
#endif
}

void Edit(CKymoraView& view) {
    CEventChan& chan = EventChannel(view.GetDocument(), 0);
    chan.Clear();
    for (int i = 0; i < 1000000; ++i) chan.AddEvent(i * 10, i * 10 + 4);
    view.GetDocument().UpdateAllViews(UpdateHint::events);
    const double summary = Seconds(5, [&] {
        view.Plot().drawn.eventRows.Forget();
        view.Plot().drawn.eventRows.SummaryOf(chan, 0);
    });
    const int y = EventRowY(view.Plot(), 0);
    const double hit = Seconds(5, [&] {
        for (int x = 100; x < 1500; ++x) EventAt(view.Plot(), x, y);
    });
    int next = 0;
    const double edit = Seconds(5, [&] {
        const int index[] = {500000 + next++};
        MoveEvents(view, 0, index, 3, "Move event");
    });
    std::printf(
        "1,000,000 events in a channel: summary %.2f ms, a hit test %.3f ms, moving an event %.2f ms\n",
        summary * 1e3, hit * 1e3 / 1400, edit * 1e3);
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
    const auto path = folder / "events.kymr-dat";
    MakeNative(session, path, 16, recordingSamples, 1000, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path, OpenFor::reading)) return 1;
    CKymoraView view(doc);
    view.OnSize(1600, 900);
    view.OnInitialUpdate(Viewport{0.0, doc.GetEndTime()});
    view.Autoscale(true);
    FillRows(doc, false);
    Paint(view, "plain");
    FillRows(doc, true);
    Paint(view, "mixed");
    Edit(view);
    return 0;
}
