#include "app/view_playback.h"

#include <QPalette>
#include <algorithm>
#include <cmath>

#include "display/windows/view_widget.h"
#include "recording/acq_doc.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int pictureMs = 30, lineWidth = 2;
constexpr size_t mostPlayed = 2;
constexpr double outputSeconds = 0.2;
const QColor lineColour(214, 90, 0);

}  // namespace

std::vector<int> PlayedTraces(const ViewWidget& widget) {
    const PlotContext plot = widget.View().Plot();
    const auto isSelected = [&](int axis) {
        return plot.settings.m_axes[static_cast<size_t>(axis)].m_bSelected;
    };
    const auto* const recording = dynamic_cast<const CAcqDoc*>(&plot.doc);
    const bool isSound = recording && recording->IsWave();
    const bool hasSelected =
        !isSound && std::any_of(plot.shownAxes.begin(), plot.shownAxes.end(), isSelected);
    std::vector<int> traces;
    for (const int axis : plot.shownAxes)
        if (!hasSelected || isSelected(axis))
            for (const int trace : plot.TracesOn(axis)) traces.push_back(trace);
    traces.resize(std::min(traces.size(), mostPlayed));
    return traces;
}

ViewPlayback::ViewPlayback(ViewWidget& widget, std::shared_ptr<SoundSystem> sound)
    : QObject(&widget), widget_(widget), sound_(std::move(sound)) {
    CDataDoc& doc = widget.View().GetDocument();
    const std::vector<int> traces = PlayedTraces(widget);
    if (traces.empty()) throw SoundError("There is no trace to be played.");
    if (!sound_) throw SoundError(noSoundLibraryText);
    const Viewport shown = widget.View().GetViewport();
    const int64_t first = std::clamp<int64_t>(doc.PositionOf(shown.start), 0, doc.GetLength());
    const int64_t end = std::clamp<int64_t>(int64_t{doc.PositionOf(shown.end)} + 1, first, doc.GetLength());
    SoundFormat format;
    format.channels = static_cast<int>(traces.size());
    format.rate = static_cast<int>(std::clamp(std::round(1000.0 / doc.sampleInterval), 1.0, 1e6));
    auto output = sound_->OpenOutput({}, format, outputSeconds);
    PlayedSound played = MakePlayedSound(doc, traces, first, end - first, output->Rate());
    player_ = std::make_unique<SoundPlayer>(std::move(output), std::move(played));
    line_ = new QWidget(&widget);
    line_->setObjectName("playLine");
    line_->setAttribute(Qt::WA_TransparentForMouseEvents);
    line_->setAutoFillBackground(true);
    QPalette palette = line_->palette();
    palette.setColor(QPalette::Window, lineColour);
    line_->setPalette(palette);
    connect(&timer_, &QTimer::timeout, this, &ViewPlayback::Follow);
    connect(&widget, &ViewWidget::Released, this, [this] { delete this; });
    timer_.start(pictureMs);
    Follow();
}

ViewPlayback::~ViewPlayback() { delete line_; }

void ViewPlayback::Follow() {
    if (player_->HasEnded()) {
        timer_.stop();
        emit Ended(ToQString(player_->Fault()));
        deleteLater();
        return;
    }
    const PlotContext plot = widget_.View().Plot();
    const PixelRect& area = plot.layout.plot;
    const int x = plot.TimeToPixel(plot.doc.TimeOf(player_->Position()));
    line_->setGeometry(x, area.top, lineWidth, area.bottom - area.top);
    line_->setVisible(x >= area.left && x < area.right);
}

}  // namespace kymora
