#include "cli/command_context.h"
#include "cli/configuration_info.h"
#include "cli/info_json.h"
#include "cli/info_text.h"
#include "document/file_identity.h"
#include "operations/config_file.h"

namespace kymora {
namespace {

class InfoCommand : public Subcommand {
  public:
    std::string Name() const override { return "info"; }
    std::string Summary() const override {
        return "what a recording holds: head, traces, overlays, event channels; or a configuration";
    }
    std::vector<std::string> Examples() const override {
        return {"kymora info recording.edf", "kymora info recording.kymr-dat --json",
                "kymora info recording.edf --import signals=1,3", "kymora info protocol.kymr-cfg --json"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording, or a configuration (.kymr-cfg)", &file_, true},
                {"--json", "", "as JSON", &json_}};
    }
    void Run(SubcommandContext& context) override {
        if (FoldedExtension(file_) == std::string(".") + configExtension)
            return WriteConfigurationInfo(context, file_, json_);
        const auto doc = context.Open(file_);
        if (json_)
            WriteInfoJson(context.output, *doc, file_);
        else
            context.output.Write(InfoText(*doc, file_));
    }

  private:
    std::string file_;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Subcommand> MakeInfoCommand() { return std::make_unique<InfoCommand>(); }

}  // namespace kymora
