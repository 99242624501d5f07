#pragma once
// The frame of operations that take events from a file or from the clipboard into a recording. A script sets
// their parameters; a window asks for them by dialogs of its own, and then runs the same object.

#include <memory>
#include <string>
#include <string_view>

#include "exchange/event_rows.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* noFileText = "No file is named.";
inline constexpr const char* noFreeChannelText = "All event channels hold events. Empty one of them first.";

class CEventExchangeDlg : public CEventBaseDlg {
  public:
    explicit CEventExchangeDlg(unsigned uses) : CEventBaseDlg(uses) {}

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    // A destination that nobody has chosen becomes the first channel without events.
    void CheckChangeDoc(CDataDoc* doc) override;
    void SetDestination(int channel);

    std::string m_sFile;

  protected:
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;
    void DescribeFile(ParamList& list, const char* toolTip);
    void DescribeTarget(ParamList& list, const char* toolTip);
    std::string CheckSettings() override;
    // False where an empty name of a file means something.
    virtual bool NeedsFile() const { return true; }

    // Null where the file cannot be opened, which the user was told by `fault` and the reason.
    std::unique_ptr<DataFile> OpenSource(const char* fault);
    CEventChan& Channel(int channel) const;
    // One above the highest channel with events.
    int FirstOfFreeRun() const;
    // Shows a channel that is to get events.
    static void Show(CEventChan& channel) { channel.channelVisible = 1; }
    // Adds an entry to the history as it stands, without the title.
    void AppendEntry(std::string_view entry);
    // A recording may come with a history whose last line has no end.
    void EndHistoryLine();
    // Tells what was wrong with rows.
    void TellFaults(const EventRows& rows);
};

}  // namespace kymora
