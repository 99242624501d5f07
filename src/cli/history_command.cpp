#include <fmt/format.h>

#include "batch/history_chain.h"
#include "cli/command_context.h"
#include "cli/line_feeds.h"
#include "document/native_writer.h"
#include "operations/settings_json.h"
#include "results/json_writer.h"

namespace kymora {
namespace {

class HistoryCommand : public Subcommand {
  public:
    std::string Name() const override { return "history"; }
    std::string Summary() const override {
        return "what was done to a recording, and the list that does it again";
    }
    std::vector<std::string> Examples() const override {
        return {"kymora history cell7.kymr-dat", "kymora history cell7.kymr-dat --json",
                "kymora history cell7_tr.kymr-dat --as-batch again.kymr-batch"};
    }
    std::vector<CommandOption> Options() override {
        return {
            {"FILE", "", "the recording", &file_, true},
            {"--json", "", "its entries as JSON, with the exact settings of the operations", &json_},
            {"--as-batch", "OUT.kymr-batch",
             "write the list of operations that makes the recording again; with --yes also where something "
             "has to be left out",
             &batch_}};
    }
    void Run(SubcommandContext& context) override {
        if (batch_ && FoldedExtension(*batch_) != std::string(".") + multiBatchExtension)
            throw CommandError(exitUsage, "OUT takes the extension .kymr-batch.");
        const auto doc = context.Open(file_);
        const std::vector<HistoryEntry> entries = ReadHistory(doc->historyLog, doc->Steps());
        if (batch_) WriteBatch(context, entries);
        if (json_)
            WriteJson(context, *doc, entries);
        else if (!batch_)
            WriteText(context, doc->historyLog);
    }

  private:
    // --- the list ---

    void WriteBatch(SubcommandContext& context, const std::vector<HistoryEntry>& entries) const {
        HistoryChain chain = ChainOfHistory(entries);
        for (const auto* texts : {&chain.leftOut, &chain.otherDraws})
            for (const std::string& text : *texts) TellUser(text);
        if (chain.list.Count() == 0)
            throw CommandError(exitFailed, "The history of " + file_ +
                                               " tells of no operation that a list can do again. Nothing was "
                                               "written.");
        const bool isWhole = chain.leftOut.empty() && chain.otherDraws.empty();
        if (!isWhole && !context.host.Confirm("The list does not make " + file_ +
                                              " again in every sample and event. Write it all the same?"))
            throw CommandError(exitFailed, "Nothing was written.");
        context.MayReplace(*batch_);
        if (!SaveMultiBatch(context.session, chain.list, *batch_)) throw CommandError(exitFailed, "");
        if (chain.seed)
            TellUser(fmt::format("Random numbers were drawn: run the batch with --seed {}.", *chain.seed));
    }

    // --- the entries ---

    static void WriteText(SubcommandContext& context, const std::string& history) {
        if (history.empty())
            context.host.Notice("EmptyHistory", Host::usualTitle,
                                "No operation has written to the history yet.");
        LineFeeds lines(context.output);
        lines.Write(history);
        lines.Finish();
    }

    void WriteJson(SubcommandContext& context, CDataDoc& doc,
                   const std::vector<HistoryEntry>& entries) const {
        JsonWriter json(context.output);
        json.BeginObject();
        json.Member("file", file_);
        json.Key("entries");
        json.BeginArray();
        for (const HistoryEntry& entry : entries) {
            json.BeginObject();
            json.Member("title", entry.title);
            json.Member("text", entry.text);
            json.Member("undone", entry.isUndone);
            WriteStep(json, doc, entry.step);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.Finish();
    }

    static void WriteStep(JsonWriter& json, CDataDoc& doc, const HistoryStep* step) {
        const std::string name = step ? ClassNameOf(step->settings) : std::string();
        json.Key("operation");
        name.empty() ? json.Null() : json.Value(name);
        json.Key("settings");
        RunMessages unheard;
        if (const auto block = name.empty() ? nullptr : BlockOf(doc, name, step->settings, unheard))
            WriteSettings(json, *block);
        else
            json.Null();
        json.Key("seed");
        step ? json.Value(step->seed) : json.Null();
    }

    // Null where this version has no such operation, or does not know these settings.
    static std::unique_ptr<CBatchBaseDlg> BlockOf(CDataDoc& doc, const std::string& name,
                                                  std::span<const std::byte> record, RunMessages& unheard) {
        const Operation* operation = FindOperation(name);
        if (!operation) return nullptr;
        auto block = operation->make();
        block->SendMessagesTo(&unheard);
        try {
            block->TakeSettings(record);
        } catch (const ArchiveError&) {
            return nullptr;
        }
        block->SettingsWereChosen();
        block->CheckChangeDoc(&doc);
        return block;
    }

    std::string file_;
    std::optional<std::string> batch_;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Subcommand> MakeHistoryCommand() { return std::make_unique<HistoryCommand>(); }

}  // namespace kymora
