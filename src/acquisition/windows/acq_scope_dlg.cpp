#include "acquisition/windows/acq_scope_dlg.h"

#include <fmt/format.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

#include "drawing/draw_device.h"
#include "graphs/windows/graph_widget.h"
#include "widgets/param_form.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int scopeFrameMs = 33;
constexpr size_t linePoints = 2000;
constexpr double slowSweepMs = 500.0;  // is seen while it comes
constexpr double longestMs = 2e7, greatestValue = 1e6;
constexpr double dragSteps = 1000.0;  // of the full scale
constexpr QSize usualSize{860, 420}, formSize{300, 1000};
constexpr uint32_t edgeColour = Rgb(213, 94, 0), triggerColour = Rgb(128, 128, 128),
                   olderColour = Rgb(150, 150, 150);

GraphLayer LineOf(const ScopeSweeps& sweeps, const ScopeSweep& sweep, uint32_t colour, bool isNewest) {
    GraphLayer layer;
    layer.colour = colour;
    layer.isSilent = !isNewest;
    for (const auto& [place, volts] : ScopeLine(sweep.volts, linePoints)) {
        layer.x.push_back(sweeps.TimeOf(place));
        layer.y.push_back(volts);
    }
    return layer;
}

}  // namespace

CAcqScopeDlg::CAcqScopeDlg(CAcqView& view, QWidget* parent)
    : QDialog(parent, Qt::Tool), m_view(view), m_pGraph(new GraphWidget(this)), m_pStatus(new QLabel(this)) {
    setWindowTitle(tr("Scope"));
    setObjectName("acqScope");
    m_pForm = new ParamForm([this] { return Params(); },
                            [this](const std::function<void()>& enter) {
                                enter();
                                m_settings.trigger = static_cast<ScopeTrigger>(m_nTrigger);
                                m_settings.isFalling = m_nDirection == 1;
                                Begin();
                            },
                            {}, this);
    m_pForm->Arrange(formSize, 1);
    m_pFreeze = new QPushButton(tr("&Freeze"), this);
    m_pFreeze->setObjectName("freeze");
    m_pFreeze->setCheckable(true);
    m_pFreeze->setAutoDefault(false);
    m_pFreeze->setToolTip(tr("Keep the sweeps that are seen; the recording goes on"));
    auto* clear = new QPushButton(tr("&Clear"), this);
    clear->setObjectName("clear");
    clear->setAutoDefault(false);
    clear->setToolTip(tr("Take the sweeps away and begin anew"));
    connect(m_pFreeze, &QPushButton::toggled, this, &CAcqScopeDlg::SetFrozen);
    connect(clear, &QPushButton::clicked, this, &CAcqScopeDlg::Clear);
    connect(m_pGraph, &GraphWidget::LineMoved, this, &CAcqScopeDlg::TakeLine);
    m_pGraph->setObjectName("picture");
    m_pStatus->setObjectName("status");
    m_pStatus->setWordWrap(true);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_pFreeze);
    buttons->addWidget(clear);
    auto* side = new QVBoxLayout;
    side->addWidget(m_pForm);
    side->addWidget(m_pStatus);
    side->addStretch(1);
    side->addLayout(buttons);
    auto* row = new QHBoxLayout(this);
    row->addLayout(side);
    row->addWidget(m_pGraph, 1);
    resize(usualSize);

    connect(&m_frames, &QTimer::timeout, this, [this] {
        if (m_bStale && isVisible()) Draw();
    });
    m_frames.start(scopeFrameMs);
    Begin();
}

ParamList CAcqScopeDlg::Params() {
    ParamList list;
    const auto isThreshold = [this] { return m_nTrigger == static_cast<int32_t>(ScopeTrigger::threshold); };
    list.Group("Sweeps");
    list.Integer("shown", "T&race", m_settings.shown)
        .Limits(1, 16)
        .Spin()
        .Tip("The trace that is shown, of those that are recorded, from 1");
    list.Number("span", "&Span", m_settings.spanMs)
        .Unit("ms")
        .Limits(1e-3, longestMs)
        .Tip("How long a sweep is");
    list.Number("fullScale", "&Full scale", m_dFullScale)
        .Unit(m_view.Unit())
        .Limits(0.0, greatestValue)
        .Tip("The picture reaches so far up and down. 0: as far as the board can record");
    list.Integer("superimposed", "S&uperimpose", m_settings.superimposed)
        .Limits(1, ScopeSweeps::mostSuperimposed)
        .Spin()
        .Unit("sweeps")
        .Tip("So many sweeps lie over each other; the latest one has the colour of its trace");
    list.Group("Trigger");
    list.Choice("trigger", "&Trigger", m_nTrigger, {"Auto", "Threshold"})
        .Buttons()
        .Tip("Sweeps one after the other, or each where a trace crosses the level");
    list.Integer("trace", "O&n trace", m_settings.trace)
        .Limits(1, 16)
        .Spin()
        .Tip("The trace that crosses the level")
        .EnabledIf(isThreshold);
    list.Number("level", "&Level", m_settings.level)
        .Unit(m_view.Unit())
        .Limits(-greatestValue, greatestValue)
        .Tip("The level, over the gain of the amplifier. Its line in the picture can be dragged where the "
             "trace "
             "is shown")
        .EnabledIf(isThreshold);
    list.Choice("direction", "&Direction", m_nDirection, {"Rising", "Falling"})
        .Buttons()
        .Tip("Whether the level is crossed from below or from above")
        .EnabledIf(isThreshold);
    list.Number("pre", "&Before it", m_settings.preMs)
        .Unit("ms")
        .Limits(0.0, longestMs)
        .Tip("The part of a sweep before its trigger")
        .EnabledIf(isThreshold);
    list.Number("holdoff", "&Holdoff", m_settings.holdoffMs)
        .Unit("ms")
        .Limits(0.0, longestMs)
        .Tip("From a trigger on, no other one is taken for so long");
    return list;
}

// --- what comes ---

// With the settings as they are, and of the recording under way.
void CAcqScopeDlg::Begin() {
    m_pSweeps.reset();
    m_strFault.clear();
    if (m_view.IsRunning()) m_strFault = ScopeFault(m_settings, m_view.Format().channels, FrequencyKHz());
    if (m_view.IsRunning() && m_strFault.empty())
        m_pSweeps.emplace(m_settings, m_view.Format(), FrequencyKHz());
    m_bStale = true;
}

void CAcqScopeDlg::Clear() {
    SetFrozen(false);
    Begin();
}

void CAcqScopeDlg::OnBegun() {
    if (!m_bFrozen) Begin();
}

void CAcqScopeDlg::OnScans(std::span<const std::byte> scans) {
    if (!m_pSweeps || m_bFrozen) return;
    const int64_t before = m_pSweeps->Found();
    m_pSweeps->Take(scans);
    m_bStale = m_bStale || m_pSweeps->Found() > before || m_settings.spanMs >= slowSweepMs;
}

void CAcqScopeDlg::OnScansPassed(int64_t scans) {
    if (m_pSweeps && !m_bFrozen) m_pSweeps->Pass(scans);
}

void CAcqScopeDlg::OnSkipped(int64_t) {
    // How many scans were not seen does not matter: no sweep reaches over them.
    if (m_pSweeps && !m_bFrozen) m_pSweeps->Pass(1);
}

void CAcqScopeDlg::SetSettings(const ScopeSettings& settings) {
    m_settings = settings;
    m_nTrigger = static_cast<int32_t>(settings.trigger);
    m_nDirection = settings.isFalling ? 1 : 0;
    m_pForm->Refresh();
    Begin();
}

void CAcqScopeDlg::SetFrozen(bool isFrozen) {
    if (m_bFrozen == isFrozen) return;
    m_bFrozen = isFrozen;
    m_pFreeze->setChecked(isFrozen);
    // What came meanwhile was not seen; a recording that has begun meanwhile is another one.
    if (!isFrozen) Begin();
    m_bStale = true;
}

void CAcqScopeDlg::TakeLine(const QString& parameter, double value) {
    if (parameter != "level") return;
    const double step = FullScale() / dragSteps;
    m_settings.level = std::round(value / step) * step;
    m_pForm->Refresh();
    Begin();
}

// --- what is seen ---

double CAcqScopeDlg::FullScale() const {
    if (m_dFullScale > 0.0) return m_dFullScale;
    const ScanFormat& format = m_view.Format();
    const auto trace = static_cast<size_t>(m_settings.shown) - 1;
    const double gain = trace < format.channels ? std::abs(format.gains[trace]) : 1.0;
    return std::max(std::abs(format.low), std::abs(format.high)) / gain;
}

std::string CAcqScopeDlg::StatusText() const {
    if (!m_strFault.empty()) return m_strFault;
    if (m_bFrozen) return "Frozen.";
    if (!m_view.IsRunning() && !m_pSweeps) return "Nothing is being recorded.";
    if (!m_pSweeps || m_pSweeps->Found() > 0)
        return fmt::format("{} sweep(s).", m_pSweeps ? m_pSweeps->Found() : 0);
    return m_settings.trigger == ScopeTrigger::threshold ? "Waiting for a crossing."
                                                         : "The first sweep comes.";
}

void CAcqScopeDlg::Draw() {
    m_bStale = false;
    m_pStatus->setText(ToQString(StatusText()));
    Graph graph;
    GraphPane& pane = graph.panes.emplace_back();
    pane.name = "scope";
    const bool isThreshold = m_settings.trigger == ScopeTrigger::threshold;
    const double from = isThreshold ? -m_settings.preMs : 0.0;
    pane.x = {"time", "ms", false, std::pair(from, from + m_settings.spanMs)};
    const CAcqDoc& doc = m_view.Document();
    const auto trace = static_cast<size_t>(m_settings.shown) - 1;
    const bool isThere = trace < doc.traces.size();
    const std::string label = isThere ? doc.traces[trace].traceLabel : std::string();
    pane.y = {label.empty() ? fmt::format("trace {}", m_settings.shown) : label, m_view.Unit(), false,
              std::pair(-FullScale(), FullScale())};
    if (m_pSweeps) {
        const auto& sweeps = m_pSweeps->Sweeps();
        const uint32_t colour = isThere ? doc.traces[trace].traceColour : 0;
        for (const ScopeSweep& sweep : sweeps) {
            const bool isNewest = &sweep == &sweeps.back();
            pane.layers.push_back(LineOf(*m_pSweeps, sweep, isNewest ? colour : olderColour, isNewest));
        }
        if (m_settings.spanMs >= slowSweepMs && !m_pSweeps->Pending().volts.empty())
            pane.layers.push_back(LineOf(*m_pSweeps, m_pSweeps->Pending(), colour, false));
    }
    if (isThreshold) {
        pane.lines.push_back({true, 0.0, triggerColour, {}, {}});
        if (m_settings.trace == m_settings.shown)
            pane.lines.push_back({false, m_settings.level, edgeColour, {}, "level"});
    }
    m_pGraph->SetGraph(std::move(graph));
}

}  // namespace kymora
