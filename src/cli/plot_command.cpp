#include <algorithm>
#include <cmath>

#include "cli/command_context.h"
#include "display/plot_recording.h"

namespace kymora {
namespace {

constexpr int64_t leastPixels = 50;
constexpr int64_t mostPixels = 20000;
constexpr int64_t mostPixelsInAll = 100'000'000;  // 400 MB of picture

class PlotCommand : public Subcommand {
  public:
    std::string Name() const override { return "plot"; }
    std::string Summary() const override { return "draw a recording into a picture"; }
    std::vector<std::string> Examples() const override {
        return {
            "kymora plot recording.edf -o recording.png",
            "kymora plot recording.kymr-dat -o second.png --from 1000 --to 2000 --width 2000 --height 800"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording", &file_, true},
                {"-o,--output", "OUT", "the picture: .png, .svg or .pdf", &output_, true},
                {"--from", "MS", "start, ms (the stored viewport)", &from_},
                {"--to", "MS", "end, ms (the stored viewport)", &to_},
                {"--width", "PX", "width, pixels (1600)", &width_},
                {"--height", "PX", "height, pixels (900)", &height_}};
    }
    void Run(SubcommandContext& context) override {
        Validate();
        const auto doc = context.Open(file_);
        if (context.IsOneFile(file_, output_))
            throw CommandError(exitUsage, "OUT is the recording itself; a picture is another file.");
        context.MayReplace(output_);
        PlotRecording(*doc, output_, from_, to_, static_cast<int>(*width_), static_cast<int>(*height_));
    }

  private:
    void Validate() const {
        if (!PictureFormatOf(output_))
            throw CommandError(exitUsage, "OUT takes one of the extensions .png, .svg and .pdf.");
        if ((from_ && !std::isfinite(*from_)) || (to_ && !std::isfinite(*to_)) ||
            (to_ && std::max(0.0, from_.value_or(0.0)) >= *to_))
            throw CommandError(exitUsage, "--from and --to take times in ms, the first below the second.");
        for (const int64_t pixels : {*width_, *height_})
            if (pixels < leastPixels || pixels > mostPixels)
                throw CommandError(exitUsage, "--width and --height take 50 to 20000 pixels.");
        if (*width_ * *height_ > mostPixelsInAll)
            throw CommandError(exitUsage, "A picture has at most 100 million pixels.");
    }

    std::string file_;
    std::string output_;
    std::optional<double> from_;
    std::optional<double> to_;
    std::optional<int64_t> width_ = 1600;
    std::optional<int64_t> height_ = 900;
};

}  // namespace

std::unique_ptr<Subcommand> MakePlotCommand() { return std::make_unique<PlotCommand>(); }

}  // namespace kymora
