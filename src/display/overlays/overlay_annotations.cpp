#include "display/overlays/overlay_annotations.h"

#include <cmath>

#include "display/overlays/overlay_fonts.h"
#include "document/form_choices.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr const char* emptyText = "Please enter the text of the annotation.";

// Changes the lists as one step of undo.
template <typename Change>
void ChangeAnnotations(CKymoraView& view, const char* name, Change change) {
    CDataDoc& doc = view.GetDocument();
    {
        UndoScope scope(doc, name);
        scope.KeepAnnotations();
        change(doc.traceAnnotations);
    }
    doc.UpdateAllViews(UpdateHint::events);
}

// Texts come from the platform's edit controls with "\r\n", and forms know "\n" alone.
std::string WithPlainLineEnds(std::string_view text) {
    std::string plain;
    for (const std::string& line : LinesOf(text)) plain += (plain.empty() ? "" : "\n") + line;
    return plain;
}

std::string WithStoredLineEnds(std::string_view text) {
    std::string stored;
    for (const char c : text) stored += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return stored;
}

// Whether a text could cover a pixel, however it is turned; measuring it takes far longer. No byte of a text
// is wider than four lines are high.
bool MayReach(const PlotContext& context, int trace, const CAnnotation& annotation, int x, int y) {
    const Point place = AnnotationPlace(context, trace, annotation);
    const int64_t bytes = static_cast<int64_t>(annotation.m_strLabel.size()) + 1;
    const int64_t most = bytes * 4 * PixelHeightOf(annotation.m_logFont);
    return std::abs(int64_t{x} - place.x) <= most && std::abs(int64_t{y} - place.y) <= most;
}

// The first trace that is drawn on an axis, or -1.
int FirstTraceOn(const PlotContext& context, int axis) {
    for (int t = 0; t < context.doc.traceCount; ++t)
        if (context.AxisOf(t) == axis) return t;
    return -1;
}

}  // namespace

bool CEditAnnotation::DoModal(const CKymoraView& view, std::string title) {
    const CDataDoc& doc = view.GetDocument();
    Form form(std::move(title));
    const std::string text = WithPlainLineEnds(m_annotation.m_strLabel);
    const FontSpec font = FontSpecOf(m_annotation.m_logFont);
    form.AddLongText("text", "Text", text, "The text of the annotation, which may have several lines");
    form.AddNumber("time", "Time (ms)", m_annotation.m_dTime, "Where the left edge of the text stands");
    form.AddNumber("value", "Value", m_annotation.m_fValue,
                   "Where the top of the text stands, in the units of the trace");
    form.AddChoice("trace", "Trace", TraceChoices(doc), m_annotation.m_nTrace,
                   "The trace that the annotation belongs to");
    form.AddColour("colour", "Colour", m_annotation.m_crColour, "The colour of the text");
    form.AddFont("font", "Font", font, "The font of the text");
    form.validate = [](const Form& f) { return f.Text("text").empty() ? emptyText : std::string(); };
    if (!view.GetSession().host.AskForm(form)) return false;

    if (form.Text("text") != text) m_annotation.m_strLabel = WithStoredLineEnds(form.Text("text"));
    m_annotation.m_dTime = form.Number("time");
    m_annotation.m_fValue = static_cast<float>(form.Number("value"));
    m_annotation.m_nTrace = std::clamp(form.Choice("trace"), 0, doc.traceCount - 1);
    m_annotation.m_crColour = form["colour"].colour;
    m_annotation.m_logFont = LogFontOf(form["font"].font, m_annotation.m_logFont);
    return true;
}

const CAnnotation* FindAnnotation(const CDataDoc& doc, AnnotationId id) {
    if (id.trace < 0 || id.trace >= maxTraces || id.index < 0) return nullptr;
    const auto& list = doc.traceAnnotations[static_cast<size_t>(id.trace)];
    return id.index < static_cast<int>(list.size()) ? &list[static_cast<size_t>(id.index)] : nullptr;
}

// --- operations ---

bool AddAnnotation(CKymoraView& view, double timeMs, int trace, float value) {
    CEditAnnotation dialog;
    dialog.m_annotation.m_dTime = timeMs;
    dialog.m_annotation.m_fValue = value;
    dialog.m_annotation.m_nTrace = trace;
    if (!dialog.DoModal(view, "Add annotation")) return false;
    ChangeAnnotations(view, "Add annotation", [&](auto& lists) {
        lists[static_cast<size_t>(dialog.m_annotation.m_nTrace)].push_back(dialog.m_annotation);
    });
    return true;
}

bool AddAnnotationAtMiddle(CKymoraView& view) {
    for (const int axis : view.Plot().shownAxes)
        if (const int trace = FirstTraceOn(view.Plot(), axis); trace >= 0)
            return AddAnnotation(view, (view.m_StartTime + view.m_EndTime) / 2.0, trace,
                                 static_cast<float>(view.m_axes[static_cast<size_t>(axis)].m_dMax));
    return false;
}

bool AddAnnotationByMouse(CKymoraView& view, int x, int y) {
    const int axis = view.Plot().GetNearestAxis(y);
    const int trace = axis < 0 ? -1 : FirstTraceOn(view.Plot(), axis);
    if (trace < 0) return false;
    return AddAnnotation(view, view.Plot().PixelToTime(x), trace,
                         static_cast<float>(view.Plot().GetValueScale(axis).ToValue(y)));
}

bool EditAnnotation(CKymoraView& view, AnnotationId id) {
    const CAnnotation* old = FindAnnotation(view.GetDocument(), id);
    if (!old) return false;
    CEditAnnotation dialog{*old};
    dialog.m_annotation.m_nTrace = id.trace;
    if (!dialog.DoModal(view, "Edit annotation") || !FindAnnotation(view.GetDocument(), id)) return false;
    ChangeAnnotations(view, "Edit annotation", [&](auto& lists) {
        auto& list = lists[static_cast<size_t>(id.trace)];
        if (dialog.m_annotation.m_nTrace == id.trace) {
            list[static_cast<size_t>(id.index)] = dialog.m_annotation;
            return;
        }
        list.erase(list.begin() + id.index);
        lists[static_cast<size_t>(dialog.m_annotation.m_nTrace)].push_back(dialog.m_annotation);
    });
    return true;
}

void DeleteAnnotation(CKymoraView& view, AnnotationId id) {
    if (!FindAnnotation(view.GetDocument(), id)) return;
    ChangeAnnotations(view, "Delete annotation", [&](auto& lists) {
        auto& list = lists[static_cast<size_t>(id.trace)];
        list.erase(list.begin() + id.index);
    });
}

void DeleteAllAnnotations(CKymoraView& view) {
    ChangeAnnotations(view, "Delete all annotations", [](auto& lists) {
        for (auto& list : lists) list.clear();
    });
}

void MoveAnnotation(CKymoraView& view, AnnotationId id, int dx, int dy) {
    const CAnnotation* old = FindAnnotation(view.GetDocument(), id);
    if (!old || (dx == 0 && dy == 0) || !view.Plot().IsTraceShown(id.trace)) return;
    const Point place = AnnotationPlace(view.Plot(), id.trace, *old);
    const int axis = view.m_nAxisOfTrace[static_cast<size_t>(id.trace)];
    ChangeAnnotations(view, "Move annotation", [&](auto& lists) {
        CAnnotation& moved = lists[static_cast<size_t>(id.trace)][static_cast<size_t>(id.index)];
        if (dx != 0) moved.m_dTime = view.Plot().PixelToTime(place.x + dx);
        if (dy != 0)
            moved.m_fValue = static_cast<float>(view.Plot().GetValueScale(axis).ToValue(place.y + dy));
    });
}

// --- geometry ---

std::vector<std::string> LinesOf(std::string_view text) {
    std::vector<std::string> lines;
    for (size_t from = 0; from <= text.size();) {
        const size_t end = std::min(text.find('\n', from), text.size());
        lines.emplace_back(text.substr(from, end - from));
        if (!lines.back().empty() && lines.back().back() == '\r') lines.back().pop_back();
        from = end + 1;
    }
    return lines;
}

bool IsAnnotationShown(const PlotContext& context, int trace, const CAnnotation& annotation) {
    return context.IsTraceShown(trace) && annotation.m_dTime >= context.viewport.start &&
           annotation.m_dTime <= context.viewport.end && context.layout.plot.Width() > 0;
}

Point AnnotationPlace(const PlotContext& context, int trace, const CAnnotation& annotation) {
    const int axis = context.AxisOf(trace);
    return {context.TimeToPixel(annotation.m_dTime), context.ValueToPixel(annotation.m_fValue, axis)};
}

Point LineShift(int line, int lineHeight, int escapement) {
    const double angle = escapement * M_PI / 1800.0;
    const double down = static_cast<double>(line) * lineHeight;
    return {RoundHalfAway(down * std::sin(angle)), RoundHalfAway(down * std::cos(angle))};
}

PixelRect AnnotationRect(const PlotContext& context, int trace, const CAnnotation& annotation) {
    const FontSpec font = FontSpecOf(annotation.m_logFont);
    const auto lines = LinesOf(annotation.m_strLabel);
    int64_t width = 0;
    for (const std::string& line : lines)
        width = std::max<int64_t>(width, context.drawn.textSizes.Of(line, font).width);
    const int64_t height =
        static_cast<int64_t>(lines.size()) * context.drawn.textSizes.Of(lines[0], font).height;
    // The corners of the text, turned against the clock.
    const double angle = annotation.m_logFont.escapement * M_PI / 1800.0;
    const auto along = static_cast<double>(width), down = static_cast<double>(height);
    const double alongX = along * std::cos(angle), alongY = -along * std::sin(angle);
    const double downX = down * std::sin(angle), downY = down * std::cos(angle);
    const auto [left, right] = std::minmax({0.0, alongX, downX, alongX + downX});
    const auto [top, bottom] = std::minmax({0.0, alongY, downY, alongY + downY});
    const Point place = AnnotationPlace(context, trace, annotation);
    const auto shifted = [](int from, double by) { return ClampPixel(int64_t{from} + RoundHalfAway(by)); };
    return {shifted(place.x, left), shifted(place.y, top), shifted(place.x, right), shifted(place.y, bottom)};
}

AnnotationId AnnotationAt(const PlotContext& context, int x, int y) {
    if (!context.settings.m_bShowAnnotations) return {};
    for (int trace = context.doc.traceCount - 1; trace >= 0; --trace) {
        const auto& list = context.doc.traceAnnotations[static_cast<size_t>(trace)];
        for (int i = static_cast<int>(list.size()) - 1; i >= 0; --i) {
            const CAnnotation& annotation = list[static_cast<size_t>(i)];
            if (IsAnnotationShown(context, trace, annotation) && MayReach(context, trace, annotation, x, y) &&
                AnnotationRect(context, trace, annotation).Contains(x, y))
                return {trace, i};
        }
    }
    return {};
}

}  // namespace kymora
