#include "display/events/event_drags.h"

#include <cstdlib>

#include <fmt/format.h>

#include "display/events/event_columns.h"
#include "display/events/event_editing.h"
#include "display/events/event_rows.h"
#include "display/events/event_text.h"

namespace kymora {

namespace {

constexpr int clickSlack = 2;  // pixels that the hand may tremble in a click
constexpr int ghostReach = eventReach + 3;

void ShowStatus(const CKymoraView& view, std::string_view text) {
    if (view.Window()) view.Window()->ShowStatus(text);
}

std::string ChannelText(const PlotContext& context, int channel) {
    return "Channel " + EventChannelText(context.GetSession(), channel);
}

std::string StretchText(const PlotContext& context, int channel, RowStretch stretch) {
    return fmt::format("{}: {} to {}, duration {}", ChannelText(context, channel),
                       PositionText(context, stretch.from), PositionText(context, stretch.to),
                       PositionText(context, stretch.to - stretch.from));
}

int X(const PlotContext& context, int64_t position) {
    return context.TimeToPixel(context.doc.TimeOf(position));
}

void ClipToPlot(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    device.SetClip({plot.left, plot.top, plot.right + 1, plot.bottom + 1});
}

// An outline in the row and lines through the traces, so that the hand can be led by the samples.
void DrawStretch(const PlotContext& context, DrawDevice& device, int channel, RowStretch stretch,
                 bool throughTraces) {
    ClipToPlot(context, device);
    const PixelRect& plot = context.layout.plot;
    const int on = X(context, stretch.from), off = X(context, stretch.to), y = EventRowY(context, channel);
    const uint32_t colour = EventChannel(context.doc, channel).channelColour;
    device.SetPen({colour, 1, Pen::Style::solid});
    device.Frame({on, y - ghostReach, off, y + ghostReach});
    if (throughTraces) {
        device.SetPen({colour, 1, Pen::Style::dashed});
        device.Line(on, plot.top, on, plot.bottom);
        device.Line(off, plot.top, off, plot.bottom);
    }
    device.ClearClip();
}

RowStretch StretchOf(const CEventKM& event) { return {event.onPosition, event.offPosition}; }

// --- rows ---

class RowDrag : public MouseDrag {
  public:
    RowDrag(const PlotContext& context, int channel, int pressY)
        : channel_(channel),
          grip_(pressY - EventRowY(context, channel)),
          pressY_(pressY),
          before_(EventChannel(context.doc, channel).GetDisplayPosition()) {}

    void Move(CKymoraView& view, const MouseEvent& event) override {
        const PixelRect plot = view.Plot().layout.plot;
        if (plot.Height() <= 0 || (!moved_ && event.y == pressY_)) return;
        moved_ = true;
        const double fraction = static_cast<double>(event.y - grip_ - plot.top) / plot.Height();
        EventChannel(view.GetDocument(), channel_)
            .SetDisplayPosition(std::clamp(fraction, leastDisplayPosition, greatestDisplayPosition));
        ShowStatus(view,
                   fmt::format("{}: {:.0f}% of the height", ChannelText(view.Plot(), channel_),
                               100.0 * EventChannel(view.GetDocument(), channel_).GetDisplayPosition()));
    }
    void Release(CKymoraView& view, const MouseEvent&) override {
        const double after = EventChannel(view.GetDocument(), channel_).GetDisplayPosition();
        Cancel(view);
        if (moved_)
            ChangeChannel(
                view, channel_, [after](CEventChan& chan) { chan.SetDisplayPosition(after); },
                "Move event channel");
    }
    void Cancel(CKymoraView& view) override {
        if (moved_) EventChannel(view.GetDocument(), channel_).SetDisplayPosition(before_);
        view.Mouse().ShowMode();
    }
    CursorShape Shape() const override { return CursorShape::vertical; }

  private:
    int channel_, grip_, pressY_;
    double before_;
    bool moved_ = false;
};

// --- events ---

// A drag that shows what the release would do.
class EventDrag : public MouseDrag {
  public:
    EventDrag(int channel, const MouseEvent& press) : channel_(channel), press_(press), at_(press) {}

    void Move(CKymoraView& view, const MouseEvent& event) override {
        at_ = event;
        moved_ = moved_ || event.x != press_.x;
        if (moved_) ShowStatus(view, Status(view.Plot()));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Move(view, event);
        view.Mouse().ShowMode();
        Finish(view);
    }
    void Cancel(CKymoraView& view) override { view.Mouse().ShowMode(); }
    CursorShape Shape() const override { return CursorShape::horizontal; }

  protected:
    virtual std::string Status(const PlotContext& context) const = 0;
    virtual void Finish(CKymoraView& view) = 0;
    // By how many samples the mouse has moved.
    int64_t Shift(const PlotContext& context) const {
        return context.doc.PositionOf(context.PixelToTime(at_.x) - context.PixelToTime(press_.x));
    }
    RowStretch Between(const PlotContext& context) const { return StretchBetween(context, press_.x, at_.x); }

    int channel_;
    MouseEvent press_, at_;
    bool moved_ = false;
};

class EdgeDrag : public EventDrag {
  public:
    EdgeDrag(const EventHit& edge, const MouseEvent& press, std::string_view name)
        : EventDrag(edge.channel, press), edge_(edge), name_(name) {}

    void Draw(const PlotContext& context, DrawDevice& device) const override {
        if (moved_) DrawStretch(context, device, channel_, Result(context), true);
    }

  protected:
    std::string Status(const PlotContext& context) const override {
        return StretchText(context, channel_, Result(context));
    }
    void Finish(CKymoraView& view) override {
        if (moved_) StretchEvent(view, edge_, Sample(view.Plot()), name_);
    }

  private:
    int64_t Sample(const PlotContext& context) const {
        const CEventKM* event = context.doc.GetEvent(edge_.channel, edge_.index);
        if (!event) return 0;
        const int64_t edge = edge_.part == EventPart::onset ? event->onPosition : event->offPosition;
        return edge + Shift(context);
    }
    RowStretch Result(const PlotContext& context) const {
        const CEventKM* event = context.doc.GetEvent(edge_.channel, edge_.index);
        return event ? StretchOf(StretchedEvent(context.doc, *event, edge_.part, Sample(context)))
                     : RowStretch();
    }

    EventHit edge_;
    std::string_view name_;
};

class MoveDrag : public EventDrag {
  public:
    MoveDrag(int channel, std::vector<int> indices, const MouseEvent& press, bool withSelection,
             std::string_view name)
        : EventDrag(channel, press),
          indices_(std::move(indices)),
          withSelection_(withSelection),
          name_(name) {}

    void Draw(const PlotContext& context, DrawDevice& device) const override {
        if (!moved_ || !AreThere(context)) return;
        const int64_t shift = HeldShift(context.doc, channel_, indices_, Shift(context));
        if (indices_.size() == 1) return DrawStretch(context, device, channel_, Moved(context, shift), true);
        DrawGroup(context, device, shift);
    }
    CursorShape Shape() const override { return CursorShape::grabbed; }

  protected:
    std::string Status(const PlotContext& context) const override {
        if (!AreThere(context)) return {};
        const int64_t shift = HeldShift(context.doc, channel_, indices_, Shift(context));
        if (indices_.size() == 1) return StretchText(context, channel_, Moved(context, shift));
        return fmt::format("{}: {} moved by {}", ChannelText(context, channel_),
                           CountText(static_cast<int64_t>(indices_.size())), PositionText(context, shift));
    }
    void Finish(CKymoraView& view) override {
        if (!moved_ || !AreThere(view.Plot())) return;
        const int64_t shift = HeldShift(view.GetDocument(), channel_, indices_, Shift(view.Plot()));
        if (!MoveEvents(view, channel_, indices_, shift, name_)) return;
        if (!withSelection_ || !view.m_selection) return;
        const double time = view.GetDocument().TimeOf(shift);
        view.Select(Viewport{view.m_selection->start + time, view.m_selection->end + time});
    }

  private:
    // A script may have deleted events during the drag.
    bool AreThere(const PlotContext& context) const {
        return indices_.back() < EventChannel(context.doc, channel_).GetNumEvents();
    }
    RowStretch Moved(const PlotContext& context, int64_t shift) const {
        const CEventKM* event = context.doc.GetEvent(channel_, indices_.front());
        return event ? RowStretch{event->onPosition + shift, event->offPosition + shift} : RowStretch();
    }
    void DrawGroup(const PlotContext& context, DrawDevice& device, int64_t shift) const {
        const PixelRect& plot = context.layout.plot;
        const CEventChan& chan = EventChannel(context.doc, channel_);
        PixelColumns columns(plot.left, plot.right);
        for (const int i : indices_) {
            const CEventKM& event = chan.Events()[static_cast<size_t>(i)];
            const int on = X(context, event.onPosition + shift);
            columns.Fill(on, std::max(on + 1, X(context, event.offPosition + shift)), chan.channelColour);
        }
        ClipToPlot(context, device);
        const int y = EventRowY(context, channel_);
        columns.ForRuns([&](int from, int to, uint32_t colour) {
            device.FillRect({from, y + eventReach + 1, to, y + ghostReach + 1}, colour);
        });
        device.ClearClip();
    }

    std::vector<int> indices_;
    bool withSelection_;
    std::string_view name_;
};

class OverDrag : public EventDrag {
  public:
    OverDrag(int channel, const MouseEvent& press, EventAction act) : EventDrag(channel, press), act_(act) {}

    void Draw(const PlotContext& context, DrawDevice& device) const override {
        if (!IsClick()) DrawStretch(context, device, channel_, Between(context), false);
    }

  protected:
    std::string Status(const PlotContext& context) const override {
        return StretchText(context, channel_, Between(context)) + ", " +
               CountText(static_cast<int64_t>(Chosen(context).size()));
    }
    void Finish(CKymoraView& view) override {
        const std::vector<int> chosen = Chosen(view.Plot());
        if (!chosen.empty()) act_(view, channel_, chosen);
    }

  private:
    bool IsClick() const { return std::abs(at_.x - press_.x) <= clickSlack; }
    std::vector<int> Chosen(const PlotContext& context) const {
        if (!IsClick()) return EventsTouching(context, channel_, Between(context));
        const auto hit = EventAt(context, press_.x, press_.y);
        return hit && hit->channel == channel_ ? std::vector<int>{hit->index} : std::vector<int>();
    }

    EventAction act_;
};

class SelectionDrag : public EventDrag {
  public:
    SelectionDrag(const PlotContext& context, int channel, const MouseEvent& press)
        : EventDrag(channel, press), before_(context.selection) {}

    void Move(CKymoraView& view, const MouseEvent& event) override {
        EventDrag::Move(view, event);
        if (moved_) view.Select(Selected(view.Plot()));
    }
    void Cancel(CKymoraView& view) override {
        view.Select(before_);
        EventDrag::Cancel(view);
    }

  protected:
    std::string Status(const PlotContext& context) const override {
        const auto count = EventsStartingIn(context, channel_, Between(context)).size();
        return StretchText(context, channel_, Between(context)) + ", " +
               CountText(static_cast<int64_t>(count));
    }
    void Finish(CKymoraView& view) override {
        if (!moved_) view.Select({});
    }

  private:
    Viewport Selected(const PlotContext& context) const {
        const RowStretch stretch = Between(context);
        return {context.doc.TimeOf(stretch.from), context.doc.TimeOf(stretch.to)};
    }

    std::optional<Viewport> before_;
};

class NewEventDrag : public EventDrag {
  public:
    NewEventDrag(int channel, const MouseEvent& press, std::string_view name)
        : EventDrag(channel, press), name_(name) {}

    void Draw(const PlotContext& context, DrawDevice& device) const override {
        DrawStretch(context, device, channel_, Between(context), true);
    }

  protected:
    std::string Status(const PlotContext& context) const override {
        return StretchText(context, channel_, Between(context));
    }
    void Finish(CKymoraView& view) override {
        const int64_t length = view.GetDocument().GetLength();
        RowStretch stretch = Between(view.Plot());
        stretch.from = std::min(stretch.from, length - 1);
        stretch.to = std::min(stretch.to, length);
        InsertEvents(view, channel_, std::span(&stretch, 1), name_);
    }

  private:
    std::string_view name_;
};

}  // namespace

std::unique_ptr<MouseDrag> DragEventRow(const PlotContext& context, int channel, const MouseEvent& press) {
    return std::make_unique<RowDrag>(context, channel, press.y);
}

std::unique_ptr<MouseDrag> DragEventEdge(const EventHit& edge, const MouseEvent& press,
                                         std::string_view name) {
    return std::make_unique<EdgeDrag>(edge, press, name);
}

std::unique_ptr<MouseDrag> DragEvents(int channel, std::vector<int> indices, const MouseEvent& press,
                                      bool withSelection, std::string_view name) {
    return std::make_unique<MoveDrag>(channel, std::move(indices), press, withSelection, name);
}

std::unique_ptr<MouseDrag> DragOverEvents(int channel, const MouseEvent& press, EventAction act) {
    return std::make_unique<OverDrag>(channel, press, act);
}

std::unique_ptr<MouseDrag> DragEventSelection(const PlotContext& context, int channel,
                                              const MouseEvent& press) {
    return std::make_unique<SelectionDrag>(context, channel, press);
}

std::unique_ptr<MouseDrag> DragNewEvent(int channel, const MouseEvent& press, std::string_view name) {
    return std::make_unique<NewEventDrag>(channel, press, name);
}

}  // namespace kymora
