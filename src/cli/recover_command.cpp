#include <fmt/format.h>

#include <algorithm>

#include "cli/command_context.h"
#include "recording/recording_recovery.h"
#include "recording/recording_writer.h"

namespace kymora {
namespace {

class RecoverCommand : public Subcommand {
  public:
    std::string Name() const override { return "recover"; }
    std::string Summary() const override { return "a recording that a crash has left, as a finished one"; }
    std::vector<std::string> Examples() const override {
        return {"kymora recover", "kymora recover /tmp/kymora-unfinished-1f3a-0.kymr-rec -o cell7.kymr-rec"};
    }
    std::vector<CommandOption> Options() override {
        return {
            {"FILE", "",
             "what the crash has left, which stays (without it: lists those that are found in the temporary "
             "folder, in this one and beside OUT)",
             &file_},
            {"-o,--output", "OUT.kymr-rec", "the finished recording", &output_}};
    }
    void Run(SubcommandContext& context) override {
        if (output_ && FoldedExtension(*output_) != recordingExtension)
            throw CommandError(exitUsage, "OUT takes the extension .kymr-rec.");
        if (!file_) return ListFound(context);
        if (!output_) throw CommandError(exitUsage, "recover FILE needs -o OUT.kymr-rec.");
        Recover(context, *file_, *output_);
    }

  private:
    void ListFound(SubcommandContext& context) const {
        std::vector<std::filesystem::path> folders{TemporaryFolder(), std::filesystem::current_path()};
        if (output_) folders.push_back(std::filesystem::absolute(*output_).parent_path());
        for (auto& folder : folders) folder = context.files.Resolve(folder);
        std::sort(folders.begin(), folders.end());
        folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
        for (const auto& folder : folders)
            for (const auto& path : FindLeftRecordings(context.files, folder))
                context.output.Write(path.string() + "\n");
    }

    static void Recover(SubcommandContext& context, const std::filesystem::path& file,
                        const std::filesystem::path& out) {
        CLeftRecording left(context.session);
        OpenRequest request(OpenFor::reading, OpenTalk::logs);
        request.callerTells = true;
        if (!left.OnOpenDocument(file, request)) throw CommandError(exitCannotOpen, left.GetOpening().fault);
        context.CheckImports();
        if (context.IsOneFile(file.string(), out))
            throw CommandError(exitUsage, "OUT is the recording itself; a recovery writes another file.");
        context.MayReplace(out);
        WriteRecording(left, out);
        context.output.Write(
            fmt::format("{} scans of {} channel(s) were recovered.\n", left.GetLength(), left.traceCount));
    }

    std::optional<std::string> file_;
    std::optional<std::string> output_;
};

}  // namespace

std::unique_ptr<Subcommand> MakeRecoverCommand() { return std::make_unique<RecoverCommand>(); }

}  // namespace kymora
