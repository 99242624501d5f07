#include "catalogue/windows/channels_window.h"

#include <QVBoxLayout>

#include "eventedit/channel_places_dlg.h"
#include "eventedit/windows/channel_table.h"
#include "host/user_numbers.h"

namespace kymora {

ChannelsWindow::ChannelsWindow(Session& session, const Operation& operation,
                               std::unique_ptr<CBatchBaseDlg> block, QWidget* parent)
    : CEventBaseNonModalDlg(session, operation, std::move(block), parent),
      table_(new ChannelTable(Places().IsOrdered(), this)) {
    // Between the parameters and what is said.
    auto* column = static_cast<QVBoxLayout*>(layout());
    column->insertWidget(1, table_, 1);
    column->setStretch(0, 0);
    connect(table_, &ChannelTable::Chosen, this, &ChannelsWindow::TakeChannels);
    connect(table_, &ChannelTable::ShownChanged, this,
            [this](const std::vector<int>& channels, bool isShown) {
                if (!IsBusy()) Work([&] { Places().Show(channels, isShown); });
            });
    OrderTabs();
}

CChannelPlacesDlg& ChannelsWindow::Places() { return static_cast<CChannelPlacesDlg&>(Block()); }

void ChannelsWindow::StateShown(bool isUsable) {
    CEventBaseNonModalDlg::StateShown(isUsable);
    if (!table_) return;
    // An order is one of the channels that are meant where none are named; a choice of them is none.
    table_->Show(Block().Document(), Places().IsOrdered() ? Places().Channels() : Places().m_channels);
    table_->setEnabled(!IsBusy());
}

std::vector<QWidget*> ChannelsWindow::MoreTabStops() const {
    return table_ ? table_->TabStops() : std::vector<QWidget*>();
}

void ChannelsWindow::TakeChannels(const std::vector<int>& channels) {
    if (IsBusy()) return;
    SetDoneText({});
    Work([&] { Block().Params().Find("channels")->SetFromText(ListText(channels, ChannelName)); });
}

}  // namespace kymora
