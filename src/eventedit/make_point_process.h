#pragma once
// "Make point process": each event becomes one of a single sample.

#include "eventedit/event_edit_dlg.h"
#include "eventedit/event_points.h"

namespace kymora {

class CMakePointProcess : public CEventEditDlg {
  public:
    CMakePointProcess() : CEventEditDlg(usesChannel1 | usesTrace) {}
    const char* ClassName() const override { return "CMakePointProcess"; }
    const char* Title() const override { return "Make point process"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nMethod = 0;  // PointOfEvent
    double m_dFraction = 0.5;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    int SettingsOf() const override { return -1; }
    bool Edit(EventEditJob& job) override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    std::unique_ptr<EventEditJob> NewJob() const override;

  private:
    bool ReadsTrace() const { return m_nMethod != static_cast<int32_t>(PointOfEvent::fraction); }
};

}  // namespace kymora
