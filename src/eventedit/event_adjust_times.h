#pragma once
// "Adjust event start/end times": events are moved, made longer or shorter, or set around the peak of their
// samples.

#include "eventedit/adjust_times.h"
#include "eventedit/event_edit_dlg.h"

namespace kymora {

// Takes the name of the channel.
inline constexpr const char* noPeakTraceText =
    "Event channel {} has no parent trace in which a peak could be bracketed.";

class CEventAdjustTimes : public CEventEditDlg {
  public:
    CEventAdjustTimes() : CEventEditDlg(usesChannel1) {}
    const char* ClassName() const override { return "CEventAdjustTimes"; }
    const char* Title() const override { return "Adjust event start/end times"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nKind = 0;                  // TimeAdjustment
    double m_dStart = 0.0, m_dEnd = 0.0;  // ms; parts of the duration; % of the slopes
    double m_dSd = 0.0;                   // ms

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool Edit(EventEditJob& job) override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    std::unique_ptr<EventEditJob> NewJob() const override;

  private:
    bool Is(TimeAdjustment kind) const { return m_nKind == static_cast<int32_t>(kind); }
    bool m_isStartChosen = false, m_isEndChosen = false;  // by the user
    int32_t m_nKindOfValues = 0;                          // the one before another is chosen
    // Each value that nobody has set, and that is the usual one of the kind before, becomes that of the kind.
    void TakeUsualValues();
    const char* WhatIsAdded() const;
};

}  // namespace kymora
