#pragma once
// An event channel: a list of events on the time axis of a recording, with the settings of the detection that
// made them and of their drawing. A document holds 999 of them by value.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "archive/archive.h"
#include "events/event.h"
#include "host/user_numbers.h"

namespace kymora {

class Host;

inline constexpr int32_t legacyFileVersion = 36;
inline constexpr int32_t currentFileVersion = 48;

inline constexpr double leastDisplayPosition = 0.05;
inline constexpr double greatestDisplayPosition = 0.95;

// What a channel asks of the recording that holds it.
class EventChanOwner {
  public:
    virtual double GetSampleInterval() const = 0;  // ms
    virtual Host& GetHost() const = 0;

  protected:
    ~EventChanOwner() = default;
};

// Codes of how a channel's events were made, as they are stored.
enum DetectionMethod : int32_t {
    methodManual = 0,
    methodFixedTemplate = 1,
    methodAdaptiveTemplate = 2,
    methodScaledTemplate = 3,
    methodThreshold = 4,
    methodPoissonSurprise = 5,
    methodRankSurprise = 6,
    methodManualBurst = 7,
    methodPointProcess = 8,
    methodOutlier = 9,
    methodHillValley = 10,
    methodRhythmInEvents = 12,
    methodActivityLevel = 13,
    methodRhythmInData = 14,
    methodMultiTrace = 16,
    methodScaledMultiTrace = 17,
    methodCount = 20,
};

// Settings of a detection, kept with the channel for re-use. Which of them are stored depends on the method.
struct DetectionParameters {
    int32_t templateStart = 1, templateEnd = 0, templateFirst = 0, templateLast = 0;
    int32_t templateTrace = 0, templateAlign = 0, templateFit = 0;
    int32_t analysisRegion = 0;
    float analysisStart = 0.0f, analysisEnd = 0.0f;
    int32_t analysisRepeat = 0;
    float templateThreshold = 0.0f;
    int32_t templateOption = 0;
    float templateExtra = 0.0f;
    float thresholdLevel = 0.0f, thresholdHysteresis = 0.0f, thresholdMinimum = 0.0f;
    int32_t thresholdMode = 0;
    float thresholdOnsetA = 0.0f, thresholdOnsetB = 0.0f;
    int32_t thresholdCount = 0;
    int32_t burstSourceChannel = 0;
    double burstSurprise = 0.0;

    bool operator==(const DetectionParameters&) const = default;
};

enum class EventKind { all = 0, tagged = 1, labelled = 2 };
bool IsOfKind(const CEventKM& event, EventKind kind);

// What the check after a load found; see CEventChan::Load.
enum class EventOrderFault { none, negativePosition, outOfOrder };

class CEventChan {
  public:
    explicit CEventChan(EventChanOwner* owner = nullptr) : ownerDoc(owner) {}

    // --- settings ---
    EventChanOwner* ownerDoc = nullptr;
    int32_t detectionMethod = methodManual;
    bool channelLocked = false;
    std::string channelLabel;
    std::string channelComment;
    uint32_t channelColour = 0x0000FF;
    uint32_t channelColourAlt = 0xFF0000;
    int32_t channelFlag = 0;
    int32_t channelVisible = 1;
    int32_t channelOptionB = 1;
    int32_t channelDrawMode = 2;
    int32_t parentTrace = -1;         // from 0; -1 for none
    std::vector<float> templateData;  // methods 1 to 3
    DetectionParameters detection;
    // An operation that reports a lock in its own way sets this around its edits.
    bool suppressLockWarning = false;

    double GetDisplayPosition() const { return displayPosition_; }
    // A fraction of the view's height; 1 or more becomes 0.95, 0 or less (or a not-a-number) 0.05.
    void SetDisplayPosition(double fraction);

    // --- events ---
    const std::vector<CEventKM>& Events() const { return events_; }
    int GetNumEvents() const { return static_cast<int>(events_.size()); }
    // Rows of three coordinates per event, for the spike sorter; empty, or as long as the events.
    const std::vector<std::array<float, 3>>& EventExtra() const { return eventExtra_; }
    // Takes a table with a row for each event; any other length is refused with false.
    bool SetEventExtra(std::vector<std::array<float, 3>> rows);
    void DropEventExtra() { eventExtra_.clear(); }
    // True while the events ascend in onPosition. A file that was out of order, an event without a position
    // or a replaced event can make it false; look-ups then search the whole channel.
    bool IsInOrder() const { return descents_ == 0; }

    // Every edit below tests the lock, tells the user when it is set, and then answers false and changes
    // nothing. An index outside the channel is refused with false and no message. What changes the list of
    // events drops the extra table.
    bool IsLocked() const;
    // Inserts behind all events that start no later; an event with onPosition -1 goes to the end. In a
    // channel out of order the place is before the first event that starts later.
    bool AddEvent(CEventKM event);
    bool AddEvent(int32_t on, int32_t off, float value = 0.0f, int32_t tag = 0, uint32_t colour = 0);
    // Places the event at the index, whatever its position.
    bool ReplaceEvent(int index, CEventKM event);
    bool DeleteEvent(int index);
    bool DeleteAll();
    // Deletes all events and forgets how they were made; colours, position and visibility stay.
    bool Clear();
    // Deletes each event with onPosition in [from, to) or offPosition strictly between from and to.
    bool DeleteRange(int32_t from, int32_t to);
    bool KeepTagged();
    bool DeleteTagged();
    bool ClearLabels();
    bool SetLabelAndTag(int index, std::string_view label, int32_t tag);
    // Each event takes in those behind it that start before its end plus minGap; its end is the one that it
    // had before, so a chain of events is joined only that far. Then drops those with a duration outside
    // [minDuration, maxDuration] where either limit restricts anything. Samples.
    bool FilterByGap(int32_t minGap, int32_t minDuration, int32_t maxDuration);
    bool CopySettings(const CEventChan& source);
    // Puts the source's events, in their order, in place of the channel's own.
    bool CopyEvents(const CEventChan& source);
    bool Copy(const CEventChan& source);

    // --- for undo, which neither asks the lock nor keeps order ---
    // The index at which AddEvent would put an event of that onPosition.
    int PlaceFor(int32_t onPosition) const;
    // Puts events in the place of `count` events from `at` on and answers those. Drops the extra table.
    std::vector<CEventKM> Splice(int at, int count, std::vector<CEventKM> with);
    // Exchanges the events and their extra tables, but no settings.
    void SwapEvents(CEventChan& other);
    bool HasSameSettings(const CEventChan& other) const;

    // --- queries ---
    // Index of the first event that holds the position, or -1.
    int FindEventAt(int32_t position) const;
    int GetCount(EventKind kind) const;
    bool HasEvents(EventKind kind) const;
    struct Range {
        int32_t minimum = 0;
        int32_t maximum = 0;
        float mean = 0.0f;
        bool exists = false;  // false when there is no interval or no event; the numbers are 0 then
    };
    // Gaps from the end of each event to the start of the next, in samples.
    Range GetIntervalRange() const { return GetIntervalStats(); }
    Range GetDurationRange() const { return GetDurationStats(); }
    Range GetIntervalStats() const;
    Range GetDurationStats() const;
    // For (start, length) pairs in ascending order, the number of events that start in each.
    std::vector<int> CountInRuns(std::span<const std::pair<int32_t, int32_t>> runs) const;

    const char* GetDetectionMethodName() const;
    // What displays and lists call eventValue.
    const char* GetValueName() const;
    // Formats as printf does, into at most 1999 characters. A locked channel keeps its comment.
    void SetComment(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void AppendComment(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // --- stored form ---
    // Reads the record that a file of `version` holds. Events keep the file's order; the answer tells what is
    // wrong with it, and the caller reports it. Drawing settings that the version does not hold stay as they
    // are. Throws ArchiveError and then leaves the channel as it was.
    EventOrderFault Load(CArchive& archive, int version);
    // Adds an event in the place that it has in the file. Its row of an extra table that is there is zeros.
    void AppendLoaded(CEventKM event);
    // The fault of the first event, from the second on, that has a negative position or starts before the one
    // ahead.
    EventOrderFault CheckOrder() const;
    // Writes the record of the current version, or of the legacy version (36).
    void Store(CArchive& archive, int version = currentFileVersion) const;

    // A channel with all settings of this one, its place and its lock, and without events.
    CEventChan WithoutEvents() const;

  private:
    void LoadEvents(CArchive& archive, int version);
    void LoadDetection(CArchive& archive, int version);
    void StoreDetection(CArchive& archive, int version) const;
    template <typename Predicate>
    bool DeleteWhere(Predicate drop);
    bool HasIndex(int index) const { return index >= 0 && index < GetNumEvents(); }
    int DescentsAt(size_t index) const;
    void InsertAt(size_t index, CEventKM event);
    void Remeasure();

    double displayPosition_ = 0.1;
    std::vector<CEventKM> events_;
    std::vector<std::array<float, 3>> eventExtra_;
    int descents_ = 0;          // events that start before the one ahead of them
    int64_t longestEvent_ = 0;  // no event is longer; it bounds the search of FindEventAt
};

// "a (1)" for channels 0 to 25, the plain number for those above.
std::string ChannelDisplayName(int channel);
// "a / 1" in lists.
std::string ChannelListName(int channel);

inline constexpr const char* lockedChannelText = "The target channel for writing events has been locked and "
                                                 "cannot be edited.\nIs it the episode-marker channel?";

// The message for a channel whose stored events are at fault.
std::string EventOrderMessage(EventOrderFault fault);

}  // namespace kymora
