#pragma once
// "Event Logical AND" and its five relatives: channels as sets of samples, combined by logic.

#include "eventedit/event_edit_dlg.h"
#include "eventedit/logic_of_events.h"

namespace kymora {

inline constexpr const char* sameSourcesText = "The source channels must be different.";
inline constexpr const char* sourceIsDestinationText =
    "The source channels must be different from the destination channel.";
inline constexpr const char* fewSourcesText = "Choose at least two source channels.";

class CEventLogic : public CEventCombineDlg {
  public:
    CEventLogic() : CEventCombineDlg(usesChannel1 | usesChannel2 | usesMulti) {}
    const char* ClassName() const override { return "CEventLogic"; }
    const char* Title() const override;  // by the kind
    const char* ActionLabel() const override { return "Combine"; }

    void Serialize(CArchive& archive) override;

    int32_t m_nLogic = 0;  // EventLogic

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    // The list in its order, or channel 1 and 2.
    std::vector<int> Sources() const override;
    const char* SourceWords() const override;
    const char* DestinationIsSourceText() const override { return sourceIsDestinationText; }
    bool KeepsListOrder() const override { return true; }
    bool Edit(EventEditJob& job) override;

  private:
    EventLogic Logic() const { return static_cast<EventLogic>(m_nLogic); }
    std::vector<SampleSpan> CombinedStretches(std::span<const EventSpan> sources) const;
    // The stretches of the recording that hold samples.
    bool HasGaps() const;
    std::vector<SampleSpan> RecordedStretches() const;
};

}  // namespace kymora
