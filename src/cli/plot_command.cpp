#include <algorithm>
#include <cmath>

#include "cli/command_context.h"
#include "display/plot_recording.h"
#include "operations/config_file.h"
#include "operations/graphics_file_format.h"

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
            "--white",
            "kymora plot recording.kymr-dat -o figure.eps --target-width 86 --resolution 1200"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording", &file_, true},
                {"-o,--output", "OUT",
                 "the picture: .png or .pdf, or a vector file of every sample: .eps, .svg, .plt", &output_,
                 true},
                {"--from", "MS", "start, ms (the stored viewport)", &from_},
                {"--to", "MS", "end, ms (the stored viewport)", &to_},
                {"--width", "PX", "width, pixels (1600)", &width_},
                {"--height", "PX", "height, pixels (900)", &height_},
                {"--dpi", "N",
                 "resolution of a .png: at N/96 times the pixels all is as large, and finer (96)", &dpi_},
                {"--target-width", "MM", "width in print of the plot in a .eps, .svg or .plt, mm (152.4)",
                 &targetWidth_},
                {"--resolution", "DPI", "units of an inch of that width (600)", &resolution_},
                {"--config", "FILE",
                 "the width and the resolution that CGraphicsFileFormat keeps (.kymr-cfg); the options go "
                 "over them",
                 &config_},
                {"--white", "", "on white paper, whatever the recording's own is", &options_.onWhite},
                {"--no-grid", "", "without the grid", &noGrid_},
                {"--no-events", "", "without the rows of events", &noEvents_},
                {"--no-event-labels", "", "without the labels at events", &noEventLabels_}};
    }
    void Run(SubcommandContext& context) override {
        TakeConfig(context);
        Validate();
        const auto doc = context.Open(file_);
        if (context.IsOneFile(file_, output_))
            throw CommandError(exitUsage, "OUT is the recording itself; a picture is another file.");
        context.MayReplace(output_);
        if (!PlotRecording(*doc, output_, from_, to_, options_)) throw CommandError(exitFailed, "");
    }

  private:
    void TakeConfig(SubcommandContext& context) {
        if (!config_) return;
        CGraphicsFileFormat format;
        if (!LoadConfig(context.session, format, *config_)) throw CommandError(exitFailed, "");
        options_.targetWidth = format.m_dTargetWidth;
        options_.targetResolution = format.m_nResolution;
    }

    void Validate() {
        const bool isVector = VectorFormatOf(output_).has_value();
        if (!PictureFormatOf(output_) && !isVector)
            throw CommandError(exitUsage, "OUT takes one of the extensions .png, .pdf, .eps, .svg and .plt.");
        if ((targetWidth_ || resolution_ || config_) && !isVector)
            throw CommandError(exitUsage,
                               "--target-width, --resolution and --config are for .eps, .svg and .plt.");
        if (std::string fault = TargetFault(targetWidth_.value_or(options_.targetWidth),
                                            resolution_.value_or(options_.targetResolution));
            !fault.empty())
            throw CommandError(exitUsage, fault);
        options_.targetWidth = targetWidth_.value_or(options_.targetWidth);
        options_.targetResolution = static_cast<int>(resolution_.value_or(options_.targetResolution));
        if ((from_ && !std::isfinite(*from_)) || (to_ && !std::isfinite(*to_)) ||
            (to_ && std::max(0.0, from_.value_or(0.0)) >= *to_))
            throw CommandError(exitUsage, "--from and --to take times in ms, the first below the second.");
        constexpr int64_t usualDpi = 96;
        if (dpi_ && PictureFormatOf(output_) != PictureFormat::png)
            throw CommandError(exitUsage, isVector ? "--dpi is for .png; a vector file has a --resolution."
                                                   : "--dpi is for .png: shapes have no pixels.");
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
    std::optional<double> targetWidth_;
    std::optional<int64_t> resolution_;
    std::optional<std::string> config_;
    bool noGrid_ = false, noEvents_ = false, noEventLabels_ = false;
    PictureOptions options_;
};

}  // namespace

std::unique_ptr<Subcommand> MakePlotCommand() { return std::make_unique<PlotCommand>(); }

}  // namespace kymora
