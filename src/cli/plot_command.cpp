#include <algorithm>
#include <cmath>

#include "cli/command_context.h"
#include "display/plot_recording.h"

namespace kymora {
namespace {

class PlotCommand : public Subcommand {
  public:
    std::string Name() const override { return "plot"; }
    std::string Summary() const override { return "draw a recording into a picture"; }
    std::vector<std::string> Examples() const override {
        return {
            "kymora plot recording.edf -o recording.png",
            "kymora plot recording.kymr-dat -o second.png --from 1000 --to 2000 --width 2000 --height 800",
            "kymora plot recording.kymr-dat -o figure.png --width 800 --height 500 --dpi 300 --no-grid "
            "--white"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording", &file_, true},
                {"-o,--output", "OUT", "the picture: .png, .svg or .pdf", &output_, true},
                {"--from", "MS", "start, ms (the stored viewport)", &from_},
                {"--to", "MS", "end, ms (the stored viewport)", &to_},
                {"--width", "PX", "width, pixels (1600)", &width_},
                {"--height", "PX", "height, pixels (900)", &height_},
                {"--dpi", "N",
                 "resolution of a .png: at N/96 times the pixels all is as large, and finer (96)", &dpi_},
                {"--white", "", "on white paper, whatever the recording's own is", &options_.onWhite},
                {"--no-grid", "", "without the grid", &noGrid_},
                {"--no-events", "", "without the rows of events", &noEvents_},
                {"--no-event-labels", "", "without the labels at events", &noEventLabels_}};
    }
    void Run(SubcommandContext& context) override {
        Validate();
        const auto doc = context.Open(file_);
        if (context.IsOneFile(file_, output_))
            throw CommandError(exitUsage, "OUT is the recording itself; a picture is another file.");
        context.MayReplace(output_);
        PlotRecording(*doc, output_, from_, to_, options_);
    }

  private:
    void Validate() {
        if (!PictureFormatOf(output_))
            throw CommandError(exitUsage, "OUT takes one of the extensions .png, .svg and .pdf.");
        if ((from_ && !std::isfinite(*from_)) || (to_ && !std::isfinite(*to_)) ||
            (to_ && std::max(0.0, from_.value_or(0.0)) >= *to_))
            throw CommandError(exitUsage, "--from and --to take times in ms, the first below the second.");
        constexpr int64_t usualDpi = 96;
        if (dpi_ && PictureFormatOf(output_) != PictureFormat::png)
            throw CommandError(exitUsage, "--dpi is for .png: shapes have no pixels.");
        if (const std::string fault = PictureSizeFault(*width_, *height_, dpi_.value_or(usualDpi));
            !fault.empty())
            throw CommandError(exitUsage, fault);
        options_.width = static_cast<int>(*width_);
        options_.height = static_cast<int>(*height_);
        options_.dpi = static_cast<int>(dpi_.value_or(usualDpi));
        options_.grid = !noGrid_;
        options_.events = !noEvents_;
        options_.eventLabels = !noEventLabels_;
    }

    std::string file_;
    std::string output_;
    std::optional<double> from_;
    std::optional<double> to_;
    std::optional<int64_t> width_ = 1600;
    std::optional<int64_t> height_ = 900;
    std::optional<int64_t> dpi_;
    bool noGrid_ = false, noEvents_ = false, noEventLabels_ = false;
    PictureOptions options_;
};

}  // namespace

std::unique_ptr<Subcommand> MakePlotCommand() { return std::make_unique<PlotCommand>(); }

}  // namespace kymora
