#pragma once
// The window of an operation on whole channels: beside the parameters a table of the channels, in which they
// are chosen or put in order.

#include "catalogue/windows/event_base_non_modal_dlg.h"

namespace kymora {

class CChannelPlacesDlg;
class ChannelTable;

class ChannelsWindow : public CEventBaseNonModalDlg {
    Q_OBJECT

  public:
    // The block is a CChannelPlacesDlg.
    ChannelsWindow(Session& session, const Operation& operation, std::unique_ptr<CBatchBaseDlg> block,
                   QWidget* parent);

  protected:
    void StateShown(bool isUsable) override;
    std::vector<QWidget*> MoreTabStops() const override;

  private:
    CChannelPlacesDlg& Places();
    void TakeChannels(const std::vector<int>& channels);

    ChannelTable* table_ = nullptr;
};

}  // namespace kymora
