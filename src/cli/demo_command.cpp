#include "cli/command_context.h"
#include "demo/demo_recordings.h"

namespace kymora {
namespace {

class DemoCommand : public Subcommand {
  public:
    std::string Name() const override { return "demo"; }
    std::string Summary() const override { return "write the demonstration recordings"; }
    std::vector<std::string> Examples() const override {
        return {"kymora demo -o demo", "kymora demo -o other --seed 7"};
    }
    std::vector<CommandOption> Options() override {
        return {{"-o,--output", "DIR", "the folder, made when it is missing (the current one)", &folder_}};
    }
    void Run(SubcommandContext& context) override {
        const std::filesystem::path folder(folder_);
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (!std::filesystem::is_directory(folder, error))
            throw CommandError(exitFailed, "Couldn't make the folder " + folder_ + ".");
        for (const DemoRecording& recording : DemoRecordings())
            context.MayReplace(folder / recording.fileName);
        for (const DemoRecording& recording : DemoRecordings())
            WriteDemoRecording(context.session, recording, folder / recording.fileName);
    }

  private:
    std::string folder_ = ".";
};

}  // namespace

std::unique_ptr<Subcommand> MakeDemoCommand() { return std::make_unique<DemoCommand>(); }

}  // namespace kymora
