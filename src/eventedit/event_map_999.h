#pragma once
// "Map event channels": shows, hides, moves, copies and colours any of the 999 channels.

#include "eventedit/channel_places_dlg.h"

namespace kymora {

// The numbers of configuration files.
enum class MapAction : int32_t { show = 0, hide = 1, move = 2, copy = 3, colour = 4 };

class CEventMap999 : public CChannelPlacesDlg {
  public:
    const char* ClassName() const override { return "CEventMap999"; }
    const char* Title() const override { return "Map event channels"; }
    const char* ActionLabel() const override { return "Apply"; }
    bool IsOrdered() const override { return false; }
    bool ReplacesEvents() const override { return Is(MapAction::copy); }

    void Serialize(CArchive& archive) override;
    void SuggestSettings() override;
    void SettingsWereChosen() override { m_isTargetChosen = true; }

    int32_t m_nAction = 0;  // MapAction
    int32_t m_nTarget = 26;
    bool m_bCompact = false;
    uint32_t m_nColour = 0x0000FF;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Analyse(UndoScope& undo) override;

  private:
    bool Is(MapAction action) const { return m_nAction == static_cast<int32_t>(action); }
    bool HasTarget() const { return Is(MapAction::move) || Is(MapAction::copy); }
    std::vector<ChannelMove> Moves() const { return MovesTo(Channels(), m_nTarget, m_bCompact); }
    // What becomes of the moves: the channels in the way go with them, and a copy to its own place is none.
    std::vector<ChannelMove> Changes() const;
    std::string CopyOutlook() const;
    void SetLook(UndoScope& undo);

    bool m_isTargetChosen = false;
};

}  // namespace kymora
