#include <algorithm>
#include <numeric>

#include "cli/command_context.h"
#include "host/user_numbers.h"
#include "results/json_writer.h"
#include "results/number_text.h"

namespace kymora {
namespace {

constexpr int64_t blockSamples = 32768;

// The part of the recording that was asked for, held to its extent.
struct Selection {
    std::vector<int> slots;
    int64_t from = 0;
    int64_t count = 0;
};

// Walks over a selection in blocks, telling the progress what was done.
class BlockWalk {
  public:
    BlockWalk(SubcommandContext& context, const Selection& selection, uint64_t passes)
        : selection_(selection),
          progress_(context.StartOutputProgress("Writing samples",
                                                passes * static_cast<uint64_t>(selection.count))) {}

    // Calls use(from, count) for one block after the other.
    template <typename Use>
    void ForEach(Use use) {
        const int64_t end = selection_.from + selection_.count;
        for (int64_t at = selection_.from; at < end; at += blockSamples) {
            const int64_t n = std::min(blockSamples, end - at);
            use(at, static_cast<size_t>(n));
            done_ += static_cast<uint64_t>(n);
            UpdateOrCancel(*progress_, done_);
        }
    }

  private:
    const Selection& selection_;
    std::unique_ptr<Progress> progress_;
    uint64_t done_ = 0;
};

class SamplesCommand : public Subcommand {
  public:
    std::string Name() const override { return "samples"; }
    std::string Summary() const override { return "the samples of a recording as text, JSON or raw numbers"; }
    std::vector<std::string> Examples() const override {
        return {"kymora samples recording.edf --traces 1-2 --from 0 --count 1000",
                "kymora samples recording.kymr-dat --format f32 > samples.f32",
                "kymora samples recording.kymr-dat --traces 3 --format json"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording", &file_, true},
                {"--traces", "LIST", "traces from 1, such as \"1-3 5\" (all)", &traces_},
                {"--from", "POS", "first position, in samples from 0 (0)", &from_},
                {"--count", "N", "number of positions (the rest of the recording)", &count_},
                {"--format", "FORM", "text, json or f32, raw little-endian trace by trace (text)", &format_}};
    }
    void Run(SubcommandContext& context) override {
        if (from_.value_or(0) < 0) throw CommandError(exitUsage, "--from takes a position from 0.");
        if (count_.value_or(0) < 0) throw CommandError(exitUsage, "--count takes a number from 0.");
        if (format_ != "text" && format_ != "json" && format_ != "f32")
            throw CommandError(exitUsage, "--format takes text, json or f32, not \"" + format_ + "\".");
        const auto doc = context.Open(file_);
        const Selection selection = Select(*doc);
        if (format_ == "text") WriteText(context, *doc, selection);
        if (format_ == "json") WriteJson(context, *doc, selection);
        if (format_ == "f32") WriteRaw(context, *doc, selection);
    }

  private:
    Selection Select(const CDataDoc& doc) const {
        Selection selection;
        try {
            if (traces_) {
                selection.slots = ParseTraceList(*traces_, doc.traceCount);
            } else {
                selection.slots.resize(static_cast<size_t>(doc.traceCount));
                std::iota(selection.slots.begin(), selection.slots.end(), 0);
            }
        } catch (const ListError& error) {
            throw CommandError(exitUsage, error.what());
        }
        selection.from = from_.value_or(0);
        const int64_t rest = std::max<int64_t>(0, doc.GetLength() - selection.from);
        selection.count = std::min(count_.value_or(rest), rest);
        return selection;
    }

    static void WriteText(SubcommandContext& context, CDataDoc& doc, const Selection& selection) {
        std::string text = "position\ttime (ms)";
        for (const int slot : selection.slots)
            text += "\ttrace " + std::to_string(slot + 1) + "\tvalid " + std::to_string(slot + 1);
        context.output.Write(text + "\n");
        const size_t width = selection.slots.size();
        std::vector<float> values(width * blockSamples);
        std::vector<uint8_t> valid(width * blockSamples);
        BlockWalk(context, selection, 1).ForEach([&](int64_t at, size_t n) {
            std::vector<TraceBlock> blocks;
            for (size_t i = 0; i < width; ++i)
                blocks.push_back(
                    {selection.slots[i], {&values[i * blockSamples], n}, {&valid[i * blockSamples], n}});
            doc.ReadBlocks(at, blocks);
            for (size_t row = 0; row < n; ++row) {
                text.clear();
                AppendRow(text, doc, at + static_cast<int64_t>(row), blocks, row);
                context.output.Write(text);
            }
        });
    }

    static void AppendRow(std::string& text, const CDataDoc& doc, int64_t position,
                          const std::vector<TraceBlock>& blocks, size_t row) {
        AppendNumber(text, position);
        text += '\t';
        AppendTime(text, doc.TimeOf(position));
        for (const TraceBlock& block : blocks) {
            text += '\t';
            AppendNumber(text, block.values[row]);
            text += block.valid[row] != 0 ? "\t1" : "\t0";
        }
        text += '\n';
    }

    static void WriteJson(SubcommandContext& context, CDataDoc& doc, const Selection& selection) {
        JsonWriter json(context.output);
        json.BeginObject();
        json.Member("from", selection.from);
        json.Member("count", selection.count);
        json.Key("traces");
        json.BeginArray();
        // The values and the validities of a trace are read one after the other, so that neither has to be
        // kept.
        BlockWalk walk(context, selection, 2 * selection.slots.size());
        std::vector<float> values(blockSamples);
        std::vector<uint8_t> valid(blockSamples);
        for (const int slot : selection.slots) {
            json.BeginObject();
            json.Member("number", slot + 1);
            json.Key("values");
            json.BeginArray(JsonWriter::Form::oneLine);
            walk.ForEach([&](int64_t at, size_t n) {
                doc.ReadBlock(slot, at, {values.data(), n});
                for (size_t i = 0; i < n; ++i) json.Value(values[i]);
            });
            json.EndArray();
            json.Key("valid");
            json.BeginArray(JsonWriter::Form::oneLine);
            walk.ForEach([&](int64_t at, size_t n) {
                doc.ReadBlock(slot, at, {values.data(), n}, {valid.data(), n});
                for (size_t i = 0; i < n; ++i) json.Value(valid[i] != 0 ? 1 : 0);
            });
            json.EndArray();
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.Finish();
    }

    static void WriteRaw(SubcommandContext& context, CDataDoc& doc, const Selection& selection) {
        BlockWalk walk(context, selection, selection.slots.size());
        std::vector<float> values(blockSamples);
        for (const int slot : selection.slots)
            walk.ForEach([&](int64_t at, size_t n) {
                const std::span<float> block(values.data(), n);
                doc.ReadBlock(slot, at, block);
                context.output.WriteBytes(std::as_bytes(block));
            });
    }

    std::string file_;
    std::optional<std::string> traces_;
    std::optional<int64_t> from_;
    std::optional<int64_t> count_;
    std::string format_ = "text";
};

}  // namespace

std::unique_ptr<Subcommand> MakeSamplesCommand() { return std::make_unique<SamplesCommand>(); }

}  // namespace kymora
