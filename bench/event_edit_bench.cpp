// Operations on channels of a million events, as whole runs with undo step, report and history, beside the
// time in which the events of such a channel are copied.

#include <random>

#include "bench_files.h"
#include "eventedit/event_freq_filter.h"
#include "eventedit/event_label_filter.h"
#include "eventedit/event_logic.h"
#include "eventedit/event_merge_overlap.h"
#include "eventedit/event_time_filter.h"
#include "eventedit/event_value_filter.h"
#include "eventedit/insert_random_point_process.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr int eventCount = 1'000'000;
constexpr int destination = 9;

// Events of random lengths, 1,000 samples from each other; some overlap. Every tenth has a label.
void Fill(CEventChan& chan, unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < eventCount; ++i) {
        const auto on = i * 1000 + static_cast<int>(random() % 500);
        CEventKM event{on, on + 1 + static_cast<int>(random() % 900)};
        if (i % 10 == 0) event.eventLabel = "Burst " + std::to_string(i % 7);
        chan.AppendLoaded(std::move(event));
    }
}

class Bench {
  public:
    explicit Bench(CDataDoc& doc) : doc_(doc) {
        CEventChan copy;
        floor_ = Seconds(5, [&] { copy.CopyEvents(doc.eventChannels[0]); });
        std::printf("copying %d events: %.1f ms\n", eventCount, floor_ * 1e3);
    }
    template <typename Operation>
    void Run(const char* what, double goalMs, Operation operation) {
        operation->m_nDestination = destination;
        operation->SettingsWereChosen();
        operation->CheckChangeDoc(&doc_);
        const double took = Seconds(5, [&] {
            if (!operation->Run()) std::printf("%s was refused\n", what);
            doc_.eventChannels[destination].Clear();
        });
        std::printf("%s: %.1f ms (goal: %.0f), %.1f copies\n", what, took * 1e3, goalMs, took / floor_);
    }

  private:
    CDataDoc& doc_;
    double floor_ = 0.0;
};

}  // namespace

int main() {
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    ModelDoc doc(session, 1, int64_t{eventCount} * 1000 + 2000);
    Fill(doc.eventChannels[0], 1);
    Fill(doc.eventChannels[1], 2);
    Bench bench(doc);
    for (int kind = 0; kind < eventLogicCount; ++kind) {
        auto logic = std::make_unique<CEventLogic>();
        logic->m_nLogic = kind;
        const std::string title = logic->Title();
        bench.Run(title.c_str(), 150, std::move(logic));
    }
    auto merge = std::make_unique<CEventMergeOverlap>();
    merge->m_channels = {0, 1};
    bench.Run("merging two channels", 150, std::move(merge));
    auto times = std::make_unique<CEventTimeFilter>();
    times->m_dMinimumOff = 5.0;
    times->m_dMinimumOn = 10.0;
    bench.Run("time filter", 100, std::move(times));
    bench.Run("frequency filter", 100, std::make_unique<CEventFreqFilter>());
    auto label = std::make_unique<CEventLabelFilter>();
    label->m_strSearch = "burst 3";
    bench.Run("label filter", 100, std::move(label));
    for (const int source : {0, 1, 2, 3}) {
        auto value = std::make_unique<CEventValueFilter>();
        value->m_nLimitSource = source;
        const std::string what = "value filter of durations, limit source " + std::to_string(source);
        bench.Run(what.c_str(), 100, std::move(value));
    }
    for (const IntervalLaw law : {IntervalLaw::poisson, IntervalLaw::gamma, IntervalLaw::gaussian}) {
        auto process = std::make_unique<CEventInsertRandomPointProcess>();
        process->m_nCountMode = 0;
        process->m_nCount = eventCount;
        process->m_nDistribution = static_cast<int32_t>(law);
        process->m_dMean = 900.0 * doc.sampleInterval;
        process->m_dSd = 90.0 * doc.sampleInterval;
        const std::string what = "random events, distribution " + std::to_string(static_cast<int>(law));
        bench.Run(what.c_str(), 100, std::move(process));
    }
    return 0;
}
