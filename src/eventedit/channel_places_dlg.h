#pragma once
// The frame of operations on whole channels: which ones, and a table of all channels to choose them from,
// which a window shows beside the parameters.

#include <functional>

#include "eventedit/channel_moves.h"
#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr const char* repeatedChannelText = "A channel stands twice in the list.";
inline constexpr const char* noChannelsText = "No event channel holds events. Choose the channels.";

class CChannelPlacesDlg : public CBatchBaseDlg {
  public:
    void Serialize(CArchive& archive) override;
    // The report has no lines. The history has words of its own, with which the channels that other entries
    // name can be followed.
    void GetParamText(std::string&) override {}
    std::vector<Result> Results() override;

    // The channels that are listed; empty: those that hold events, where something holds any.
    std::vector<int> m_channels;

    std::vector<int> Channels() const;
    // Channels count in the order of the list: a window lets the user change it.
    virtual bool IsOrdered() const = 0;
    // Shows or hides channels, as a step by itself.
    void Show(const std::vector<int>& channels, bool isShown);

  protected:
    std::string CheckSettings() override { return ListFault(); }
    void DescribeChannels(ParamList& list, const char* label, const char* tip);
    void ForgetFound() override { m_moved.clear(); }

    CEventChan& Channel(int channel) const { return Document()->eventChannels[static_cast<size_t>(channel)]; }
    // "a b -> k l"
    static std::string MovesText(const std::vector<ChannelMove>& moves);
    // What a run would do, in a line: `changes` comes of the moves that were asked for. Nothing for settings
    // that a run refuses, whatever was typed or loaded.
    std::string Outlook(const std::vector<ChannelMove>& asked, const std::vector<ChannelMove>& changes) const;

    std::vector<ChannelMove> m_moved;  // by the last run

  private:
    // Why the list cannot be used.
    std::string ListFault() const;
};

}  // namespace kymora
