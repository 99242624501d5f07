#pragma once
// "Event time filter": events with short gaps between them become one, and those that last too short or too
// long are left out.

#include "eventedit/event_edit_dlg.h"

namespace kymora {

inline constexpr const char* onTimeOrderText =
    "The minimum on time is longer than the maximum: no event would be left.";

class CEventTimeFilter : public CEventEditDlg {
  public:
    CEventTimeFilter() : CEventEditDlg(usesChannel1) {}
    const char* ClassName() const override { return "CEventTimeFilter"; }
    const char* Title() const override { return "Event time filter"; }
    const char* ActionLabel() const override { return "Filter"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    double m_dMinimumOff = 0.0, m_dMinimumOn = 0.0, m_dMaximumOn = 100000.0;  // ms

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool Edit(EventEditJob& job) override;
};

}  // namespace kymora
