#include "display/overlays/cursor_forms.h"

#include <cmath>

#include "display/overlays/overlay_drags.h"
#include "host/form.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr const char* timeOffScreenText = "Specified time off screen: abandoned";
constexpr const char* valueOffScreenText = "Specified value off screen: abandoned";
constexpr const char* reversedText = "Start cursor should be before end cursor.";
constexpr const char* noDataText = "There are no data between the cursors.";
constexpr int64_t readLength = 65536;       // samples
constexpr int64_t progressFrom = 10000000;  // samples

// The pixel of a value; nothing where it lies off the plot, which the user is told.
std::optional<int> HorzPlace(const CKymoraView& view, double value, int trace) {
    const int y = view.Plot().ValueToPixel(value, view.m_nAxisOfTrace[static_cast<size_t>(trace)]);
    if (std::isfinite(value) && view.Plot().IsTraceShown(trace) && view.DatumLines().IsOnPlotY(y)) return y;
    view.GetSession().host.Message(valueOffScreenText);
    return {};
}

bool PlaceHorz(CKymoraView& view, double value, int trace) {
    const auto y = HorzPlace(view, value, trace);
    if (!y) return false;
    view.DatumLines().AddHorzLine(*y);
    view.Invalidate();
    return true;
}

// Sums about the first sample, so that an offset costs no digits.
class Sums {
  public:
    void Add(double value) {
        if (count_ == 0) first_ = least_ = greatest_ = value;
        ++count_;
        sum_ += value - first_;
        squares_ += (value - first_) * (value - first_);
        least_ = std::min(least_, value);
        greatest_ = std::max(greatest_, value);
    }
    LevelStats Result() const {
        if (count_ == 0) return {};
        const auto n = static_cast<double>(count_);
        const double squares = std::max(0.0, squares_ - sum_ * sum_ / n);
        const double sd = count_ > 1 ? std::sqrt(squares / (n - 1.0)) : 0.0;
        return {count_, first_ + sum_ / n, sd, least_, greatest_};
    }

  private:
    int64_t count_ = 0;
    double first_ = 0.0, sum_ = 0.0, squares_ = 0.0, least_ = 0.0, greatest_ = 0.0;
};

// The stretch of time that the dialog means; nothing when its cursors stand the wrong way round.
std::optional<Viewport> RegionOf(const PlotContext& context, const CDatumHorzRel& dialog) {
    const CDatumLines& lines = *context.cursors;
    Viewport region = context.viewport;
    if (lines.VertCount() >= std::max({2, dialog.m_nStartCursor, dialog.m_nEndCursor}))
        region = {lines.GetVertLineTime(dialog.m_nStartCursor - 1),
                  lines.GetVertLineTime(dialog.m_nEndCursor - 1)};
    if (!(region.Duration() > 0.0)) return {};
    return region;
}

}  // namespace

// --- dialogs ---

bool CPlaceVertDatum::DoModal(Session& session) {
    Form form("Place vertical cursor");
    form.AddNumber("time", "Place line at time (ms)", m_dTime,
                   "Where the cursor is placed, in ms from the start");
    if (!session.host.AskForm(form)) return false;
    m_dTime = form.Number("time");
    return true;
}

bool CPlaceHorzDatum::DoModal(Session& session, int traceCount) {
    Form form("Place horizontal cursor");
    form.AddNumber("value", "Place line at value", m_dValue,
                   "Where the cursor is placed, in the units of the trace");
    form.AddInteger("trace", "relative to trace", m_nTrace, "The trace whose axis the value is read on")
        .Limits(1, traceCount);
    if (!session.host.AskForm(form)) return false;
    m_dValue = form.Number("value");
    m_nTrace = form.Integer("trace");
    return true;
}

namespace {

void AddCursorFields(Form& form, const CDatumHorzRel& dialog, int cursors) {
    const auto add = [&](const char* key, const char* label, int value, const char* toolTip) {
        Field& field = form.AddInteger(key, label, value, toolTip);
        field.least = 1;
        field.greatest = std::max(2, cursors);
        field.enabled = [cursors](const Form&) { return cursors >= 2; };
    };
    add("startCursor", "Start cursor ID", dialog.m_nStartCursor,
        "The vertical cursor at which measuring starts; without two of them the view is measured");
    add("endCursor", "End cursor ID", dialog.m_nEndCursor, "The vertical cursor at which measuring ends");
}

void AddLevelFields(Form& form, const CDatumHorzRel& dialog) {
    using Level = CDatumHorzRel::Level;
    form.AddRadio("level", "Level", {"Mean + s.d. *", "Mean + pos pk *", "Mean + neg pk *"},
                  static_cast<int>(dialog.m_level), "How far from the mean the line is placed");
    const auto add = [&](const char* key, const char* label, double value, Level level, const char* toolTip) {
        form.AddNumber(key, label, value, toolTip).enabled = [level](const Form& f) {
            return f.Choice("level") == static_cast<int>(level);
        };
    };
    add("sdMultiplier", "s.d. *", dialog.m_dSdMultiplier, Level::sd,
        "How many standard deviations above the mean");
    add("posMultiplier", "pos pk *", dialog.m_dPosMultiplier, Level::positivePeak,
        "Which part of the way from the mean to the highest sample");
    add("negMultiplier", "neg pk *", dialog.m_dNegMultiplier, Level::negativePeak,
        "Which part of the way from the mean to the lowest sample");
}

}  // namespace

bool CDatumHorzRel::DoModal(Session& session, int cursors) {
    Form form("Horizontal Datum Line (Relative)");
    form.AddInteger("trace", "Trace ID", m_nTrace, "The trace that is measured");
    AddCursorFields(form, *this, cursors);
    AddLevelFields(form, *this);
    if (!session.host.AskForm(form)) return false;
    m_nTrace = form.Integer("trace");
    m_nStartCursor = form.Integer("startCursor");
    m_nEndCursor = form.Integer("endCursor");
    m_level = static_cast<Level>(form.Choice("level"));
    m_dSdMultiplier = form.Number("sdMultiplier");
    m_dPosMultiplier = form.Number("posMultiplier");
    m_dNegMultiplier = form.Number("negMultiplier");
    return true;
}

// --- measuring ---

std::optional<LevelStats> MeasureLevel(CDataDoc& doc, int trace, int64_t from, int64_t to) {
    from = std::max<int64_t>(from, 0);
    to = std::min(to, doc.GetLength());
    ProgressScope progress(doc.GetHost(), "Reading data",
                           static_cast<uint64_t>(std::max<int64_t>(to - from, 0)), progressFrom);
    Sums sums;
    std::vector<float> values;
    std::vector<uint8_t> valid;
    for (int64_t at = from; at < to; at += readLength) {
        const auto count = static_cast<size_t>(std::min(readLength, to - at));
        values.resize(count);
        valid.resize(count);
        doc.ReadBlock(trace, at, values, valid);
        for (size_t i = 0; i < count; ++i)
            if (valid[i] != 0 && std::isfinite(values[i])) sums.Add(static_cast<double>(values[i]));
        if (!progress.GoesOn(static_cast<uint64_t>(at - from) + count)) return {};
    }
    return sums.Result();
}

double LevelOf(const CDatumHorzRel& dialog, const LevelStats& stats) {
    switch (dialog.m_level) {
    case CDatumHorzRel::Level::sd:
        return stats.mean + stats.sd * dialog.m_dSdMultiplier;
    case CDatumHorzRel::Level::positivePeak:
        return (stats.greatest - stats.mean) * dialog.m_dPosMultiplier + stats.mean;
    case CDatumHorzRel::Level::negativePeak:
        return (stats.least - stats.mean) * dialog.m_dNegMultiplier + stats.mean;
    }
    return stats.mean;
}

// --- commands ---

void PlaceAtTime(CKymoraView& view) {
    CPlaceVertDatum dialog;
    if (!dialog.DoModal(view.GetSession())) return;
    const int x = view.Plot().TimeToPixel(dialog.m_dTime);
    if (!view.DatumLines().IsOnPlotX(x)) return view.GetSession().host.Message(timeOffScreenText);
    view.DatumLines().AddVertLine(x);
    view.Invalidate();
}

void PlaceAtVoltage(CKymoraView& view) {
    CPlaceHorzDatum dialog;
    if (!dialog.DoModal(view.GetSession(), view.GetDocument().traceCount)) return;
    PlaceHorz(view, dialog.m_dValue, dialog.m_nTrace - 1);
}

void AddHorzRelative(CKymoraView& view) {
    CDataDoc& doc = view.GetDocument();
    Host& host = view.GetSession().host;
    CDatumHorzRel dialog;
    if (!dialog.DoModal(view.GetSession(), view.DatumLines().VertCount())) return;
    if (dialog.m_nTrace < 1 || dialog.m_nTrace > doc.traceCount) return host.Message(noSuchTraceText);
    const auto region = RegionOf(view.Plot(), dialog);
    if (!region) return host.Message(reversedText);
    const int trace = dialog.m_nTrace - 1;
    try {
        const auto stats =
            MeasureLevel(doc, trace, doc.PositionOf(region->start), doc.PositionOf(region->end));
        if (!stats) return;
        if (stats->count == 0) return host.Message(noDataText);
        PlaceHorz(view, LevelOf(dialog, *stats), trace);
    } catch (const FileError& error) {
        host.Message(error.what());
    }
}

void MoveCursorToTime(CKymoraView& view, int line) {
    CPlaceVertDatum dialog{std::round(view.DatumLines().GetVertLineTime(line) * 1e9) / 1e9};
    if (!dialog.DoModal(view.GetSession())) return;
    const int x = view.Plot().TimeToPixel(dialog.m_dTime);
    if (!view.DatumLines().IsOnPlotX(x)) return view.GetSession().host.Message(timeOffScreenText);
    MoveVertCursor(view, line, x);
}

void MoveCursorToValue(CKymoraView& view, int line) {
    const PlotContext context = view.Plot();
    const int y = view.DatumLines().HorzY(line);
    const int axis = context.GetNearestAxis(y);
    CPlaceHorzDatum dialog;
    for (int trace = context.doc.traceCount - 1; trace >= 0; --trace)
        if (context.AxisOf(trace) == axis) dialog.m_nTrace = trace + 1;
    dialog.m_dValue = view.DatumLines().GetHorzLineValue(line, dialog.m_nTrace - 1);
    if (!dialog.DoModal(view.GetSession(), context.doc.traceCount)) return;
    if (const auto place = HorzPlace(view, dialog.m_dValue, dialog.m_nTrace - 1))
        MoveHorzCursor(view, line, *place);
}

}  // namespace kymora
