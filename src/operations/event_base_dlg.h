#pragma once
// The frame of operations that read or write events: source channels, parent trace, destination, the
// description and label of the result, and the analysis region without a gate.

#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr const char* wholeFileTip = "Analyse data from whole file";
inline constexpr const char* visibleTip = "Analyse data visible in the active view";
inline constexpr const char* userSetTip = "Analyse data within the user-specified time";
inline constexpr const char* gateTip = "Analyse data within events in the gate channel";
inline constexpr const char* regionStartTip = "Start time of user-specified analysis window";
inline constexpr const char* regionEndTip = "End time of user-specified analysis window";
inline constexpr const char* gateChannelTip = "Event gate channel";
inline constexpr const char* regionOrderText = "The start time must be before the end time.";
// From its start, of a region that the user has turned round.
inline constexpr double resetRegionMs = 10.0;
inline constexpr const char* emptyRegionText = "There are no data in the analysis region.";
inline constexpr const char* emptyGateText = "There are no events in gate channel {}.";
inline constexpr const char* channelIsSourceText =
    "The destination channel is a source channel. Choose another destination.";

// Takes the name of the channel.
inline constexpr const char* unsetTraceText = "Event channel {} has no parent trace. Set the trace.";
inline constexpr const char* destinationMarksEpisodesText =
    "Event channel a marks the episodes of this recording. Choose another destination.";

enum RegionMode : int32_t { regionWholeFile = 0, regionVisible = 1, regionUserSet = 2, regionGate = 3 };

// What is seen: in the given view, or by the document's stored viewport.
TimeSpan VisibleTimes(const CDataDoc& doc, const DocumentView* view);
// The same, rounded to samples.
SampleSpan VisibleSpan(const CDataDoc& doc, const DocumentView* view);

// The part of a span that lies in the recording.
SampleSpan HeldTo(const CDataDoc& doc, SampleSpan span);

// The stretches of a region, held to the recording: one, or one for each event of the gate channel. Some may
// have no length.
struct AnalysisRegion {
    int32_t mode = regionWholeFile;
    double start = 0.0, end = 0.0;  // of regionUserSet, ms
    int32_t gateChannel = 0;
};
std::vector<SampleSpan> RegionSpans(const CDataDoc& doc, const DocumentView* view,
                                    const AnalysisRegion& region);

// "1,203 events"
std::string EventsText(int64_t count);
// The same of a channel: what stands behind it.
std::string EventCountText(const CDataDoc* doc, int32_t channel);
// "holds 1,203 events": behind a channel that a result will go to, so that it is not taken for the result.
std::string HeldEventsText(const CDataDoc* doc, int32_t channel);
// The least end of a user-set region, ms.
double LeastRegionEnd(const CDataDoc* doc);

class CEventBaseDlg : public CBatchBaseDlg {
  public:
    // Which controls of the frame the operation has.
    enum Uses : unsigned {
        usesChannel1 = 1,
        usesChannel2 = 2,
        usesChannel3 = 4,
        usesMulti = 8,
        usesTrace = 16,
        usesDestination = 32,
        usesText = 64,  // description, label and append params
    };
    explicit CEventBaseDlg(unsigned uses) : m_uses(uses) {}

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    // A destination that holds no events, so that the first press of the button replaces nothing.
    // Nothing where the user has chosen one.
    void SuggestSettings() override;
    void SettingsWereChosen() override { m_isDestinationChosen = true; }

    int32_t m_nChannel1 = 0, m_nChannel2 = 1, m_nChannel3 = 2;
    int32_t m_nDestination = 0;
    int32_t m_nTrace = 0;
    std::string m_strDescription, m_strLabel;
    bool m_bAppendParams = false;
    // The multi-source list, from 0, ascending unless its order counts; empty: channel 1 alone.
    std::vector<int> m_channels;

    // The source channels: the list, or channel 1.
    std::vector<int> SourceChannels() const;

    // --- a look ahead, while the user is still setting parameters ---
    virtual bool CanLookAhead() const { return false; }
    // The job of a run over what is seen, with nothing asked, told or changed. Null where that cannot be run.
    std::unique_ptr<EventJob> PrepareLook();
    // Why a look that reads so many samples is not made; null where it is.
    virtual const char* TooMuchToLookAt(int64_t) const { return nullptr; }
    // The events that a run would leave in each channel of the job, as far as they are seen.
    std::vector<EventJob::Found> FoundAhead(EventJob& job);

  protected:
    // Groups "Source" and "Destination" of the window.
    void DescribeSource(ParamList& list);
    void DescribeDestination(ParamList& list);
    // Start and end of a region, which a user sets in its mode regionUserSet.
    void DescribeUserTimes(ParamList& list, const int32_t& mode, double& start, double& end);
    std::string CheckSettings() override;
    // True where a source channel may be the destination, too.
    virtual bool MayWriteSource() const { return false; }

    // A channel control has changed; `channel` is 1, 2, 3, or 0 for the destination.
    virtual void OnEventChanChanged(int channel);
    virtual void OnEventChanListChanged() {}
    // The order of the multi-source list counts, and a record keeps it.
    virtual bool KeepsListOrder() const { return false; }
    virtual void OnParentTraceChanged() {}
    // Unless the trace is set, it is the parent trace of channel 1, wherever the operation runs. A record of
    // settings then holds -1 less the trace.
    virtual bool ReadsParentTrace() const { return false; }
    // A run as the settings stand reads the trace.
    virtual bool ReadsTrace() const { return true; }
    void ExchangeTrace(CArchive& archive);
    // Channel 1 moves the trace to its parent.
    virtual bool FollowsParentTrace() const { return (m_uses & usesTrace) != 0; }

    // Writes the events that an EventJob has found, the report and the history.
    bool Write(OperationJob& job, UndoScope& undo) override;
    // What becomes of the events of a channel once all of them are there. False abandons.
    virtual bool ShapeFound(CEventChan&, const EventJob&) { return true; }
    // Takes over what the job has measured and counted; the report tells it.
    virtual void TakeFound(const EventJob&) {}
    // What only the operation itself can add to a channel that has got its events. False abandons.
    virtual bool FinishFound(CEventChan&, const EventJob&, size_t) { return true; }
    // Begins the record that a channel keeps of its detection, with the region: nothing of an earlier one
    // stays.
    void BeginRecord(CEventChan& chan);
    virtual void AppendReport(std::string& text, const EventJob&) { GetParamText(text); }
    // Of several channels each is described by the report, and not the last one alone.
    virtual bool ReportsOnEach() const { return false; }
    // What is seen of the recording; the report of a run tells what was seen when it began.
    TimeSpan SeenTimes() const;

    std::vector<std::byte> RerunSettings(const OperationJob& job) override;
    // The analysis region of the operation; null where it has none that can be the visible one.
    struct RegionFields {
        int32_t& mode;
        double &start, &end;
    };
    virtual std::optional<RegionFields> Region() { return std::nullopt; }

    // A run as the parameters stand would be refused, or would put one of them right.
    virtual bool WouldStumble() const { return false; }
    // What is found at one place depends on all of the region: a look searches all of it.
    virtual bool LooksAtRegion() const { return false; }
    // Takes what the graph shows of a look ahead; the settings stay as they are.
    virtual void TakeLook(const EventJob&) {}
    // The job that is being made is that of a look ahead.
    bool IsLookingAhead() const { return m_isLookingAhead; }

    bool Has(Uses part) const { return (m_uses & part) != 0; }
    bool m_isDestinationChosen = false;  // by the user, or by a file that the user named

    // The events of the channel as a run leaves them, in the place of those that it had. False abandons.
    bool PutFound(CEventChan& chan, EventJob& job, size_t which);
    // A run will write what it finds in the trace into the channel.
    void AddTarget(EventJob& job, int channel, int trace, std::string description) const;

  private:
    bool WriteFound(EventJob& job, UndoScope& undo);
    // The trace that nobody has set; why there is none, or empty.
    std::string TakeParentTrace();

    unsigned m_uses;
    bool m_isTraceChosen = false;    // set by itself, and not by its channel
    std::optional<TimeSpan> m_seen;  // when the present run began
    bool m_isLookingAhead = false;
};

// Adds the analysis region: whole file, visible screen, user set.
class CEventWndBaseDlg : public CEventBaseDlg {
  public:
    explicit CEventWndBaseDlg(unsigned uses) : CEventBaseDlg(uses) {}

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;

    int32_t m_nRegionMode = regionWholeFile;
    double m_dRegionStart = 0.0, m_dRegionEnd = 100.0;  // ms

    // The first and the past-the-end sample of the region in the present document, held to the recording. A
    // user-set end that is not after the start is told to the user and put 10 ms behind it.
    SampleSpan GetRegion();

  protected:
    std::optional<RegionFields> Region() override {
        return RegionFields{m_nRegionMode, m_dRegionStart, m_dRegionEnd};
    }
    void DescribeRegion(ParamList& list);
    // Appends the lines of the region alone.
    void AppendRegionText(std::string& text) const;
    // Takes up the document: the least end of the region.
    static constexpr int doNothing = 5;
    void RetrieveData(int how = 0);
    // The region, unless it is refused: the user was told then. The reset of a wrong end stays.
    std::optional<SampleSpan> TakeRegion();
    // The same for a job. False where it is refused.
    bool TakeRegion(EventJob& job);
};

}  // namespace kymora
