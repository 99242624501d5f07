#include "display/gutter.h"

#include <fmt/format.h>

#include "display/axis_pages.h"
#include "display/events/event_rows.h"
#include "display/events/event_text.h"
#include "display/overlays/overlay_fonts.h"

namespace kymora {

namespace {

// A guess, since the layout is made without a device; what is longer is cut.
constexpr int characterWidth = 7;
constexpr int aroundName = 18;
// Characters for which rows above the traces have the room of the axes, besides that of a count.
constexpr size_t roomBesideRows = 4;
constexpr int widthStep = 8;  // so that not every letter moves the plot
constexpr int mostGutter = 152;
constexpr int narrowWindow = 360;
constexpr int mostShare = 5;     // one part of the window in so many
constexpr int pageTextTop = 25;  // below the plot
constexpr int swatchLeft = 3, swatchRight = 6, nameIndent = 10, nameEnd = 4;

size_t CharactersOf(std::string_view text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// Characters that the name of a row takes of the gutter.
size_t LengthInGutter(const PlotContext& context, int channel) {
    const size_t length = CharactersOf(EventChannelTitle(context, channel));
    const double place = context.doc.eventChannels[static_cast<size_t>(channel)].GetDisplayPosition();
    if (place >= 1.0 - static_cast<double>(context.settings.m_fDataArea)) return length + roomBesideRows;
    return length > roomBesideRows ? length - roomBesideRows : 1;
}

std::string NameOf(const PlotContext& context, int trace) {
    const std::string& label = context.doc.traces[static_cast<size_t>(trace)].traceLabel;
    std::string name = context.settings.m_bShowTraceIDs ? std::to_string(trace + 1) : std::string();
    if (context.settings.m_bShowTraceLabels && !label.empty()) name += (name.empty() ? "" : ": ") + label;
    return name;
}

bool ShowsTraceNames(const PlotContext& context) {
    return context.settings.m_fDataArea > 0.0f &&
           (context.settings.m_bShowTraceLabels || context.settings.m_bShowTraceIDs);
}

// The names beside one band.
class BandNames {
  public:
    BandNames(const PlotContext& context, DrawDevice& device, int slot)
        : context_(context),
          device_(device),
          traces_(context.TracesOn(context.shownAxes[static_cast<size_t>(slot)])),
          lineHeight_(device.TextExtent("0").height) {
        const int top = context.layout.traces.top + context.layout.band * slot;
        const int fitting = std::max(1, context.layout.band / std::max(1, lineHeight_));
        const int names = static_cast<int>(traces_.size());
        shown_ = names <= fitting ? names : std::max(1, fitting - 1);
        hasMore_ = shown_ < names && fitting > 1;
        hasUnits_ = names == 1 && fitting >= 2 && !UnitsOf(traces_[0]).empty();
        const int lines = shown_ + (hasMore_ || hasUnits_ ? 1 : 0);
        top_ = top + (context.layout.band - lines * lineHeight_) / 2;
        bottom_ = top_ + lines * lineHeight_;
    }

    int Top() const { return top_; }
    int Bottom() const { return bottom_; }

    void Paint() const {
        int y = top_;
        for (int i = 0; i < shown_; ++i, y += lineHeight_) PaintName(traces_[static_cast<size_t>(i)], y);
        const uint32_t faint =
            Blend(context_.settings.m_crBackground, InkOn(context_.settings.m_crBackground), 0.65);
        if (hasMore_)
            PaintText(y, "and " + std::to_string(traces_.size() - static_cast<size_t>(shown_)) + " more",
                      faint);
        if (hasUnits_ && !traces_.empty()) PaintText(y, UnitsOf(traces_[0]), faint);
    }

  private:
    const std::string& UnitsOf(int trace) const {
        return context_.doc.traces[static_cast<size_t>(trace)].traceUnits;
    }
    int Room() const { return context_.layout.gutter - nameIndent - nameEnd; }

    void PaintName(int trace, int y) const {
        const uint32_t colour = context_.Seen(context_.doc.traces[static_cast<size_t>(trace)].traceColour);
        std::string name = NameOf(context_, trace);
        const std::string withUnits = name + " (" + UnitsOf(trace) + ")";
        const bool joins = !hasUnits_ && !UnitsOf(trace).empty() && !name.empty();
        if (joins && device_.TextExtent(withUnits).width <= Room()) name = withUnits;
        if (name.empty()) return;
        context_.drawn.traceNames.emplace_back(trace,
                                               PixelRect{0, y, context_.layout.gutter, y + lineHeight_});
        device_.FillRect({swatchLeft, y + 1, swatchRight, y + lineHeight_ - 1}, colour);
        PaintText(y, name, colour);
    }

    void PaintText(int y, const std::string& text, uint32_t colour) const {
        const std::string shown = ElideText(device_, text, Room());
        if (!shown.empty())
            device_.Text(nameIndent, y, shown,
                         {colour, TextStyle::Horizontal::left, TextStyle::Vertical::top});
    }

    const PlotContext& context_;
    DrawDevice& device_;
    std::vector<int> traces_;
    int lineHeight_, shown_ = 0, top_ = 0, bottom_ = 0;
    bool hasMore_ = false, hasUnits_ = false;
};

}  // namespace

int GutterWidth(const PlotContext& context, int windowWidth) {
    if (windowWidth < narrowWindow) return 0;
    size_t longest = 0;
    if (ShowsTraceNames(context))
        for (const int axis : context.shownAxes)
            for (const int trace : context.TracesOn(axis))
                longest = std::max(longest, CharactersOf(NameOf(context, trace)));
    if (context.settings.m_bShowEvents && context.settings.m_bShowEventChanLabels)
        for (int channel = 0; channel < maxEventChannels; ++channel)
            if (HasEventRow(context, channel)) longest = std::max(longest, LengthInGutter(context, channel));
    if (longest == 0) return 0;
    const int wanted = static_cast<int>(std::min<size_t>(longest, mostGutter)) * characterWidth + aroundName;
    const int stepped = (wanted + widthStep - 1) / widthStep * widthStep;
    return std::min({stepped, mostGutter, windowWidth / mostShare});
}

void DrawTraceNames(const PlotContext& context, DrawDevice& device) {
    context.drawn.traceNames.clear();
    if (!ShowsTraceNames(context) || context.layout.gutter <= 0) return;
    if (HasAxisPages(context.settings)) {
        const int first = context.settings.m_nFirstAxis;
        const uint32_t paper = context.settings.m_crBackground;
        device.Text(nameIndent, context.layout.plot.bottom + pageTextTop,
                    ElideText(device,
                              fmt::format("{} to {} of {}", first + 1,
                                          first + static_cast<int>(context.shownAxes.size()),
                                          VisibleAxes(context.settings)),
                              context.layout.plot.left - nameIndent - nameEnd),
                    {Blend(paper, InkOn(paper), 0.65)});
    }
    int taken = -farthestPixel;
    for (size_t slot = 0; slot < context.shownAxes.size(); ++slot) {
        const BandNames names(context, device, static_cast<int>(slot));
        if (names.Top() < taken) continue;
        names.Paint();
        taken = names.Bottom();
    }
}

}  // namespace kymora
