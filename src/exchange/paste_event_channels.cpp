#include "exchange/paste_event_channels.h"

#include <algorithm>
#include <array>
#include <new>

#include <fmt/format.h>

#include "document/undo.h"
#include "exchange/channel_block.h"

namespace kymora {

namespace {

// Pastes stop before the last channel.
constexpr int lastChannel = maxEventChannels - 1;

constexpr const char* noEventsPastedText =
    "There is a source format error, or no events could be found on the clipboard.";

}  // namespace

void PasteEventChannels::Describe(ParamList& list) {
    DescribeFile(list, "File that stands for what the clipboard holds: a block of event channels, or rows of "
                       "text; if it is not set, the clipboard");
}

bool PasteEventChannels::Analyse(UndoScope& undo) {
    try {
        if (!m_sFile.empty()) return PasteFile(undo);
        if (const auto block = GetHost().ReadClipboard(eventChansFormat)) return PasteBlock(*block, undo);
        const std::string text = GetHost().ReadClipboardText();
        TextReader reader{std::string_view(text)};
        return PasteText(reader, undo);
    } catch (const ClipboardError& error) {
        Refuse(error.what());
    } catch (const ArchiveError& error) {
        Refuse(fmt::format("{}\nNothing was pasted.", error.what()));
    } catch (const std::bad_alloc&) {
        Refuse("There is not enough memory for the events. Nothing was pasted.");
    }
    return false;
}

bool PasteEventChannels::PasteFile(UndoScope& undo) {
    const auto file = OpenSource("Unable to open specified source file.");
    if (!file) return false;
    std::array<std::byte, 4> head{};
    const size_t headBytes = file->ReadAt(0, head);
    if (BeginsAsChannelBlock(std::span(head).first(headBytes))) {
        std::vector<std::byte> block(static_cast<size_t>(file->Length()));
        ReadWhole(*file, 0, block);
        return PasteBlock(block, undo);
    }
    TextReader reader(*file);
    return PasteText(reader, undo);
}

bool PasteEventChannels::PasteBlock(std::span<const std::byte> block, UndoScope& undo) {
    GetHost().Log("got special event clipboard format\n");
    GetHost().Log(fmt::format("pasting {} event channels\n", ChannelBlockCount(block)));
    std::vector<BlockChannel> channels = DecodeChannelBlock(block);
    if (!channels.empty()) return PasteChannels(std::move(channels), undo);
    Refuse(noEventsPastedText);
    return false;
}

bool PasteEventChannels::PasteChannels(std::vector<BlockChannel> channels, UndoScope& undo) {
    const int first = FirstOfFreeRun();
    const size_t room = static_cast<size_t>(std::max(0, lastChannel - first));
    const size_t pasted = std::min(room, channels.size());
    const std::string left =
        fmt::format("Out of empty event channels. Only {} of {} channels pasted.", pasted, channels.size());
    if (pasted == 0) {
        Refuse(left);
        return false;
    }
    for (size_t i = 0; i < pasted; ++i) {
        const int target = first + static_cast<int>(i);
        if (Channel(target).channelLocked) {
            Refuse(lockedChannelText);
            return false;
        }
    }
    size_t placeless = 0;
    for (size_t i = 0; i < pasted; ++i) {
        const int target = first + static_cast<int>(i);
        undo.KeepChannel(target);
        placeless += std::erase_if(channels[i].events, [](const CEventKM& event) {
            return event.onPosition < 0 || event.offPosition < event.onPosition;
        });
        FillChannel(target, std::move(channels[i]));
    }
    AppendPaste(pasted, first);
    if (placeless > 0)
        Tell(fmt::format(
            "{} of the events start before the recording or end before they start. They were left "
            "out.",
            placeless));
    if (pasted < channels.size()) Tell(left);
    return true;
}

void PasteEventChannels::FillChannel(int target, BlockChannel source) {
    CEventChan& chan = Channel(target);
    chan.Clear();
    chan.channelLabel = std::move(source.channelLabel);
    chan.channelComment = std::move(source.channelComment);
    chan.channelColour = source.channelColour;
    chan.channelColourAlt = source.channelColourAlt;
    AddEvents(chan, std::move(source.events));
    Show(chan);
}

bool PasteEventChannels::PasteText(TextReader& reader, UndoScope& undo) {
    const int target = Document()->FirstFreeChannel();
    if (target < 0 || Channel(target).channelLocked) {
        Refuse(target < 0 ? noFreeChannelText : lockedChannelText);
        return false;
    }
    EventRows rows = ReadEventRows(reader, *Document());
    if (rows.wasCancelled) return false;
    TellFaults(rows);
    if (rows.events.empty()) {
        Refuse(noEventsPastedText);
        return false;
    }
    undo.KeepChannel(target);
    AddEvents(Channel(target), std::move(rows.events));
    Show(Channel(target));
    AppendPaste(1, target);
    return true;
}

void PasteEventChannels::AppendPaste(size_t count, int first) {
    AppendEntry(fmt::format("Paste {} event channels, starting at {}\r\n\r\n", count, ChannelName(first)));
}

}  // namespace kymora
