#include "cli/command_context.h"
#include "host/user_numbers.h"
#include "results/json_writer.h"
#include "results/number_text.h"

namespace kymora {
namespace {

constexpr int eventsPerUpdate = 4096;

class EventsCommand : public Subcommand {
  public:
    std::string Name() const override { return "events"; }
    std::string Summary() const override { return "the events of a recording, as a table or JSON"; }
    std::vector<std::string> Examples() const override {
        return {"kymora events recording.edf", "kymora events recording.kymr-dat --channels a-c --json"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "the recording", &file_, true},
                {"--channels", "LIST", "letters or numbers from 0, such as \"a-c 30\" (those with events)",
                 &channels_},
                {"--json", "", "as JSON", &json_}};
    }
    void Run(SubcommandContext& context) override {
        std::vector<int> channels;
        try {
            if (channels_) channels = ParseChannelList(*channels_);
        } catch (const ListError& error) {
            throw CommandError(exitUsage, error.what());
        }
        const auto doc = context.Open(file_);
        if (!channels_)
            for (int c = 0; c < maxEventChannels; ++c)
                if (doc->GetNumEvents(c) != 0) channels.push_back(c);
        uint64_t total = 0;
        for (const int c : channels) total += static_cast<uint64_t>(doc->GetNumEvents(c));
        progress_ = context.StartOutputProgress("Writing events", total);
        if (json_)
            WriteJson(context, *doc, channels);
        else
            WriteText(context, *doc, channels);
    }

  private:
    void WriteText(SubcommandContext& context, const CDataDoc& doc, const std::vector<int>& channels) {
        context.output.Write("channel\tname\ton (ms)\toff (ms)\tvalue\ttag\tlabel\n");
        for (const int c : channels) {
            const CEventChan& channel = doc.eventChannels[static_cast<size_t>(c)];
            const std::string lead = ChannelName(c) + "\t" + TerminalLine(channel.channelLabel) + "\t";
            for (const CEventKM& event : channel.Events()) {
                std::string row = lead;
                AppendTime(row, doc.TimeOf(event.onPosition));
                row += '\t';
                AppendTime(row, doc.TimeOf(event.offPosition));
                row += '\t';
                AppendNumber(row, event.eventValue);
                row += '\t';
                AppendNumber(row, int64_t{event.eventTag});
                row += '\t' + TerminalLine(event.eventLabel) + '\n';
                context.output.Write(row);
                CountEvent();
            }
        }
    }

    void WriteJson(SubcommandContext& context, const CDataDoc& doc, const std::vector<int>& channels) {
        JsonWriter json(context.output);
        json.BeginObject();
        json.Member("sampleInterval", doc.sampleInterval);
        json.Key("channels");
        json.BeginArray();
        for (const int c : channels) WriteChannel(json, doc, c);
        json.EndArray();
        json.EndObject();
        json.Finish();
    }

    void WriteChannel(JsonWriter& json, const CDataDoc& doc, int c) {
        const CEventChan& channel = doc.eventChannels[static_cast<size_t>(c)];
        json.BeginObject();
        json.Member("number", c);
        json.Member("name", ChannelName(c));
        json.Member("label", channel.channelLabel);
        json.Member("comment", channel.channelComment);
        json.Member("method", channel.detectionMethod);
        json.TraceNumber("parentTrace", channel.parentTrace);
        json.Key("events");
        json.BeginArray();
        for (const CEventKM& event : channel.Events()) {
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("on", event.onPosition);
            json.Member("off", event.offPosition);
            json.Member("onMs", doc.TimeOf(event.onPosition));
            json.Member("offMs", doc.TimeOf(event.offPosition));
            json.Member("value", event.eventValue);
            json.Member("label", event.eventLabel.View());
            json.Member("tag", event.eventTag);
            json.Member("colour", ColourText(event.eventColour));
            json.EndObject();
            CountEvent();
        }
        json.EndArray();
        json.EndObject();
    }

    void CountEvent() {
        if (++written_ % eventsPerUpdate == 0) UpdateOrCancel(*progress_, written_);
    }

    std::string file_;
    std::optional<std::string> channels_;
    bool json_ = false;
    std::unique_ptr<Progress> progress_;
    uint64_t written_ = 0;
};

}  // namespace

std::unique_ptr<Subcommand> MakeEventsCommand() { return std::make_unique<EventsCommand>(); }

}  // namespace kymora
