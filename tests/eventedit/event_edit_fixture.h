#pragma once
// A recording with a few channels, and the operations that make channels of them, run as anybody runs them.

#include "operations/event_base_dlg.h"
#include "support/session_fixture.h"

namespace kymora::test {

using Spans = std::vector<std::pair<int, int>>;

inline std::vector<CEventKM> EventsAt(const Spans& spans) {
    std::vector<CEventKM> events;
    for (const auto& [on, off] : spans) events.push_back({on, off});
    return events;
}

inline Spans SpansOf(std::span<const CEventKM> events) {
    Spans spans;
    for (const CEventKM& event : events) spans.emplace_back(event.onPosition, event.offPosition);
    return spans;
}

class EventEditTest : public SessionTest {
  protected:
    // A hundred samples, half a millisecond apart, with values that tell where they stand.
    void SetUp() override {
        std::vector<float> samples;
        for (int i = 0; i < 100; ++i) samples.push_back(static_cast<float>(i));
        doc = MemoryDoc::Make(session, {samples}, 0.5);
    }
    CEventChan& Chan(int channel) { return doc->eventChannels[static_cast<size_t>(channel)]; }
    // In the order given, also where that is not by onset.
    void FillEvents(int channel, std::vector<CEventKM> events) {
        Chan(channel).DeleteAll();
        for (CEventKM& event : events) Chan(channel).AppendLoaded(std::move(event));
    }
    void Fill(int channel, const Spans& spans) { FillEvents(channel, EventsAt(spans)); }
    Spans Found(int channel) { return SpansOf(Chan(channel).Events()); }

    using Settings = std::vector<std::pair<std::string, std::string>>;
    void Set(CBatchBaseDlg& operation, const Settings& settings) {
        operation.CheckChangeDoc(doc.get());
        for (const auto& [key, text] : settings) {
            ParamList params = operation.Params();
            Field* field = params.Find(key);
            ASSERT_NE(field, nullptr) << key;
            EXPECT_EQ(field->SetFromText(text), "") << key;
        }
    }
    // What the run refused, or empty.
    std::string Run(CBatchBaseDlg& operation, const Settings& settings) {
        Set(operation, settings);
        host.Forget();
        if (operation.Run()) return {};
        return host.messages.empty() ? "refused without a word" : host.LastMessage();
    }
    // A count of the last run.
    static int64_t Count(CBatchBaseDlg& operation, std::string_view name) {
        const std::vector<Result> results = operation.Results();
        for (const auto& [key, value] : results.front().values)
            if (key == name) return std::get<int64_t>(value);
        return -1;
    }

    std::unique_ptr<MemoryDoc> doc;
};

}  // namespace kymora::test
