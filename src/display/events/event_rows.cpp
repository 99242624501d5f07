#include "display/events/event_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "display/events/event_columns.h"
#include "display/events/event_text.h"
#include "display/overlays/overlay_fonts.h"
#include "display/trace_drawing.h"

namespace kymora {

namespace {

constexpr int thinReach = 1;  // of the usual bar
constexpr int barReach = 4;   // of the filled bar
constexpr int dotReach = 3;
constexpr int tagReach = 2;   // of a tag's mark to both sides
constexpr int tagHeight = 3;  // of that mark, above the row
constexpr int nameLeft = 4;   // from the window's left
constexpr int nameEnd = 6;    // before the plot, or before the axes
constexpr int namePadding = 3;
constexpr int leastName = 16;
constexpr int nameOverlap = 3;  // of lines, whose letters do not fill them
constexpr int mostName = 90;    // a longer one is cut for the count behind it
constexpr double bandTint = 0.045, bandLine = 0.25, tickShade = 0.4;  // of the ink on the paper
constexpr uint32_t shadeParts = 8;  // a shade is one part of the colour in so many

// Events of one column that are looked at one by one; more of them are drawn by their summary.
constexpr size_t mostSingly = 16;

const CEventChan& ChannelOf(const PlotContext& context, int channel) {
    return context.doc.eventChannels[static_cast<size_t>(channel)];
}

uint32_t Pale(uint32_t colour, uint32_t paper) {
    uint32_t mixed = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t c = colour >> shift & 0xFF, p = paper >> shift & 0xFF;
        mixed |= (c + p * (shadeParts - 1)) / shadeParts << shift;
    }
    return mixed;
}

// What of a channel's events lies on which columns. Events are taken from the right, so that one which starts
// within another lies on top of it.
class RowColumns {
  public:
    RowColumns(const PlotContext& context, int channel)
        : ticks(context.layout.plot.left, context.layout.plot.right),
          bars(ticks),
          ends(ticks),
          tags(ticks),
          context_(context),
          chan_(ChannelOf(context, channel)),
          plot_(context.layout.plot),
          times_(context.GetTimeScale()),
          summary_(context.drawn.eventRows.SummaryOf(chan_, channel)) {
        Collect();
    }

    struct Label {
        int x;
        const CEventKM* event;
    };

    PixelColumns ticks, bars, ends, tags;
    std::vector<Label> labels;  // at most one a column, from the left

    uint32_t ColourOf(const CEventKM& event) const {
        if (event.eventColour != 0) return context_.Seen(event.eventColour);
        return context_.Seen(event.eventTag != 0 ? chan_.channelColourAlt : chan_.channelColour);
    }

  private:
    const CEventKM& At(size_t i) const { return chan_.Events()[i]; }
    int X(int64_t position) const { return times_.ToPixel(context_.doc.TimeOf(position)); }
    // The position at a pixel, or one sample beyond for the right side.
    int64_t PositionAt(int x) const {
        const double position = std::floor(times_.ToTime(x) / context_.doc.sampleInterval);
        return static_cast<int64_t>(std::clamp(position, -1e12, 1e12));
    }

    void Collect() {
        const int64_t from = PositionAt(plot_.left - 1), to = PositionAt(plot_.right + 1) + 2;
        size_t first = chan_.Events().size();
        if (chan_.IsInOrder()) {
            first = summary_.FirstFrom(from);
            for (size_t end = summary_.FirstFrom(to); end > first;) {
                const size_t begin = ColumnStart(first, end);
                AddColumn(begin, end);
                end = begin;
            }
        }
        summary_.ForTouching(0, first, from, to, [this](size_t i) {
            AddSpan(At(i));
            AddMarks(i, i + 1, std::max(X(At(i).onPosition), plot_.left));
        });
        std::sort(labels.begin(), labels.end(), [](const Label& a, const Label& b) { return a.x < b.x; });
    }

    // The first of the events [first, end), which are in order, in the column of the last of them. What
    // starts left of the plot is one column.
    size_t ColumnStart(size_t first, size_t end) const {
        const int column = X(At(end - 1).onPosition);
        if (column < plot_.left) return first;
        return std::max(first, summary_.FirstFrom(FirstPositionIn(column), end));
    }

    // The first position that lies in a column or right of it.
    int64_t FirstPositionIn(int column) const {
        const double leftEdge = times_.ToTime(column) - 0.5 * context_.viewport.Duration() / plot_.Width();
        const double guess = std::ceil(leftEdge / context_.doc.sampleInterval);
        auto position = static_cast<int64_t>(std::clamp(guess, -1e12, 1e12));
        while (X(position) >= column) --position;
        while (X(position) < column) ++position;
        return position;
    }

    // Events [first, end) that start in one column.
    void AddColumn(size_t first, size_t end) {
        const int column = X(At(first).onPosition);
        const size_t tagged = summary_.FirstTagged(first, end);
        const size_t coloured = summary_.FirstColoured(first, end);
        const size_t special = tagged != EventSummary::none ? tagged : coloured;
        ticks.Fill(column, column + 1, ColourOf(At(special != EventSummary::none ? special : first)));
        if (end - first > mostSingly)
            AddSpan(At(summary_.Farthest(first, end)));
        else
            for (size_t i = end; i-- > first;) AddSpan(At(i));
        AddMarks(first, end, column);
    }

    void AddSpan(const CEventKM& event) {
        const int on = X(event.onPosition), off = X(event.offPosition);
        const uint32_t colour = ColourOf(event);
        if (on >= plot_.left) ticks.Fill(on, on + 1, colour);
        if (off > on) bars.Fill(on, off, colour);
        if (off > on) ends.Fill(off, off + 1, colour);
    }

    void AddMarks(size_t first, size_t end, int x) {
        if (x < plot_.left || x >= plot_.right) return;
        if (summary_.FirstTagged(first, end) != EventSummary::none)
            tags.Fill(x - tagReach, x + tagReach + 1, context_.Seen(chan_.channelColourAlt));
        if (!context_.settings.m_bShowEventLabels) return;
        const size_t labelled = summary_.FirstLabelled(first, end);
        if (labelled != EventSummary::none) labels.push_back({x, &At(labelled)});
    }

    const PlotContext& context_;
    const CEventChan& chan_;
    PixelRect plot_;
    TimeScale times_;
    const EventSummary& summary_;
};

class RowPainter {
  public:
    RowPainter(const PlotContext& context, DrawDevice& device, int channel)
        : context_(context),
          device_(device),
          channel_(channel),
          chan_(ChannelOf(context, channel)),
          y_(EventRowY(context, channel)) {}

    void Paint() {
        const RowColumns columns(context_, channel_);
        PaintShape(columns);
        FillRuns(columns.tags, -eventReach - 1 - tagHeight, -eventReach - 1);
        PaintLabels(columns);
    }

  private:
    // Rows from `top` to `bottom`, exclusive, counted from the centre.
    void FillRuns(const PixelColumns& columns, int top, int bottom) {
        columns.ForRuns([&](int from, int to, uint32_t colour) {
            device_.FillRect({from, y_ + top, to, y_ + bottom}, colour);
        });
    }

    void PaintShape(const RowColumns& columns) {
        switch (chan_.channelDrawMode) {
        case shapeTicks:
            return FillRuns(columns.ticks, -eventReach, eventReach + 1);
        case shapeBars:
            FillRuns(columns.ticks, -barReach, barReach + 1);
            return FillRuns(columns.bars, -barReach, barReach + 1);
        case shapeBoxes:
            FillRuns(columns.bars, -eventReach, 1 - eventReach);
            FillRuns(columns.bars, eventReach, eventReach + 1);
            FillRuns(columns.ends, -eventReach, eventReach + 1);
            return FillRuns(columns.ticks, -eventReach, eventReach + 1);
        case shapeDots:
            return PaintDots(columns);
        default:
            FillRuns(columns.bars, -thinReach, thinReach + 1);
            FillRuns(columns.ticks, -eventReach, eventReach + 1);
        }
    }

    // Dots that cover each other become a bar with round ends.
    void PaintDots(const RowColumns& columns) {
        const auto dot = [&](int x, uint32_t colour) {
            device_.FillEllipse({x - dotReach, y_ - dotReach, x + dotReach + 1, y_ + dotReach + 1}, colour);
        };
        columns.ticks.ForRuns([&](int from, int to, uint32_t colour) {
            dot(from, colour);
            if (to - from < 2) return;
            device_.FillRect({from, y_ - dotReach, to, y_ + dotReach + 1}, colour);
            dot(to - 1, colour);
        });
    }

    // Labels stand above their events, or where there is no room above beside them, and where they do not
    // cover the one before.
    void PaintLabels(const RowColumns& columns) {
        const int foot =
            std::max(y_ - eventReach + 1, context_.layout.plot.top + device_.TextExtent("0").height);
        int end = -farthestPixel;
        for (const RowColumns::Label& label : columns.labels) {
            if (label.x < end) continue;
            const std::string_view text = label.event->eventLabel.View();
            end = label.x + device_.TextExtent(text).width + 6;
            const int beside = label.event->eventTag != 0 ? tagReach + 2 : 2;
            RimmedText(
                device_, label.x + beside, foot, text,
                {columns.ColourOf(*label.event), TextStyle::Horizontal::left, TextStyle::Vertical::bottom},
                context_.settings.m_crBackground);
        }
    }

    const PlotContext& context_;
    DrawDevice& device_;
    int channel_;
    const CEventChan& chan_;
    int y_;
};

bool CanDraw(const PlotContext& context) {
    return context.settings.m_bShowEvents && context.layout.plot.Width() > 0 &&
           context.GetTimeScale().IsUsable();
}

PixelRect PlotClip(const PlotContext& context) {
    const PixelRect& plot = context.layout.plot;
    return {plot.left, plot.top, plot.right + 1, plot.bottom + 1};
}

template <typename Use>
void ForRows(const PlotContext& context, Use use) {
    for (int channel = 0; channel < maxEventChannels; ++channel)
        if (HasEventRow(context, channel)) use(channel);
}

struct EventRowPlace {
    int y, channel;
    auto operator<=>(const EventRowPlace&) const = default;
};

std::vector<EventRowPlace> RowsFromTop(const PlotContext& context) {
    std::vector<EventRowPlace> rows;
    ForRows(context, [&](int channel) { rows.push_back({EventRowY(context, channel), channel}); });
    std::sort(rows.begin(), rows.end());
    return rows;
}

}  // namespace

bool HasEventRow(const PlotContext& context, int channel) {
    const CEventChan& chan = ChannelOf(context, channel);
    if (!context.settings.m_bShowEvents || chan.channelVisible == 0) return false;
    return chan.GetNumEvents() > 0 || (context.insertsEvents && channel == context.eventChannel);
}

int EventRowY(const PlotContext& context, int channel) {
    return context.layout.EventRow(ChannelOf(context, channel).GetDisplayPosition());
}

void DrawEventShades(const PlotContext& context, DrawDevice& device) {
    if (!CanDraw(context)) return;
    const PixelRect& plot = context.layout.plot;
    ForRows(context, [&](int channel) {
        if (ChannelOf(context, channel).channelDrawMode != shapeShades) return;
        const RowColumns columns(context, channel);
        const auto fill = [&](int from, int to, uint32_t colour) {
            device.FillRect({from, plot.top, to, plot.bottom}, Pale(colour, context.settings.m_crBackground));
        };
        columns.bars.ForRuns(fill);
        columns.ticks.ForRuns(fill);
    });
}

void DrawEventBand(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    const int end = context.layout.traces.top;
    const std::vector<EventRowPlace> rows = RowsFromTop(context);
    const auto behind =
        std::find_if(rows.begin(), rows.end(), [end](const auto& row) { return row.y >= end; });
    if (plot.Width() <= 0 || behind == rows.begin()) return;
    const uint32_t paper = context.settings.m_crBackground;
    const auto count = static_cast<size_t>(behind - rows.begin());
    int top = plot.top;
    for (size_t i = 0; i < count; ++i) {
        const int bottom = i + 1 < count ? (rows[i].y + rows[i + 1].y) / 2 : end;
        if (i % 2 == 0)
            device.FillRect({plot.left, top, plot.right, bottom}, Blend(paper, InkOn(paper), bandTint));
        top = bottom;
    }
    device.SetPen({Blend(paper, InkOn(paper), bandLine)});
    device.Line(context.layout.gutter, end, plot.right, end);
}

void DrawEventNames(const PlotContext& context, DrawDevice& device) {
    context.drawn.eventRows.names.clear();
    const Layout& layout = context.layout;
    int taken = -farthestPixel;
    for (const auto& [y, channel] : RowsFromTop(context)) {
        const bool isAsked = context.insertsEvents && channel == context.eventChannel;
        if (!context.settings.m_bShowEventChanLabels && !isAsked) continue;
        const CEventChan& chan = ChannelOf(context, channel);
        const int right = (y < layout.traces.top ? layout.plot.left : layout.gutter) - nameEnd;
        const int height = device.TextExtent("0").height;
        const PixelRect box{nameLeft, y - height / 2, right, y - height / 2 + height};
        if (box.top + nameOverlap < taken || box.Width() < leastName) continue;
        taken = box.bottom;
        context.drawn.eventRows.names[channel] = box;
        const uint32_t paper = context.settings.m_crBackground;
        const std::string count = fmt::format("{}", chan.GetNumEvents());
        const int countWidth = device.TextExtent(count).width + nameLeft + namePadding;
        const std::string title = EventChannelTitle(context, channel);
        const bool showsCount =
            box.Width() - countWidth >= std::min(device.TextExtent(title).width, mostName);
        device.Text(nameLeft + namePadding, box.top,
                    ElideText(device, title, box.Width() - namePadding - (showsCount ? countWidth : 0)),
                    {context.Seen(chan.channelColour)});
        if (showsCount)
            device.Text(right - namePadding, box.top, count,
                        {Blend(paper, InkOn(paper), 0.65), TextStyle::Horizontal::right});
    }
}

void DrawEventTicks(const PlotContext& context, DrawDevice& device) {
    if (!CanDraw(context) || !context.settings.m_bEventTicks) return;
    ForRows(context, [&](int channel) {
        const int trace = ChannelOf(context, channel).parentTrace;
        if (trace < 0 || trace >= context.doc.traceCount || !context.IsTraceShown(trace)) return;
        const PixelRect band = context.BandOf(context.AxisOf(trace));
        RowColumns(context, channel).ticks.ForRuns([&](int from, int to, uint32_t colour) {
            device.FillRect({from, band.top, to, band.bottom},
                            Blend(context.settings.m_crBackground, colour, tickShade));
        });
    });
}

void DrawEventRows(const PlotContext& context, DrawDevice& device) {
    if (!CanDraw(context)) return;
    device.SetClip(PlotClip(context));
    ForRows(context, [&](int channel) { RowPainter(context, device, channel).Paint(); });
    device.ClearClip();
}

void DrawSelectedChannel(const PlotContext& context, DrawDevice& device) {
    const int channel = context.eventChannel;
    if (!HasEventRow(context, channel)) return;
    const auto& names = context.drawn.eventRows.names;
    if (!names.contains(channel)) return;
    device.SetPen({context.Seen(ChannelOf(context, channel).channelColour), 1, Pen::Style::solid});
    device.Frame(names.at(channel));
}

}  // namespace kymora
