#include "acquisition/windows/live_widget.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>
#include <cmath>
#include <utility>

#include <fmt/format.h>

#include "display/axis_drawing.h"
#include "display/gutter.h"
#include "display/overlays/overlay_fonts.h"
#include "display/trace_drawing.h"
#include "drawing/number_labels.h"
#include "drawing/windows/painter_device.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int pictureMs = 30;  // from one picture to the next
constexpr size_t mostMeasured = 2000;
constexpr int mostFramesPerSecond = 80;
constexpr double wheelZoomsBy = 1.25, fullBand = 0.05;
constexpr double ghostShare = 0.35;
constexpr int holdRows = 5;
constexpr uint32_t noteColour = Rgb(0, 130, 60), spikeColour = Rgb(214, 90, 0);

double MsBetween(LiveWidget::Clock::time_point from, LiveWidget::Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

void Keep(std::deque<double>& values, double value) {
    values.push_back(value);
    if (values.size() > mostMeasured) values.pop_front();
}

}  // namespace

LiveWidget::LiveWidget(Session& session, QWidget* parent) : QWidget(parent), session_(session) {
    setObjectName("liveDisplay");
    setAccessibleName(tr("Traces that are recorded"));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setMinimumSize(240, 140);
    frameTimer_.setSingleShot(true);
    frameTimer_.setTimerType(Qt::PreciseTimer);
    connect(&frameTimer_, &QTimer::timeout, this, [this] { update(); });
}

void LiveWidget::SetOverlay(bool overlays) {
    overlays_ = overlays;
    ghost_ = QImage();
    update();
}

// What scrolled lies elsewhere and is not kept.
void LiveWidget::KeepGhost() {
    if (!overlays_ || !doc_ || traces_.Scans() == 0 ||
        (!restarts_ && traces_.LastColumn() >= raster_.Width()))
        return;
    const QImage last(reinterpret_cast<const uchar*>(raster_.Pixels().data()), raster_.Width(),
                      raster_.Height(), QImage::Format_ARGB32_Premultiplied);
    if (ghost_.size() != last.size()) {
        ghost_ = QImage(last.size(), QImage::Format_ARGB32_Premultiplied);
        ghost_.fill(Qt::transparent);
    }
    QPainter painter(&ghost_);
    painter.setOpacity(ghostShare);
    painter.drawImage(0, 0, last);
}

void LiveWidget::Show(Recorded recorded) {
    if (std::exchange(beginsSeries_, false))
        ghost_ = QImage();
    else
        KeepGhost();
    view_.reset();
    doc_ = std::move(recorded.doc);
    doc_->traceCount = static_cast<int32_t>(doc_->m_nChannels);
    doc_->sampleInterval = doc_->m_dSampleInterval;
    // The axes are those of the settings.
    for (TraceSettings& trace : doc_->traces) trace.traceAutoscale = 0;
    view_ = std::make_unique<CKymoraView>(*doc_);
    view_->OnSize(width(), height());
    view_->OnInitialUpdate(Viewport{0.0, recorded.spanMs});
    format_ = recorded.format;
    spanMs_ = recorded.spanMs;
    restarts_ = recorded.restarts;
    isSingle_ = recorded.isSingle;
    base_ = dropped_ = frames_ = 0;
    latencies_.clear();
    mostScans_ = std::numeric_limits<int64_t>::max();
    paintTimes_.clear();
    isPending_ = isPaused_ = false;
    notes_.clear();
    spikes_.Begin(format_, doc_->sampleInterval);
    groundIsCurrent_ = false;
    BeginTraces();
    update();
}

void LiveWidget::BeginTraces() {
    if (!doc_ || format_.channels == 0) return;
    // The last sample of a single sweep stands at its right edge.
    const double across = std::round(spanMs_ / doc_->sampleInterval) + (isSingle_ ? 1.0 : 0.0);
    traces_.Begin(format_, across, raster_.Width(), restarts_);
    raster_.Forget();
    shownFirst_ = shownLast_ = 0;
}

void LiveWidget::SetSpan(double spanMs) {
    if (isPaused_) return;
    base_ += traces_.Scans();
    spanMs_ = spanMs;
    BeginTraces();
    update();
}

void LiveWidget::SetPaused(bool paused) {
    if (isPaused_ == paused) return;
    isPaused_ = paused;
    if (!paused) Fit();
    update();
}

void LiveWidget::SetHint(const QString& hint) {
    if (hint_ == hint) return;
    hint_ = hint;
    update();
}

// --- data ---

// What comes within a frame's time is painted together.
void LiveWidget::NewData() {
    if (isPaused_) return;
    if (!isPending_) pendingSince_ = wokenAt_;
    isPending_ = true;
    if (frameTimer_.isActive()) return;
    const double since = MsBetween(lastFrame_, Clock::now());
    if (since >= pictureMs)
        update();
    else
        frameTimer_.start(std::max(1, static_cast<int>(std::ceil(pictureMs - since))));
}

void LiveWidget::OnScans(std::span<const std::byte> scans) {
    const auto room = std::max<int64_t>(0, mostScans_ - base_ - traces_.Scans());
    const auto count = std::min(room, static_cast<int64_t>(scans.size() / format_.ScanBytes()));
    scans = scans.first(static_cast<size_t>(count) * format_.ScanBytes());
    traces_.Add(scans);
    if (detects_) spikes_.Add(scans);
    NewData();
}

void LiveWidget::OnScansPassed(int64_t scans) {
    traces_.Pass(scans);
    if (detects_) spikes_.Pass(scans);
}

void LiveWidget::OnSkipped(int64_t scan) {
    const int64_t missing = std::max<int64_t>(0, std::min(scan, mostScans_) - base_ - traces_.Scans());
    dropped_ += missing;
    OnScansPassed(missing);
    NewData();
}

void LiveWidget::SetNotes(std::vector<CMarker> notes) {
    notes_ = std::move(notes);
    update();
}

void LiveWidget::SetDetection(std::optional<LiveSpikeSettings> settings) {
    if (settings && !detects_ && doc_) {
        spikes_.Begin(format_, doc_->sampleInterval);
        spikes_.Pass(base_ + traces_.Scans());
    }
    detects_ = settings.has_value();
    if (settings) spikes_.Set(*settings);
    update();
}

double LiveWidget::FramesPerSecond() const {
    const auto now = Clock::now();
    return static_cast<double>(std::ranges::count_if(
        recentFrames_, [&](Clock::time_point frame) { return now - frame <= std::chrono::seconds(1); }));
}

// --- axes ---

QString LiveWidget::TraceName(int trace) const {
    const std::string& label = doc_->traces[static_cast<size_t>(trace)].traceLabel;
    return QString::number(trace + 1) + (label.empty() ? QString() : ": " + ToQString(label));
}

void LiveWidget::SetLimits(int trace, double top, double bottom) {
    // What is held stays on the axes on which it was painted.
    if (isPaused_ || !std::isfinite(top) || !std::isfinite(bottom) || top == bottom) return;
    view_->SetLimits(trace, bottom, top, "Axis");
    groundIsCurrent_ = false;
    update();
    emit AxisChanged(trace, top, bottom);
}

void LiveWidget::Autoscale() {
    for (int trace = 0; trace < TraceCount(); ++trace) {
        const auto range = traces_.RangeOf(static_cast<size_t>(trace));
        if (range.IsEmpty()) continue;
        const double codes = std::ldexp(1.0, format_.bits);
        const double least = (format_.high - format_.low) / codes / format_.gains[static_cast<size_t>(trace)];
        const double room = std::max(range.high - range.low, 8.0 * least) * fullBand;
        SetLimits(trace, range.high + room, range.low - room);
    }
}

int LiveWidget::TraceAt(int y) const { return view_ ? view_->Plot().GetNearestAxis(y) : -1; }

// --- painting ---

int LiveWidget::PlotWidth() const { return view_ ? view_->Plot().layout.plot.Width() : 0; }

void LiveWidget::PlaceRaster() {
    const PlotContext plot = view_->Plot();
    const PixelRect& rect = plot.layout.plot;
    const double ratio = devicePixelRatioF();
    const auto inPixels = [&](int y) { return static_cast<int>(std::lround((y - rect.top) * ratio)); };
    const int columns = std::max(1, static_cast<int>(std::lround((rect.Width() - 1) * ratio)));
    if (columns != traces_.Columns()) traces_.SetColumns(columns);
    raster_.SetSize(columns, std::max(0, inPixels(rect.bottom)));
    std::vector<LiveRaster::Look> looks;
    for (int trace = 0; trace < TraceCount(); ++trace) {
        const CVertAxis& axis = plot.settings.m_axes[static_cast<size_t>(trace)];
        const PixelRect band = plot.BandOf(trace);
        const uint32_t colour = plot.Seen(doc_->traces[static_cast<size_t>(trace)].traceColour);
        looks.push_back({ToQColor(colour).rgb(),
                         AxisScale(axis.m_dMax, axis.m_dMin, inPixels(band.top), inPixels(band.bottom)),
                         inPixels(band.top - plot.layout.axisGap),
                         inPixels(band.bottom + plot.layout.axisGap)});
    }
    raster_.SetLooks(std::move(looks));
}

void LiveWidget::MakeGround() {
    const double ratio = devicePixelRatioF();
    const QSize pixels = size() * ratio;
    if (isPaused_ && !ground_.isNull()) return;
    if (groundIsCurrent_ && ground_.size() == pixels && ground_.devicePixelRatio() == ratio) return;
    view_->m_crBackground = session_.viewHabits.m_crBackground;
    ground_ = QImage(pixels, QImage::Format_RGB32);
    ground_.setDevicePixelRatio(ratio);
    QPainter painter(&ground_);
    PainterDevice device(painter);
    const PlotContext plot = view_->Plot();
    device.FillRect({0, 0, width(), height()}, plot.settings.m_crBackground);
    DrawFrameAndGrid(plot, device);
    DrawTraceNames(plot, device);
    DrawVerticalAxes(plot, device, false);
    DrawTimeBracket(device, plot.layout.plot);
    groundIsCurrent_ = true;
    PlaceRaster();
}

double LiveWidget::XOfScan(double scan) const {
    const double columns = scan * traces_.Columns() / traces_.ScansAcross();
    const auto first = static_cast<double>(shownFirst_);
    return view_->Plot().layout.plot.left + 1 + (columns - first) / devicePixelRatioF();
}

void LiveWidget::paintEvent(QPaintEvent*) {
    const auto began = Clock::now();
    QPainter painter(this);
    if (!view_) {
        painter.fillRect(rect(), palette().window());
        return;
    }
    MakeGround();
    if (!isPaused_) {
        raster_.Paint(traces_);
        shownFirst_ = traces_.FirstColumn();
        shownLast_ = traces_.LastColumn();
    }
    painter.fillRect(rect(), ToQColor(view_->m_crBackground));
    painter.drawImage(QPoint(0, 0), ground_);
    const PixelRect plot = view_->Plot().layout.plot;
    QImage ring(reinterpret_cast<const uchar*>(raster_.Pixels().data()), raster_.Width(),
                static_cast<int>(raster_.Pixels().size()) / raster_.Width(),
                QImage::Format_ARGB32_Premultiplied);
    if (overlays_ && ghost_.size() == ring.size())
        painter.drawImage(QRectF(plot.left + 1, plot.top, ghost_.width() / devicePixelRatioF(),
                                 ghost_.height() / devicePixelRatioF()),
                          ghost_, QRectF(ghost_.rect()));
    // In a scroll the oldest column stands at the left.
    const int turn = restarts_ ? 0 : static_cast<int>(shownFirst_ % raster_.Width());
    const double ratio = devicePixelRatioF();
    const double left = plot.left + 1, ringHeight = ring.height() / ratio;
    painter.drawImage(QRectF(left, plot.top, (ring.width() - turn) / ratio, ringHeight), ring,
                      QRectF(turn, 0, ring.width() - turn, ring.height()));
    if (turn > 0)
        painter.drawImage(QRectF(left + (ring.width() - turn) / ratio, plot.top, turn / ratio, ringHeight),
                          ring, QRectF(0, 0, turn, ring.height()));
    PainterDevice device(painter);
    DrawTimes(device);
    DrawSweepEdge(device);
    DrawSpikes(device);
    DrawNotes(device);
    DrawHint(device);
    painter.end();

    const auto now = Clock::now();
    lastFrame_ = began;
    if (!std::exchange(isPending_, false)) return;
    ++frames_;
    Keep(latencies_, MsBetween(pendingSince_, now));
    Keep(paintTimes_, MsBetween(began, now));
    recentFrames_.push_back(now);
    if (recentFrames_.size() > mostFramesPerSecond) recentFrames_.pop_front();
}

void LiveWidget::DrawTimes(DrawDevice& device) const {
    const PlotContext plot = view_->Plot();
    const double start =
        TimeOfScan(static_cast<double>(shownFirst_) * traces_.ScansAcross() / traces_.Columns());
    const Viewport shown{start, start + spanMs_};
    const int unit = TimeUnitFor(std::max(spanMs_, shown.end / 4.0));
    const uint32_t paper = plot.settings.m_crBackground, ink = InkOn(paper);
    DrawTimeTicks(device, plot.layout.plot, {shown, unit, {}, paper}, ink);
    const int decimals = unit == 0 ? 0 : 2;
    DrawTimeTexts(device, plot.layout.plot,
                  {TimeInUnit(shown.start, unit, decimals),
                   fmt::format("{} across", TimeInUnit(spanMs_, TimeUnitFor(spanMs_), 0)),
                   TimeInUnit(shown.end, unit, decimals)},
                  ink);
}

// Where a sweep goes on.
void LiveWidget::DrawSweepEdge(DrawDevice& device) const {
    if (!restarts_ || traces_.Scans() == 0) return;
    const PlotContext plot = view_->Plot();
    const int x = static_cast<int>(std::lround(
        plot.layout.plot.left + 1 + static_cast<double>(shownLast_ - shownFirst_ + 1) / devicePixelRatioF()));
    if (x >= plot.layout.plot.right) return;
    device.SetPen({Blend(plot.settings.m_crBackground, InkOn(plot.settings.m_crBackground), 0.5)});
    device.Line(x, plot.layout.plot.top + 1, x, plot.layout.plot.bottom - 1);
}

void LiveWidget::DrawNotes(DrawDevice& device) const {
    const PlotContext plot = view_->Plot();
    const PixelRect& rect = plot.layout.plot;
    const uint32_t paper = plot.settings.m_crBackground, colour = SeenOn(noteColour, paper);
    for (const CMarker& note : notes_) {
        const double x = XOfScan(note.m_dTime / doc_->sampleInterval - static_cast<double>(base_));
        if (!(x > rect.left && x < rect.right)) continue;
        const int column = static_cast<int>(x);
        device.SetPen({colour, 1, Pen::Style::dashed});
        device.Line(column, rect.top + 1, column, rect.bottom - 1);
        RimmedText(device, column + 3, rect.top + 2, OneLine(note.m_strLabel), {colour}, paper);
    }
}

int LiveWidget::AxisOfSpikes() const {
    return detects_ && view_ && static_cast<int>(spikes_.Settings().trace) < TraceCount()
               ? static_cast<int>(spikes_.Settings().trace)
               : -1;
}

std::optional<int> LiveWidget::LevelRow() const {
    const int axis = AxisOfSpikes();
    if (axis < 0) return {};
    const PlotContext plot = view_->Plot();
    const PixelRect band = plot.BandOf(axis);
    return std::clamp(plot.ValueToPixel(spikes_.Settings().level, axis), band.top, band.bottom);
}

void LiveWidget::DrawSpikes(DrawDevice& device) const {
    const auto row = LevelRow();
    if (!row) return;
    const PlotContext plot = view_->Plot();
    const PixelRect& rect = plot.layout.plot;
    const uint32_t paper = plot.settings.m_crBackground, colour = SeenOn(spikeColour, paper);
    device.SetPen({colour, 1, Pen::Style::dashed});
    device.Line(rect.left + 1, *row, rect.right - 1, *row);
    const PixelRect band = plot.BandOf(AxisOfSpikes());
    device.SetPen({colour, 2});
    int last = rect.right;
    for (auto spike = spikes_.Recent().rbegin(); spike != spikes_.Recent().rend(); ++spike) {
        const double x = XOfScan(static_cast<double>(*spike - base_));
        if (x < rect.left + 1) break;
        const int column = static_cast<int>(x);
        if (column >= last) continue;
        last = column;
        device.Line(column, band.top, column, band.top + 8);
    }
    const bool isLow = *row > (band.top + band.bottom) / 2;
    TextStyle style{colour, TextStyle::Horizontal::right,
                    isLow ? TextStyle::Vertical::bottom : TextStyle::Vertical::top};
    RimmedText(device, rect.right - 4, isLow ? *row - 2 : *row + 2,
               fmt::format("{} {}", AxisNumber(spikes_.Settings().level, 3),
                           doc_->traces[spikes_.Settings().trace].traceUnits),
               style, paper);
}

void LiveWidget::DrawHint(DrawDevice& device) const {
    const std::string text = isPaused_ ? "The display is held; the recording goes on." : hint_.toStdString();
    if (text.empty() || (!isPaused_ && traces_.Scans() > 0)) return;
    const PlotContext plot = view_->Plot();
    const PixelRect& rect = plot.layout.plot;
    const uint32_t paper = plot.settings.m_crBackground;
    TextStyle style{Blend(paper, InkOn(paper), 0.8), TextStyle::Horizontal::centre,
                    TextStyle::Vertical::centre};
    RimmedText(device, (rect.left + rect.right) / 2, rect.top + 16, text, style, paper);
}

// --- what the window system sends ---

// What is held keeps its size.
void LiveWidget::Fit() {
    if (!view_ || isPaused_) return;
    view_->OnSize(width(), height());
    groundIsCurrent_ = false;
}

void LiveWidget::resizeEvent(QResizeEvent*) { Fit(); }

void LiveWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() != QEvent::PaletteChange && event->type() != QEvent::StyleChange) return;
    groundIsCurrent_ = false;
    update();
}

void LiveWidget::wheelEvent(QWheelEvent* event) {
    const int trace = TraceAt(static_cast<int>(event->position().y()));
    const int turn = event->angleDelta().y();
    if (trace < 0 || turn == 0) return;
    event->accept();
    const CVertAxis& axis = view_->m_axes[static_cast<size_t>(trace)];
    const double middle = view_->Plot().GetValueScale(trace).ToValue(event->position().y());
    const double factor =
        std::pow(wheelZoomsBy, -turn / static_cast<double>(QWheelEvent::DefaultDeltasPerStep));
    SetLimits(trace, middle + (axis.m_dMax - middle) * factor, middle + (axis.m_dMin - middle) * factor);
}

void LiveWidget::mousePressEvent(QMouseEvent* event) {
    setFocus();
    const int y = event->pos().y();
    const auto level = LevelRow();
    dragTrace_ = TraceAt(y);
    if (event->button() != Qt::LeftButton || dragTrace_ < 0) return;
    drag_ = level && std::abs(*level - y) <= holdRows ? Drag::level : Drag::axis;
    if (drag_ == Drag::level) dragTrace_ = AxisOfSpikes();
    dragFrom_ = view_->Plot().GetValueScale(dragTrace_).ToValue(y);
}

void LiveWidget::mouseMoveEvent(QMouseEvent* event) {
    const int y = event->pos().y();
    const auto level = LevelRow();
    const bool isOnLevel = level && std::abs(*level - y) <= holdRows;
    if (drag_ == Drag::none) {
        setCursor(isOnLevel ? Qt::SizeVerCursor : Qt::ArrowCursor);
        return;
    }
    const double value = view_->Plot().GetValueScale(dragTrace_).ToValue(y);
    const CVertAxis axis = view_->m_axes[static_cast<size_t>(dragTrace_)];
    if (drag_ == Drag::level)
        emit LevelChanged(
            std::clamp(value, std::min(axis.m_dMin, axis.m_dMax), std::max(axis.m_dMin, axis.m_dMax)));
    else if (value != dragFrom_)
        SetLimits(dragTrace_, axis.m_dMax + dragFrom_ - value, axis.m_dMin + dragFrom_ - value);
}

void LiveWidget::mouseReleaseEvent(QMouseEvent*) { drag_ = Drag::none; }

}  // namespace kymora
