#pragma once
// "Reorder event channels": channels get places one behind the other, in an order of the user's.

#include "eventedit/channel_places_dlg.h"

namespace kymora {

class CEventReorder : public CChannelPlacesDlg {
  public:
    const char* ClassName() const override { return "CEventReorder"; }
    const char* Title() const override { return "Reorder event channels"; }
    const char* ActionLabel() const override { return "Reorder"; }
    bool IsOrdered() const override { return true; }
    bool ReplacesEvents() const override { return false; }

    void Serialize(CArchive& archive) override;

    int32_t m_nStartChannel = 0;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Analyse(UndoScope& undo) override;

  private:
    std::vector<ChannelMove> Moves() const { return MovesTo(Channels(), m_nStartChannel, true); }
};

}  // namespace kymora
