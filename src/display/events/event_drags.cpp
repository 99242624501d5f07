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

std::string ChannelText(const CKymoraView& view, int channel) {
    return "Channel " + EventChannelText(view.GetSession(), channel);
}

std::string StretchText(const CKymoraView& view, int channel, EventStretch stretch) {
    return fmt::format("{}: {} to {}, duration {}", ChannelText(view, channel),
                       PositionText(view, stretch.from), PositionText(view, stretch.to),
                       PositionText(view, stretch.to - stretch.from));
}

int X(const CKymoraView& view, int64_t position) {
    return view.TimeToPixel(view.GetDocument().TimeOf(position));
}

void ClipToPlot(const CKymoraView& view, DrawDevice& device) {
    const PixelRect& plot = view.GetLayout().plot;
    device.SetClip({plot.left, plot.top, plot.right + 1, plot.bottom + 1});
}

// An outline in the row and lines through the traces, so that the hand can be led by the samples.
void DrawStretch(const CKymoraView& view, DrawDevice& device, int channel, EventStretch stretch,
                 bool throughTraces) {
    ClipToPlot(view, device);
    const PixelRect& plot = view.GetLayout().plot;
    const int on = X(view, stretch.from), off = X(view, stretch.to), y = EventRowY(view, channel);
    const uint32_t colour = EventChannel(view, channel).channelColour;
    device.SetPen({colour, 1, Pen::Style::solid});
    const Point box[] = {{on, y - ghostReach},
                         {off, y - ghostReach},
                         {off, y + ghostReach},
                         {on, y + ghostReach},
                         {on, y - ghostReach}};
    device.Polyline(box);
    if (throughTraces) {
        device.SetPen({colour, 1, Pen::Style::dashed});
        device.Line(on, plot.top, on, plot.bottom);
        device.Line(off, plot.top, off, plot.bottom);
    }
    device.ClearClip();
}

EventStretch StretchOf(const CEventKM& event) { return {event.onPosition, event.offPosition}; }

// --- rows ---

class RowDrag : public MouseDrag {
  public:
    RowDrag(const CKymoraView& view, int channel, int pressY)
        : channel_(channel),
          grip_(pressY - EventRowY(view, channel)),
          pressY_(pressY),
          before_(EventChannel(view, channel).GetDisplayPosition()) {}

    void Move(CKymoraView& view, const MouseEvent& event) override {
        const PixelRect& plot = view.GetLayout().plot;
        if (plot.Height() <= 0 || (!moved_ && event.y == pressY_)) return;
        moved_ = true;
        const double fraction = static_cast<double>(event.y - grip_ - plot.top) / plot.Height();
        EventChannel(view, channel_)
            .SetDisplayPosition(std::clamp(fraction, leastDisplayPosition, greatestDisplayPosition));
        ShowStatus(view, fmt::format("{}: {:.0f}% of the height", ChannelText(view, channel_),
                                     100.0 * EventChannel(view, channel_).GetDisplayPosition()));
    }
    void Release(CKymoraView& view, const MouseEvent&) override {
        const double after = EventChannel(view, channel_).GetDisplayPosition();
        Cancel(view);
        if (moved_)
            ChangeChannel(
                view, channel_, [after](CEventChan& chan) { chan.SetDisplayPosition(after); },
                "Move event channel");
    }
    void Cancel(CKymoraView& view) override {
        if (moved_) EventChannel(view, channel_).SetDisplayPosition(before_);
        ShowEventModeStatus(view);
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
        if (moved_) ShowStatus(view, Status(view));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Move(view, event);
        ShowEventModeStatus(view);
        Finish(view);
    }
    void Cancel(CKymoraView& view) override { ShowEventModeStatus(view); }
    CursorShape Shape() const override { return CursorShape::horizontal; }

  protected:
    virtual std::string Status(const CKymoraView& view) const = 0;
    virtual void Finish(CKymoraView& view) = 0;
    // By how many samples the mouse has moved.
    int64_t Shift(const CKymoraView& view) const {
        return view.GetDocument().PositionOf(view.PixelToTime(at_.x) - view.PixelToTime(press_.x));
    }
    EventStretch Between(const CKymoraView& view) const { return StretchBetween(view, press_.x, at_.x); }

    int channel_;
    MouseEvent press_, at_;
    bool moved_ = false;
};

class EdgeDrag : public EventDrag {
  public:
    EdgeDrag(const EventHit& edge, const MouseEvent& press, std::string_view name)
        : EventDrag(edge.channel, press), edge_(edge), name_(name) {}

    void Draw(const CKymoraView& view, DrawDevice& device) const override {
        if (moved_) DrawStretch(view, device, channel_, Result(view), true);
    }

  protected:
    std::string Status(const CKymoraView& view) const override {
        return StretchText(view, channel_, Result(view));
    }
    void Finish(CKymoraView& view) override {
        if (moved_) StretchEvent(view, edge_, Sample(view), name_);
    }

  private:
    int64_t Sample(const CKymoraView& view) const {
        const CEventKM* event = view.GetDocument().GetEvent(edge_.channel, edge_.index);
        if (!event) return 0;
        const int64_t edge = edge_.part == EventPart::onset ? event->onPosition : event->offPosition;
        return edge + Shift(view);
    }
    EventStretch Result(const CKymoraView& view) const {
        const CEventKM* event = view.GetDocument().GetEvent(edge_.channel, edge_.index);
        return event ? StretchOf(StretchedEvent(view, *event, edge_.part, Sample(view))) : EventStretch();
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

    void Draw(const CKymoraView& view, DrawDevice& device) const override {
        if (!moved_ || !AreThere(view)) return;
        const int64_t shift = HeldShift(view, channel_, indices_, Shift(view));
        if (indices_.size() == 1) return DrawStretch(view, device, channel_, Moved(view, shift), true);
        DrawGroup(view, device, shift);
    }
    CursorShape Shape() const override { return CursorShape::grabbed; }

  protected:
    std::string Status(const CKymoraView& view) const override {
        if (!AreThere(view)) return {};
        const int64_t shift = HeldShift(view, channel_, indices_, Shift(view));
        if (indices_.size() == 1) return StretchText(view, channel_, Moved(view, shift));
        return fmt::format("{}: {} moved by {}", ChannelText(view, channel_),
                           CountText(static_cast<int64_t>(indices_.size())), PositionText(view, shift));
    }
    void Finish(CKymoraView& view) override {
        if (!moved_ || !AreThere(view)) return;
        const int64_t shift = HeldShift(view, channel_, indices_, Shift(view));
        if (!MoveEvents(view, channel_, indices_, shift, name_)) return;
        if (!withSelection_ || !view.m_selection) return;
        const double time = view.GetDocument().TimeOf(shift);
        view.Select(Viewport{view.m_selection->start + time, view.m_selection->end + time});
    }

  private:
    // A script may have deleted events during the drag.
    bool AreThere(const CKymoraView& view) const {
        return indices_.back() < EventChannel(view, channel_).GetNumEvents();
    }
    EventStretch Moved(const CKymoraView& view, int64_t shift) const {
        const CEventKM* event = view.GetDocument().GetEvent(channel_, indices_.front());
        return event ? EventStretch{event->onPosition + shift, event->offPosition + shift} : EventStretch();
    }
    void DrawGroup(const CKymoraView& view, DrawDevice& device, int64_t shift) const {
        const PixelRect& plot = view.GetLayout().plot;
        const CEventChan& chan = EventChannel(view, channel_);
        PixelColumns columns(plot.left, plot.right);
        for (const int i : indices_) {
            const CEventKM& event = chan.Events()[static_cast<size_t>(i)];
            const int on = X(view, event.onPosition + shift);
            columns.Fill(on, std::max(on + 1, X(view, event.offPosition + shift)), chan.channelColour);
        }
        ClipToPlot(view, device);
        const int y = EventRowY(view, channel_);
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

    void Draw(const CKymoraView& view, DrawDevice& device) const override {
        if (!IsClick()) DrawStretch(view, device, channel_, Between(view), false);
    }

  protected:
    std::string Status(const CKymoraView& view) const override {
        return StretchText(view, channel_, Between(view)) + ", " +
               CountText(static_cast<int64_t>(Chosen(view).size()));
    }
    void Finish(CKymoraView& view) override {
        const std::vector<int> chosen = Chosen(view);
        if (!chosen.empty()) act_(view, channel_, chosen);
    }

  private:
    bool IsClick() const { return std::abs(at_.x - press_.x) <= clickSlack; }
    std::vector<int> Chosen(const CKymoraView& view) const {
        if (!IsClick()) return EventsTouching(view, channel_, Between(view));
        const auto hit = EventAt(view, press_.x, press_.y);
        return hit && hit->channel == channel_ ? std::vector<int>{hit->index} : std::vector<int>();
    }

    EventAction act_;
};

class SelectionDrag : public EventDrag {
  public:
    SelectionDrag(const CKymoraView& view, int channel, const MouseEvent& press)
        : EventDrag(channel, press), before_(view.m_selection) {}

    void Move(CKymoraView& view, const MouseEvent& event) override {
        EventDrag::Move(view, event);
        if (moved_) view.Select(Selected(view));
    }
    void Cancel(CKymoraView& view) override {
        view.Select(before_);
        EventDrag::Cancel(view);
    }

  protected:
    std::string Status(const CKymoraView& view) const override {
        const auto count = EventsStartingIn(view, channel_, Between(view)).size();
        return StretchText(view, channel_, Between(view)) + ", " + CountText(static_cast<int64_t>(count));
    }
    void Finish(CKymoraView& view) override {
        if (!moved_) view.Select({});
    }

  private:
    Viewport Selected(const CKymoraView& view) const {
        const EventStretch stretch = Between(view);
        return {view.GetDocument().TimeOf(stretch.from), view.GetDocument().TimeOf(stretch.to)};
    }

    std::optional<Viewport> before_;
};

class NewEventDrag : public EventDrag {
  public:
    NewEventDrag(int channel, const MouseEvent& press, std::string_view name)
        : EventDrag(channel, press), name_(name) {}

    void Draw(const CKymoraView& view, DrawDevice& device) const override {
        DrawStretch(view, device, channel_, Between(view), true);
    }

  protected:
    std::string Status(const CKymoraView& view) const override {
        return StretchText(view, channel_, Between(view));
    }
    void Finish(CKymoraView& view) override {
        const int64_t length = view.GetDocument().GetLength();
        EventStretch stretch = Between(view);
        stretch.from = std::min(stretch.from, length - 1);
        stretch.to = std::min(stretch.to, length);
        InsertEvents(view, channel_, std::span(&stretch, 1), name_);
    }

  private:
    std::string_view name_;
};

}  // namespace

void ShowEventModeStatus(CKymoraView& view) {
    if (!view.Window()) return;
    std::string_view status;
    for (const MouseMode& mode : EventModes())
        if (mode.mode == view.m_nMouseMode) status = mode.status;
    view.Window()->ShowStatus(status);
}

std::unique_ptr<MouseDrag> DragEventRow(const CKymoraView& view, int channel, const MouseEvent& press) {
    return std::make_unique<RowDrag>(view, channel, press.y);
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

std::unique_ptr<MouseDrag> DragEventSelection(const CKymoraView& view, int channel, const MouseEvent& press) {
    return std::make_unique<SelectionDrag>(view, channel, press);
}

std::unique_ptr<MouseDrag> DragNewEvent(int channel, const MouseEvent& press, std::string_view name) {
    return std::make_unique<NewEventDrag>(channel, press, name);
}

}  // namespace kymora
