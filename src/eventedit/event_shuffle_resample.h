#pragma once
// "Shuffle or resample intervals": a surrogate channel, in which the events come with the same intervals in
// an order of chance.

#include "eventedit/event_edit_dlg.h"

namespace kymora {

class CEventShuffleResample : public CEventEditDlg {
  public:
    CEventShuffleResample() : CEventEditDlg(usesChannel1) {}
    const char* ClassName() const override { return "CEventShuffleResample"; }
    const char* Title() const override { return "Shuffle or resample intervals"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nKind = 0;  // IntervalOrder

  protected:
    void Describe(ParamList& list) override;
    bool Edit(EventEditJob& job) override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    std::unique_ptr<EventEditJob> NewJob() const override;
};

}  // namespace kymora
