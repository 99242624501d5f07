#include "cli/command_context.h"
#include "cli/operation_names.h"
#include "cli/operation_run.h"

namespace kymora {
namespace {

class RunCommand : public Subcommand {
  public:
    std::string Name() const override { return "run"; }
    std::string Summary() const override { return "run an operation over recordings"; }
    std::vector<std::string> Examples() const override {
        return {"kymora run CEventThreshold rec.kymr-dat --set trace=1 --set thresholdSource=2 "
                "--set onMultiplier=6 --set destination=b --in-place",
                "kymora run event-threshold *.edf --config spikes.kymr-cfg --write-new",
                "kymora run event-threshold --set trace=1 --set onMultiplier=6 --save-config spikes.kymr-cfg",
                "kymora run event-list rec.kymr-dat --set channel1=b -o spikes.txt",
                "kymora run event-hist rec.kymr-dat --set channel1=b -o intervals.svg --width 600",
                "kymora run general-hist numbers.txt --json"};
    }
    std::vector<CommandOption> Options() override {
        return {
            {"NAME", "", "the operation, as CEventThreshold or event-threshold", &name_, true},
            {"FILE", "", "the recordings, or the texts of an operation that reads numbers", &request_.files},
            {"--set", "KEY=VALUE",
             "a parameter of the operation (kymora operations NAME lists them); in the order given",
             &request_.settings},
            {"--config", "FILE", "settings that a dialog has saved (.kymr-cfg); --set goes over them",
             &request_.config},
            {"--save-config", "OUT",
             "write the settings for later (.kymr-cfg) and run nothing; no FILE is needed", &saved_},
            {"-o,--output", "OUT",
             "the new recording (.kymr-dat, .flt) of one FILE; or, of an operation that only tells, the text "
             "(.txt), the tables (.csv) or the graph of one FILE (.png, .svg, .pdf)",
             &request_.output},
            {"--in-place", "", "keep the result in FILE itself, or in the side-car of a foreign FILE",
             &request_.inPlace},
            {"--write-new", "",
             "keep the result of each FILE beside it as FILE_tr.kymr-dat, whatever stands there",
             &request_.writeNew},
            {"--json", "",
             "print an object for each FILE, with the settings used, what was written, and the results",
             &request_.json},
            {"--pane", "NAME", "of a graph with several panes this one alone", &request_.graph.pane},
            {"--width", "PX", "width of the graph, pixels (800)", &request_.graph.width},
            {"--height", "PX", "height of the graph, pixels (600)", &request_.graph.height},
            {"--dpi", "N", "resolution of a .png (96)", &request_.graph.dpi},
            {"--no-grid", "", "the graph without its grid", &request_.graph.noGrid}};
    }
    void Run(SubcommandContext& context) override {
        if (saved_)
            SaveSettings(context, NamedOperation(name_), request_, *saved_);
        else
            RunOperation(context, NamedOperation(name_), request_, context.output);
    }

  private:
    std::string name_;
    RunOptions request_;
    std::optional<std::string> saved_;
};

}  // namespace

std::unique_ptr<Subcommand> MakeRunCommand() { return std::make_unique<RunCommand>(); }

}  // namespace kymora
