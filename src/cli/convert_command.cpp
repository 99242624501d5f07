#include "cli/command_context.h"
#include "document/native_writer.h"
#include "document/text_export.h"

namespace kymora {
namespace {

class ConvertCommand : public Subcommand {
  public:
    std::string Name() const override { return "convert"; }
    std::string Summary() const override {
        return "write a recording in another form, chosen by OUT's extension";
    }
    std::vector<std::string> Examples() const override {
        return {"kymora convert recording.edf -o recording.kymr-dat",
                "kymora convert recording.edf -o part.kymr-dat --import signals=1,3",
                "kymora convert recording.kymr-dat -o recording.txt --yes"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording", &file_, true},
                {"-o,--output", "OUT", "the new file: .kymr-dat, .flt (legacy) or .txt", &output_, true}};
    }
    void Run(SubcommandContext& context) override {
        const std::filesystem::path out(output_);
        const std::string extension = FoldedExtension(out);
        if (extension != ".kymr-dat" && extension != ".flt" && extension != ".txt")
            throw CommandError(exitUsage, "OUT takes the extensions .kymr-dat, .flt (legacy) and .txt.");
        const auto doc = context.Open(file_);
        if (context.IsOneFile(file_, out))
            throw CommandError(exitUsage, "OUT is the recording itself; a conversion writes another file.");
        context.MayReplace(out);
        if (extension == ".txt") return WriteText(context, *doc, out);
        if (extension == ".flt" && !context.host.Notice("LegacySave", "Notification", legacySaveText))
            throw CommandError(exitFailed, "");
        SaveAs(*doc, out, extension == ".flt" ? legacyFileVersion : currentFileVersion);
    }

  private:
    static void WriteText(SubcommandContext& context, CDataDoc& doc, const std::filesystem::path& out) {
        if (doc.hasGaps && !context.host.Confirm(textExportGapText)) throw CommandError(exitFailed, "");
        WriteTextExport(doc, out);
    }

    std::string file_;
    std::string output_;
};

}  // namespace

std::unique_ptr<Subcommand> MakeConvertCommand() { return std::make_unique<ConvertCommand>(); }

}  // namespace kymora
