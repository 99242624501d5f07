// Drags of cursors and of their labels.

#include <fmt/format.h>

#include "display/overlays/cursor_table.h"
#include "display/overlays/overlay_drags.h"
#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_fonts.h"
#include "drawing/number_labels.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr const char* offScreenText = "not moving cursor, because going off screen\n";

enum class CoupledChoice { uncouple = 0, edge = 1, abandon = 2, remove = 3 };

CoupledChoice AskCoupled(Session& session) {
    Form form("Coupled Cursor Error");
    form.AddRadio("choice", "A coupled cursor is moving offscreen. Do you want to",
                  {"temporarily uncouple the cursor", "place the cursor at the edge of the screen",
                   "abandon the move", "delete the cursor"},
                  0, "What happens to the cursor that would leave the plot");
    return session.host.AskForm(form) ? static_cast<CoupledChoice>(form.Choice("choice"))
                                      : CoupledChoice::abandon;
}

// A line under way. It stays where it is until the button is released.
class LineDrag : public MouseDrag {
  public:
    LineDrag(CKymoraView& view, const DatumHit& hit, const MouseEvent& event)
        : isVert_(hit.state == datumMovesVert), line_(hit.line) {
        CDatumLines& lines = view.DatumLines();
        lines.m_nState = hit.state;
        from_ = to_ = isVert_ ? lines.VertX(line_) : lines.HorzY(line_);
        grip_ = from_ - Along(event);
    }
    void Move(CKymoraView& view, const MouseEvent& event) override {
        to_ = Along(event) + grip_;
        CDatumLines& lines = view.DatumLines();
        if (!IsThere(lines)) return;
        lines.m_moving = DatumMove{isVert_, line_, to_};
        if (view.Window()) view.Window()->ShowStatus(CursorStatus(view, isVert_, line_));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        to_ = Along(event) + grip_;
        End(view);
        if (to_ == from_ || !IsThere(view.DatumLines())) return;
        if (isVert_)
            MoveVertCursor(view, line_, to_);
        else
            MoveHorzCursor(view, line_, to_);
    }
    void Cancel(CKymoraView& view) override { End(view); }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        CDatumLines& lines = *context.cursors;
        if (to_ == from_ || !(isVert_ ? lines.IsOnPlotX(to_) : lines.IsOnPlotY(to_))) return;
        const PixelRect& plot = lines.m_rcPlot;
        device.SetPen({CursorInk(context), 1, Pen::Style::dashed});
        if (isVert_) {
            device.Line(to_, plot.top, to_, plot.bottom);
            if (lines.m_bShowValues && IsThere(lines))
                DrawCursorDots(context, device, to_, lines.MovingSamples(line_));
            DrawDragText(context, device, {to_, plot.top},
                         TimeInUnit(context.PixelToTime(to_), context.settings.m_nTimeUnit, 2));
            return;
        }
        device.Line(plot.left, to_, plot.right, to_);
        const int axis = context.GetNearestAxis(to_);
        if (axis < 0) return;
        const CVertAxis& limits = context.settings.m_axes[static_cast<size_t>(axis)];
        DrawDragText(context, device, {plot.left, to_},
                     fmt::format("{}: {:.1f}", SeenPart(limits.m_strLabel, plot.Width()),
                                 context.GetValueScale(axis).ToValue(to_)));
    }
    CursorShape Shape() const override { return isVert_ ? CursorShape::horizontal : CursorShape::vertical; }

  private:
    int Along(const MouseEvent& event) const { return isVert_ ? event.x : event.y; }
    static void End(CKymoraView& view) {
        view.DatumLines().m_nState = datumIdle;
        view.DatumLines().m_moving.reset();
        view.Mouse().ShowMode();
    }
    // Commands can delete lines during the drag.
    bool IsThere(const CDatumLines& lines) const {
        return line_ < (isVert_ ? lines.VertCount() : lines.HorzCount()) &&
               (isVert_ ? lines.VertX(line_) : lines.HorzY(line_)) == from_;
    }

    bool isVert_;
    int line_;
    int from_ = 0, to_ = 0;
    int grip_ = 0;  // from the mouse to the line
};

// A label, which moves along its line only.
class LabelDrag : public MouseDrag {
  public:
    LabelDrag(CKymoraView& view, const DatumHit& hit, const MouseEvent& event) : hit_(hit) {
        CDatumLines& lines = view.DatumLines();
        lines.m_nState = hit.state;
        isVert_ = hit.state == datumMovesVertLabel;
        const auto& labels = isVert_ ? lines.VertLabels(hit.line) : lines.HorzLabels(hit.line);
        rect_ = labels[static_cast<size_t>(hit.label)].rect;
        press_ = Along(event);
    }
    void Move(CKymoraView& view, const MouseEvent& event) override { shift_ = Shift(view.Plot(), event); }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        shift_ = Shift(view.Plot(), event);
        view.DatumLines().m_nState = datumIdle;
        if (shift_ != 0) view.DatumLines().MoveLabel(hit_, (isVert_ ? rect_.top : rect_.left) + shift_);
    }
    void Cancel(CKymoraView& view) override { view.DatumLines().m_nState = datumIdle; }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        PixelRect frame = rect_;
        (isVert_ ? frame.top : frame.left) += shift_;
        (isVert_ ? frame.bottom : frame.right) += shift_;
        DrawFocusRect(context, device, frame);
    }
    CursorShape Shape() const override { return CursorShape::grabbed; }

  private:
    int Along(const MouseEvent& event) const { return isVert_ ? event.y : event.x; }
    // Held so that the label stays on the plot.
    int Shift(const PlotContext& context, const MouseEvent& event) const {
        const PixelRect& plot = context.layout.plot;
        const int least = isVert_ ? plot.top - rect_.top : plot.left - rect_.left;
        const int most = isVert_ ? plot.bottom - rect_.bottom : plot.right - rect_.right;
        return std::clamp(Along(event) - press_, least, std::max(least, most));
    }

    DatumHit hit_;
    bool isVert_;
    PixelRect rect_;
    int press_ = 0, shift_ = 0;
};

std::vector<int> PlacesOf(const CDatumLines& lines) {
    std::vector<int> places;
    for (int line = 0; line < lines.VertCount(); ++line) places.push_back(lines.VertX(line));
    return places;
}

}  // namespace

void MoveVertCursor(CKymoraView& view, int line, int x) {
    CDatumLines& lines = view.DatumLines();
    if (line < 0 || line >= lines.VertCount()) return;
    if (!lines.IsOnPlotX(x)) {
        view.GetSession().host.Log(offScreenText);
        return;
    }
    const std::vector<int> before = PlacesOf(lines);
    const int shift = x - lines.VertX(line);
    std::vector<std::pair<int, int>> moves{{line, x}};
    std::vector<int> deleted;
    for (int other = 0; view.GetSession().coupledCursors && shift != 0 && other < lines.VertCount();
         ++other) {
        if (other == line) continue;
        const int place = lines.VertX(other) + shift;
        if (lines.IsOnPlotX(place)) {
            moves.emplace_back(other, place);
            continue;
        }
        switch (AskCoupled(view.GetSession())) {
        case CoupledChoice::uncouple:
            break;
        case CoupledChoice::edge:
            moves.emplace_back(other, std::clamp(place, lines.m_rcPlot.left, lines.m_rcPlot.right));
            break;
        case CoupledChoice::abandon:
            return;
        case CoupledChoice::remove:
            deleted.push_back(other);
            break;
        }
    }
    if (PlacesOf(lines) != before) return;  // a script was here while the user was asked
    for (const auto& [moved, place] : moves) lines.MoveVertLine(moved, place);
    for (auto gone = deleted.rbegin(); gone != deleted.rend(); ++gone) lines.DeleteVertLine(*gone);
    view.Invalidate();
}

void MoveHorzCursor(CKymoraView& view, int line, int y) {
    CDatumLines& lines = view.DatumLines();
    if (line < 0 || line >= lines.HorzCount()) return;
    if (!lines.IsOnPlotY(y)) {
        view.GetSession().host.Log(offScreenText);
        return;
    }
    lines.MoveHorzLine(line, y);
    view.Invalidate();
}

std::unique_ptr<MouseDrag> DragDatum(CKymoraView& view, const DatumHit& hit, const MouseEvent& event) {
    if (hit.state == datumMovesVert || hit.state == datumMovesHorz)
        return std::make_unique<LineDrag>(view, hit, event);
    if (hit.state == datumMovesVertLabel || hit.state == datumMovesHorzLabel)
        return std::make_unique<LabelDrag>(view, hit, event);
    return nullptr;
}

}  // namespace kymora
