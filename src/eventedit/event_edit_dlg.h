#pragma once
// The frame of operations that make one event channel from others. A class says what its sources are and
// fills in the job (Edit); the frame looks for a free destination, holds it against the sources, and writes
// events, method, parent trace, texts, report and history as one step.

#include <array>

#include "eventanalysis/events_by_onset.h"
#include "operations/event_base_dlg.h"

namespace kymora {

// What becomes of the destination. All of it is made when the run begins: there are no samples to wait for.
struct EventEditJob : EventJob {
    // The rows of coordinates of the events, where they came with some.
    std::vector<std::array<float, 3>> extra;
    int settingsOf = -1;  // see CEventEditDlg::SettingsOf
    int64_t sourceEvents = 0;
    // What else was counted: "Dropped", 12.
    std::vector<std::pair<std::string, int64_t>> counts;
};

class CEventEditDlg : public CEventBaseDlg {
  public:
    explicit CEventEditDlg(unsigned uses) : CEventBaseDlg(uses | usesDestination | usesText) {}

    const char* ActionLabel() const override { return "Apply"; }
    void CheckChangeDoc(CDataDoc* doc) override;
    // Sources that hold events, and a destination that holds none.
    void SuggestSettings() override;
    void SettingsWereChosen() override;
    std::vector<Result> Results() override;
    std::string RunSummary() const override;

  protected:
    // The channels that the result is made of, in the order in which they count.
    virtual std::vector<int> Sources() const { return {m_nChannel1}; }
    virtual const char* DestinationIsSourceText() const { return channelIsSourceText; }
    // The channel whose method, parent trace and settings of the detection the result keeps; -1 for none.
    virtual int SettingsOf() const { return m_nChannel1; }
    // Where the events are made from samples, which is done when the job computes.
    virtual std::unique_ptr<EventEditJob> NewJob() const { return std::make_unique<EventEditJob>(); }
    // Fills in the events of the job (found.front(), ascending) and what was counted. False where it is
    // refused, which the user was told.
    virtual bool Edit(EventEditJob& job) = 0;

    // The group "Destination" of the window.
    void DescribeTarget(ParamList& list);
    std::string CheckSettings() override;
    void OnEventChanChanged(int channel) override;
    void OnEventChanListChanged() override { LeaveSources(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    void TakeFound(const EventJob& job) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void ForgetFound() override { m_done.reset(); }

    const CEventChan& Channel(int channel) const {
        return Document()->eventChannels[static_cast<size_t>(channel)];
    }
    // The names of channels as reports list them: "a c 30".
    static std::string NamesOf(const std::vector<int>& channels);

  private:
    // Sources without events give way to channels that hold some.
    void TakeFilledSources();
    // A destination that nobody has chosen is a free channel and no source.
    void TakeFreeDestination();
    // A destination that nobody has chosen and that has become a source is left.
    void LeaveSources();

    struct Done {
        int64_t sourceEvents = 0, events = 0;
        std::vector<std::pair<std::string, int64_t>> counts;
    };
    std::optional<Done> m_done;  // by the last run
    bool m_areSourcesChosen = false;
};

// Of those that read several channels and make something new of them: the result has the manual method, and
// the parent trace that all sources have, if it is one.
class CEventCombineDlg : public CEventEditDlg {
  public:
    explicit CEventCombineDlg(unsigned uses) : CEventEditDlg(uses) {}
    // "Source channel(s): a b" and "Destination event channel: c".
    void GetParamText(std::string& text) override;

  protected:
    virtual const char* SourceWords() const { return "Source channel(s): "; }
    int SettingsOf() const override { return -1; }
    std::unique_ptr<OperationJob> MakeJob() override;
    // The label and description of one source are not those of the result.
    void OnEventChanChanged(int channel) override;
    // The events of the sources, in their order; the job counts them.
    std::vector<std::span<const CEventKM>> TakeSources(EventEditJob& job) const;
};

// Of those that keep some of the events of channel 1, with all they have, and drop the others.
class CEventFilterDlg : public CEventEditDlg {
  public:
    explicit CEventFilterDlg(unsigned uses = usesChannel1) : CEventEditDlg(uses) {}
    const char* ActionLabel() const override { return "Filter"; }

  protected:
    // For each event, in the order of onset, 1 where it is kept. Nothing where the run is refused.
    virtual std::optional<std::vector<uint8_t>> Keeps(const EventsByOnset& events) = 0;
    bool Edit(EventEditJob& job) override;
};

}  // namespace kymora
