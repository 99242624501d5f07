#pragma once
// Puts the channel of a .kymr-evt file in the place of one of the recording's.

#include <optional>

#include "exchange/event_exchange_dlg.h"

namespace kymora {

inline constexpr const char* overwriteChannelText =
    "Note: this will overwrite existing events in this channel. Proceed?";
inline constexpr const char* eventFileNotOpenedText = "Couldn't open file";

class LoadEventChannel : public CEventExchangeDlg {
  public:
    LoadEventChannel() : CEventExchangeDlg(usesDestination) {}
    const char* ClassName() const override { return "LoadEventChannel"; }
    const char* Title() const override { return "Load event channel"; }
    const char* ActionLabel() const override { return "Load"; }

    // Reads the file, so that a window can tell how many events it holds before it asks for the channel that
    // is to receive them. False when it cannot be read, which the user was told.
    bool ReadFile();
    int GetNumEventsRead() const { return m_read ? m_read->GetNumEvents() : 0; }

  protected:
    void Describe(ParamList& list) override;
    bool Analyse(UndoScope& undo) override;

  private:
    std::optional<CEventChan> m_read;
};

}  // namespace kymora
