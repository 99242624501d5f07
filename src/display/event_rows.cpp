#include "display/event_rows.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "display/trace_drawing.h"

namespace kymora {

namespace {

constexpr int tickReach = 5;  // pixels above and below the row
constexpr int barReach = 1;
constexpr int nameLeft = 4;  // from the plot's left

// The colours of the pixel columns of a row. A column keeps the colour that it was given first, and filling a
// column again costs nothing, however many events lie on it.
class Columns {
  public:
    Columns(int left, int right) : left_(left), colours_(static_cast<size_t>(std::max(0, right - left))) {
        next_.resize(colours_.size() + 1);
        std::iota(next_.begin(), next_.end(), size_t{0});
    }

    void Fill(int from, int to, uint32_t colour) {
        const auto width = static_cast<int>(colours_.size());
        const auto end = static_cast<size_t>(std::clamp(to - left_, 0, width));
        for (size_t c = Free(static_cast<size_t>(std::clamp(from - left_, 0, width))); c < end; c = Free(c)) {
            colours_[c] = colour;
            next_[c] = c + 1;
        }
    }

    void Draw(DrawDevice& device, int top, int bottom) {
        for (size_t c = 0; c < colours_.size();) {
            if (next_[c] == c) {
                ++c;
                continue;
            }
            const size_t from = c;
            while (c < colours_.size() && next_[c] != c && colours_[c] == colours_[from]) ++c;
            device.FillRect({left_ + static_cast<int>(from), top, left_ + static_cast<int>(c), bottom},
                            colours_[from]);
        }
    }

  private:
    // The first column from `c` on that has no colour yet.
    size_t Free(size_t c) {
        size_t free = c;
        while (next_[free] != free) free = next_[free];
        while (next_[c] != free && next_[c] != c) c = std::exchange(next_[c], free);
        return free;
    }

    int left_;
    std::vector<uint32_t> colours_;
    std::vector<size_t> next_;  // of a free column itself, of a filled one a column further on
};

class RowPainter {
  public:
    RowPainter(const CKymoraView& view, DrawDevice& device, int channel)
        : view_(view),
          device_(device),
          channel_(channel),
          chan_(view.GetDocument().eventChannels[static_cast<size_t>(channel)]),
          plot_(view.GetLayout().plot),
          times_(view.GetTimeScale()),
          ticks_(plot_.left, plot_.right),
          bars_(plot_.left, plot_.right),
          y_(view.GetLayout().EventRow(chan_.GetDisplayPosition())) {}

    void Paint() {
        FindRange();
        for (size_t i = first_; i < end_; i = Next(i)) Add(chan_.Events()[i]);
        bars_.Draw(device_, y_ - barReach, y_ + barReach + 1);
        ticks_.Draw(device_, y_ - tickReach, y_ + tickReach + 1);
        for (const Label& label : labels_)
            RimmedText(device_, label.x, y_ - tickReach + 1, label.text,
                       {chan_.channelColour, TextStyle::Horizontal::left, TextStyle::Vertical::bottom},
                       paperColour);
        if (view_.m_bShowEventChanLabels) PaintName();
    }

  private:
    struct Label {
        int x;
        std::string_view text;
    };

    int X(int64_t position) const { return times_.ToPixel(view_.GetDocument().TimeOf(position)); }

    // The events that may touch the viewport; all of them where their order is not known.
    void FindRange() {
        const auto& events = chan_.Events();
        end_ = events.size();
        if (!chan_.IsInOrder()) return;
        const double interval = view_.GetDocument().sampleInterval;
        const int64_t from =
            int64_t{RoundHalfAway(view_.m_StartTime / interval)} - view_.LongestEvent(channel_) - 1;
        const int64_t to = int64_t{RoundHalfAway(view_.m_EndTime / interval)} + 1;
        const auto startsBefore = [](const CEventKM& event, int64_t position) {
            return event.onPosition < position;
        };
        const auto begin = events.begin();
        first_ = static_cast<size_t>(std::lower_bound(begin, events.end(), from, startsBefore) - begin);
        end_ = static_cast<size_t>(std::lower_bound(begin, events.end(), to + 1, startsBefore) - begin);
        const bool crowded = end_ - first_ > 4 * static_cast<size_t>(std::max(1, plot_.Width()));
        const double longestMs = view_.GetDocument().TimeOf(view_.LongestEvent(channel_));
        leap_ = crowded && longestMs * plot_.Width() < view_.GetViewport().Duration();
    }

    // The next event, or the next one in another column where events are narrower than that.
    size_t Next(size_t i) const {
        if (!leap_) return i + 1;
        const auto& events = chan_.Events();
        const int column = X(events[i].onPosition);
        const auto behind =
            std::partition_point(events.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                                 events.begin() + static_cast<std::ptrdiff_t>(end_),
                                 [&](const CEventKM& event) { return X(event.onPosition) <= column; });
        return static_cast<size_t>(behind - events.begin());
    }

    void Add(const CEventKM& event) {
        const int on = X(event.onPosition), off = X(event.offPosition);
        if (off < plot_.left || on >= plot_.right) return;
        const uint32_t colour = event.eventColour != 0 ? event.eventColour : chan_.channelColour;
        if (on >= plot_.left) ticks_.Fill(on, on + 1, colour);
        if (off > on) bars_.Fill(on, off, colour);
        if (view_.m_bShowEventLabels && !event.eventLabel.empty()) AddLabel(std::max(on, plot_.left), event);
    }

    // Labels stand where they do not cover the one before.
    void AddLabel(int x, const CEventKM& event) {
        if (x < labelsEnd_) return;
        const std::string_view text = event.eventLabel.View();
        labelsEnd_ = x + device_.TextExtent(text).width + 6;
        labels_.push_back({x + 2, text});
    }

    void PaintName() const {
        std::string name = ChannelName(channel_);
        if (!chan_.channelLabel.empty()) name += ": " + chan_.channelLabel;
        name = ElideText(device_, name, plot_.Width() / 3);
        RimmedText(device_, plot_.left + nameLeft, y_, name,
                   {chan_.channelColour, TextStyle::Horizontal::left, TextStyle::Vertical::centre},
                   paperColour);
    }

    const CKymoraView& view_;
    DrawDevice& device_;
    int channel_;
    const CEventChan& chan_;
    PixelRect plot_;
    TimeScale times_;
    Columns ticks_, bars_;
    int y_;
    size_t first_ = 0, end_ = 0;
    bool leap_ = false;
    std::vector<Label> labels_;
    int labelsEnd_ = -farthestPixel;
};

}  // namespace

void DrawEventRows(const CKymoraView& view, DrawDevice& device) {
    const PixelRect& plot = view.GetLayout().plot;
    if (!view.m_bShowEvents || plot.Width() <= 0 || !view.GetTimeScale().IsUsable()) return;
    device.SetClip({plot.left, plot.top, plot.right + 1, plot.bottom + 1});
    const auto& channels = view.GetDocument().eventChannels;
    for (int channel = 0; channel < static_cast<int>(channels.size()); ++channel) {
        const CEventChan& chan = channels[static_cast<size_t>(channel)];
        if (chan.channelVisible != 0 && chan.GetNumEvents() > 0) RowPainter(view, device, channel).Paint();
    }
    device.ClearClip();
}

}  // namespace kymora
