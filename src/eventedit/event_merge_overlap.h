#pragma once
// "Event Merge Overlaps": events of one or several channels that overlap become one.

#include "eventedit/event_edit_dlg.h"

namespace kymora {

class CEventMergeOverlap : public CEventCombineDlg {
  public:
    CEventMergeOverlap() : CEventCombineDlg(usesChannel1 | usesMulti) {}
    const char* ClassName() const override { return "CEventMergeOverlap"; }
    const char* Title() const override { return "Event Merge Overlaps"; }
    const char* ActionLabel() const override { return "Merge"; }

    void Serialize(CArchive& archive) override;

  protected:
    void Describe(ParamList& list) override;
    std::vector<int> Sources() const override { return SourceChannels(); }
    bool Edit(EventEditJob& job) override;
};

}  // namespace kymora
