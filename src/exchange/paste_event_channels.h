#pragma once
// Adds what the clipboard holds: event channels in the system's own format (event_block.h), else rows of text
// (event_rows.h).

#include <span>

#include "exchange/event_exchange_dlg.h"

namespace kymora {

struct BlockChannel;

class PasteEventChannels : public CEventExchangeDlg {
  public:
    PasteEventChannels() : CEventExchangeDlg(0) {}
    const char* ClassName() const override { return "PasteEventChannels"; }
    const char* Title() const override { return "Paste event channels"; }
    const char* ActionLabel() const override { return "Paste"; }

  protected:
    void Describe(ParamList& list) override;
    bool NeedsFile() const override { return false; }
    bool Analyse(UndoScope& undo) override;

  private:
    bool PasteFile(UndoScope& undo);
    bool PasteBlock(std::span<const std::byte> block, UndoScope& undo);
    bool PasteChannels(std::vector<BlockChannel> channels, UndoScope& undo);
    bool PasteText(TextReader& reader, UndoScope& undo);
    // Starts the target anew as a channel of the block.
    void FillChannel(int target, BlockChannel source);
    void AppendPaste(size_t count, int first);
};

}  // namespace kymora
