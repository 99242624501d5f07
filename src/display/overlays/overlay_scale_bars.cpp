#include "display/overlays/overlay_scale_bars.h"

#include <cmath>

#include "display/overlays/overlay_fonts.h"
#include "document/form_choices.h"
#include "drawing/number_labels.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr int greatestWidth = 20;
constexpr int usualWidth = 2;
constexpr int hitMargin = 2;

template <typename Change>
void ChangeScaleBars(CKymoraView& view, const char* name, Change change) {
    CDataDoc& doc = view.GetDocument();
    {
        UndoScope scope(doc, name);
        scope.KeepScaleBars();
        change(doc.scaleBars);
    }
    doc.UpdateAllViews(UpdateHint::events);
}

ScaleBar& BarOf(std::array<ScaleBarGroup, 2>& groups, ScaleBarId id) {
    return id.isHorizontal ? groups[0].single : groups[1].list[static_cast<size_t>(id.index)];
}

// --- dialogs ---

void AddTextFields(Form& form, const CScaleBarOptions& options) {
    form.AddFlag("showText", "Show the text", options.m_bShowText, "Writes the length beside the bar");
    form.AddColour("textColour", "Colour of the text", options.m_crText, "The colour of the text");
    form.AddFont("font", "Font of the text", FontSpecOf(options.m_logFont), "The font of the text");
}

void TakeTextFields(const Form& form, CScaleBarOptions& options) {
    options.m_bShowText = form.Flag("showText");
    options.m_crText = form["textColour"].colour;
    options.m_logFont = LogFontOf(form["font"].font, options.m_logFont);
}

void AddBarFields(Form& form, const ScaleBar& bar, const char* lengthLabel) {
    Field& length =
        form.AddNumber("length", lengthLabel, bar.m_fLength, "What the length of the bar stands for");
    length.least = 0.0;
    form.AddInteger("width", "Line width (pixels)", bar.m_nWidth, "The thickness of the bar")
        .Limits(1, greatestWidth);
}

void TakeBarFields(const Form& form, ScaleBar& bar) {
    bar.m_fLength = static_cast<float>(form.Number("length"));
    bar.m_nWidth = form.Integer("width");
    CScaleBarOptions options = CScaleBarOptions::Of(bar);
    TakeTextFields(form, options);
    options.Apply(bar);
}

// --- new bars ---

ScaleBar NewHorzBar(const PlotContext& context) {
    ScaleBar bar;
    bar.m_nWidth = usualWidth;
    bar.m_fLength = static_cast<float>(RoundTenth(context.viewport.Duration()));
    bar.m_fXFrac = 0.85f;
    bar.m_fYFrac = 0.97f;
    return bar;
}

// A tenth of the first selected axis, standing near the left end of the foot of its band.
ScaleBar NewVertBar(const PlotContext& context) {
    const CDataDoc& doc = context.doc;
    ScaleBar bar;
    bar.m_nWidth = usualWidth;
    bar.m_fXFrac = 0.04f;
    bar.m_fYFrac = 0.95f;
    for (const bool selected : {true, false})
        for (int trace = 0; trace < doc.traceCount; ++trace) {
            const int axis = context.AxisOf(trace);
            const CVertAxis& limits = context.settings.m_axes[static_cast<size_t>(axis)];
            if (!context.IsTraceShown(trace) || (selected && !limits.m_bSelected)) continue;
            const PixelRect &plot = context.layout.plot, band = context.BandOf(axis);
            bar.m_nTrace = trace;
            bar.m_fLength = static_cast<float>(RoundTenth(std::fabs(limits.m_dMax - limits.m_dMin)));
            bar.m_strUnits = doc.traces[static_cast<size_t>(trace)].traceUnits;
            if (plot.Height() > 0 && band.Height() > 0)
                bar.m_fYFrac = static_cast<float>(band.bottom - band.Height() / 10 - plot.top) /
                               static_cast<float>(plot.Height());
            return bar;
        }
    return bar;
}

// --- shapes ---

float Fraction(int pixel, int from, int length) {
    return std::clamp(static_cast<float>(pixel - from) / static_cast<float>(std::max(1, length)), 0.0f, 1.0f);
}

Point PlaceOf(const ScaleBar& bar, const PixelRect& plot) {
    return {ClampPixel(int64_t{plot.left} + RoundHalfAway(plot.Width() * static_cast<double>(bar.m_fXFrac))),
            ClampPixel(int64_t{plot.top} + RoundHalfAway(plot.Height() * static_cast<double>(bar.m_fYFrac)))};
}

PixelRect HitRect(Point from, Point to, int width) {
    const int before = (width - 1) / 2 + hitMargin, behind = width / 2 + hitMargin + 1;
    const int left = std::min(from.x, to.x), right = std::max(from.x, to.x);
    const int top = std::min(from.y, to.y), bottom = std::max(from.y, to.y);
    if (from.y == to.y && from.x != to.x)
        return {left - hitMargin, top - before, right + hitMargin + 1, bottom + behind};
    return {left - before, top - hitMargin, right + behind, bottom + hitMargin + 1};
}

std::string HorzText(const PlotContext& context, const ScaleBar& bar) {
    return ShortNumber(bar.m_fLength / TimeUnitFactor(context.settings.m_nTimeUnit)) + " " +
           TimeUnitName(context.settings.m_nTimeUnit);
}

std::string VertText(const CDataDoc& doc, const ScaleBar& bar) {
    const std::string& units =
        bar.m_strUnits.empty() ? doc.traces[static_cast<size_t>(bar.m_nTrace)].traceUnits : bar.m_strUnits;
    const std::string length = ShortNumber(bar.m_fLength);
    return units.empty() ? length : length + ": " + units;
}

}  // namespace

// --- dialogs ---

CScaleBarOptions CScaleBarOptions::Of(const ScaleBar& bar) {
    return {bar.m_bShowText != 0, bar.m_crText, bar.m_logFont};
}

void CScaleBarOptions::Apply(ScaleBar& bar) const {
    if ((bar.m_bShowText != 0) != m_bShowText) bar.m_bShowText = m_bShowText;
    bar.m_crText = m_crText;
    bar.m_logFont = m_logFont;
}

bool CScaleBarOptions::DoModal(Session& session) {
    Form form("Scale bar options");
    AddTextFields(form, *this);
    if (!session.host.AskForm(form)) return false;
    TakeTextFields(form, *this);
    return true;
}

bool CHorzScaleBarDlg::DoModal(Session& session) {
    Form form("Horizontal scale bar");
    AddBarFields(form, m_bar, "Length (ms)");
    AddTextFields(form, CScaleBarOptions::Of(m_bar));
    if (!session.host.AskForm(form)) return false;
    TakeBarFields(form, m_bar);
    return true;
}

bool CVertScaleBarDlg::DoModal(const CDataDoc& doc, Session& session) {
    Form form("Vertical scale bar");
    AddBarFields(form, m_bar, "Length (units of the trace)");
    form.AddChoice("trace", "Trace", TraceChoices(doc), m_bar.m_nTrace,
                   "The trace whose axis the bar measures");
    form.AddText("units", "Units", m_bar.m_strUnits,
                 "What is written behind the length; empty for those of the trace");
    AddTextFields(form, CScaleBarOptions::Of(m_bar));
    if (!session.host.AskForm(form)) return false;
    TakeBarFields(form, m_bar);
    const int trace = form.Choice("trace");
    const bool sameUnits = form.Text("units") == m_bar.m_strUnits;
    m_bar.m_strUnits = form.Text("units");
    // Another trace brings its own units, unless the user has written some.
    if (trace != m_bar.m_nTrace && sameUnits && trace >= 0 && trace < doc.traceCount)
        m_bar.m_strUnits = doc.traces[static_cast<size_t>(trace)].traceUnits;
    m_bar.m_nTrace = trace;
    return true;
}

// --- operations ---

const ScaleBar* FindScaleBar(const CDataDoc& doc, ScaleBarId id) {
    if (id.isHorizontal) return HasHorzScaleBar(doc) ? &doc.scaleBars[0].single : nullptr;
    const auto& list = doc.scaleBars[1].list;
    return id.index >= 0 && id.index < static_cast<int>(list.size()) ? &list[static_cast<size_t>(id.index)]
                                                                     : nullptr;
}

bool HasHorzScaleBar(const CDataDoc& doc) { return doc.scaleBars[0].single.m_nWidth > 0; }
bool HasVertScaleBars(const CDataDoc& doc) { return !doc.scaleBars[1].list.empty(); }

std::vector<ScaleBarId> ScaleBarsOf(const CDataDoc& doc) {
    std::vector<ScaleBarId> bars;
    if (HasHorzScaleBar(doc)) bars.push_back({true, 0});
    for (int i = 0; i < static_cast<int>(doc.scaleBars[1].list.size()); ++i) bars.push_back({false, i});
    return bars;
}

void AddHorzScaleBar(CKymoraView& view) {
    if (HasHorzScaleBar(view.GetDocument())) return EditScaleBar(view, {true, 0});
    CHorzScaleBarDlg dialog{NewHorzBar(view.Plot())};
    if (!dialog.DoModal(view.GetSession())) return;
    ChangeScaleBars(view, "Add horizontal scale bar", [&](auto& groups) { groups[0].single = dialog.m_bar; });
}

void AddVertScaleBar(CKymoraView& view) {
    CVertScaleBarDlg dialog{NewVertBar(view.Plot())};
    if (!dialog.DoModal(view.GetDocument(), view.GetSession())) return;
    ChangeScaleBars(view, "Add vertical scale bar",
                    [&](auto& groups) { groups[1].list.push_back(dialog.m_bar); });
}

void EditScaleBar(CKymoraView& view, ScaleBarId id) {
    const CDataDoc& doc = view.GetDocument();
    const ScaleBar* old = FindScaleBar(doc, id);
    if (!old) return;
    ScaleBar bar = *old;
    if (id.isHorizontal) {
        CHorzScaleBarDlg dialog{bar};
        if (!dialog.DoModal(view.GetSession())) return;
        bar = dialog.m_bar;
    } else {
        CVertScaleBarDlg dialog{bar};
        if (!dialog.DoModal(doc, view.GetSession())) return;
        bar = dialog.m_bar;
    }
    if (!FindScaleBar(doc, id)) return;
    ChangeScaleBars(view, "Edit scale bar", [&](auto& groups) { BarOf(groups, id) = bar; });
}

void DeleteScaleBar(CKymoraView& view, ScaleBarId id) {
    if (!FindScaleBar(view.GetDocument(), id)) return;
    ChangeScaleBars(view, "Delete scale bar", [&](auto& groups) {
        if (id.isHorizontal)
            groups[0].single = {};
        else
            groups[1].list.erase(groups[1].list.begin() + id.index);
    });
}

void SetScaleBarOptions(CKymoraView& view) {
    const auto bars = ScaleBarsOf(view.GetDocument());
    if (bars.empty()) return;
    auto options = CScaleBarOptions::Of(*FindScaleBar(view.GetDocument(), bars.front()));
    if (!options.DoModal(view.GetSession())) return;
    ChangeScaleBars(view, "Scale bar options", [&](auto& groups) {
        for (const ScaleBarId id : ScaleBarsOf(view.GetDocument())) options.Apply(BarOf(groups, id));
    });
}

void MoveScaleBar(CKymoraView& view, ScaleBarId id, int dx, int dy) {
    const ScaleBar* old = FindScaleBar(view.GetDocument(), id);
    if (!old || (dx == 0 && dy == 0)) return;
    const PixelRect plot = view.Plot().layout.plot;
    const Point place = PlaceOf(*old, plot);
    ChangeScaleBars(view, "Move scale bar", [&](auto& groups) {
        ScaleBar& bar = BarOf(groups, id);
        if (dx != 0) bar.m_fXFrac = Fraction(place.x + dx, plot.left, plot.Width());
        if (dy != 0) bar.m_fYFrac = Fraction(place.y + dy, plot.top, plot.Height());
    });
}

// --- geometry ---

std::optional<ScaleBarShape> ShapeOf(const PlotContext& context, ScaleBarId id, int dx, int dy) {
    const CDataDoc& doc = context.doc;
    const ScaleBar* bar = FindScaleBar(doc, id);
    const PixelRect& plot = context.layout.plot;
    if (!bar || plot.Width() <= 0 || plot.Height() <= 0) return {};
    ScaleBarShape shape;
    shape.width = std::clamp(bar->m_nWidth, 1, greatestWidth);
    shape.from = PlaceOf(*bar, plot);
    shape.from.x += dx;
    shape.from.y += dy;
    shape.to = shape.from;
    if (id.isHorizontal) {
        const int length = context.TimeToPixel(context.viewport.start + static_cast<double>(bar->m_fLength)) -
                           context.TimeToPixel(context.viewport.start);
        shape.to.x = ClampPixel(int64_t{shape.from.x} + length);
        shape.text = HorzText(context, *bar);
    } else {
        if (bar->m_nTrace < 0 || bar->m_nTrace >= doc.traceCount || !context.IsTraceShown(bar->m_nTrace))
            return {};
        const int axis = context.AxisOf(bar->m_nTrace);
        shape.to.y = ClampPixel(int64_t{shape.from.y} + context.ValueToPixel(bar->m_fLength, axis) -
                                context.ValueToPixel(0.0, axis));
        shape.text = VertText(doc, *bar);
    }
    if (bar->m_bShowText == 0) shape.text.clear();
    shape.rect = HitRect(shape.from, shape.to, shape.width);
    return shape;
}

std::optional<ScaleBarId> ScaleBarAt(const PlotContext& context, int x, int y) {
    if (!context.settings.m_bShowScaleBars) return {};
    const auto bars = ScaleBarsOf(context.doc);
    for (auto id = bars.rbegin(); id != bars.rend(); ++id)
        if (const auto shape = ShapeOf(context, *id); shape && shape->rect.Contains(x, y)) return *id;
    return {};
}

double RoundTenth(double span) {
    const double tenth = span / 10.0;
    if (!(tenth > 0.0) || !std::isfinite(tenth)) return 1.0;
    const double decade = std::pow(10.0, std::floor(std::log10(tenth)));
    double best = decade;
    for (const double step : {2.0, 5.0, 10.0})
        if (std::fabs(step * decade - tenth) < std::fabs(best - tenth)) best = step * decade;
    return best;
}

}  // namespace kymora
