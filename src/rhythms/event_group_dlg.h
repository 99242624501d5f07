#pragma once
// The frame of operations that group the events of a channel into longer ones, such as bursts: source, region
// cut at the gaps of the recording, destination, and the table of what was found, in which the user may
// reject.

#include "eventanalysis/event_anal_rgn_base.h"
#include "rhythms/burst_filter.h"

namespace kymora {

inline constexpr const char* tooLongToLookText =
    "The search is too long to look ahead: shorten the analysis region or the intervals.";
inline constexpr const char* noSourceEventsText = "No events in source channel.\r\n";

// The events of channel 1 of a filled block whose onsets lie in its blocks, cut where the samples of its
// parent trace (of the first trace, where there is none) do not neighbour each other. Trains without events
// are left out.
std::vector<EventTrain> TrainsOf(const CDataDoc& doc, const CEventBlock& block);

// An event of the result.
struct EventGroup {
    Burst burst;
    int train = 0;  // which holds its events
};

struct EventGroupJob : EventJob {
    std::vector<EventTrain> trains;
    std::vector<EventGroup> groups;  // what was found, ascending in time when Compute ends
    std::vector<std::string> notes;  // for the log

    int64_t Events() const;
    int64_t LookSamples() const override { return Samples(); }
    // Adds what was found in a train.
    void Take(size_t train, const std::vector<Burst>& bursts);
    // Puts it in order, as the events of the result.
    void Finish();
};

class CEventGroupDlg : public CEventAnalRgnBase {
  public:
    explicit CEventGroupDlg(unsigned uses = 0);

    void CheckChangeDoc(CDataDoc* doc) override;
    void OnUpdate(UpdateHint hint) override;
    void ViewChangedHorzDisp() override;
    void SuggestSettings() override;
    std::string RunSummary() const override;
    bool CanLookAhead() const override { return true; }
    const char* TooMuchToLookAt(int64_t samples) const override;

    std::vector<Result> Results() override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    bool HasFindings() const override { return true; }
    Findings GetFindings() override;
    const char* RejectionLabel() const override { return "Delete rejected"; }
    std::string RejectFindings(const Findings& findings) override;

  protected:
    virtual const char* ResultName() const = 0;
    // Behind onset and duration: the columns of the table, and their values for a group.
    virtual std::vector<ResultColumn> GroupColumns() const = 0;
    virtual std::vector<ResultValue> GroupValues(const EventTrain& train,
                                                 const EventStretch& events) const = 0;

    // Takes source, region and destination into the job. False where it is refused.
    bool TakeSource(EventGroupJob& job);
    // What a run would work on, as the settings stand; none where it would be refused.
    const std::vector<EventTrain>& Trains();
    // All intervals of these, ms.
    std::vector<double> IntervalsMs();
    // Tells a text that a report of a run over files has with its file and title.
    std::string OfFile(std::string_view words) const;
    double TimeOfSamples(double samples) const { return samples * Document()->sampleInterval; }
    // Rounded to samples, also beyond the longest recording.
    int64_t SamplesOf(double ms) const;

    bool WouldStumble() const override { return IsReversed(); }
    // Rates, ranks and limits are those of the whole region, and events are in memory.
    bool LooksAtRegion() const override { return true; }
    void ForgetFound() override {
        m_found.clear();
        m_hasRun = false;
    }
    bool Write(OperationJob& job, UndoScope& undo) override;
    void OnEventChanChanged(int channel) override;

  private:
    bool IsReversed() const { return m_nRegionMode == regionUserSet && !(m_dRegionEnd > m_dRegionStart); }
    struct Row {
        int32_t onset = 0, offset = 0;
        std::vector<ResultValue> values;
    };
    std::vector<ResultColumn> Columns() const;
    std::vector<ResultValue> ValuesOf(const Row& row) const;

    std::vector<Row> m_found;
    bool m_hasRun = false;
    std::string m_summary;
    std::optional<std::vector<EventTrain>> m_trains;  // as the settings of m_trainsOf stand
    std::vector<double> m_trainsOf;
};

}  // namespace kymora
