// The commands by which event channels travel: files, text and the clipboard. They ask what an operation of
// src/exchange leaves open, and run it.

#include <algorithm>
#include <new>

#include <fmt/format.h>

#include "display/commands/command_tables.h"
#include "display/events/event_editing.h"
#include "display/events/event_forms.h"
#include "display/events/event_text.h"
#include "exchange/channel_block.h"
#include "exchange/event_file.h"
#include "exchange/import_events.h"
#include "exchange/load_event_channel.h"
#include "exchange/partition_from_file.h"
#include "exchange/paste_event_channels.h"
#include "host/form.h"
#include "host/user_numbers.h"

namespace kymora {

using namespace commands;

namespace {

constexpr const char* exchangeMenu = "Eve&nts/E&xchange";
constexpr const char* textFilter = "text (.txt)|*.txt|all files|*.*||";

bool HasAnyEvents(const CKymoraView& view) {
    const auto& channels = view.GetDocument().eventChannels;
    return std::any_of(channels.begin(), channels.end(),
                       [](const CEventChan& chan) { return chan.GetNumEvents() > 0; });
}

Host& HostOf(const CommandContext& context) { return context.view.GetSession().host; }

// The selected channel, or the first with events.
int ChannelWithEvents(const CKymoraView& view) {
    int channel = view.m_nMouseEventChan;
    if (EventChannel(view.GetDocument(), channel).GetNumEvents() > 0 || !HasAnyEvents(view)) return channel;
    for (channel = 0; EventChannel(view.GetDocument(), channel).GetNumEvents() == 0;) ++channel;
    return channel;
}

// Gives an operation the recording and the file that the user chooses for it.
bool AskSource(const CommandContext& context, CEventExchangeDlg& operation, const FileRequest& request) {
    const auto files = HostOf(context).ChooseOpenFiles(request);
    if (files.empty()) return false;
    operation.CheckChangeDoc(&context.view.GetDocument());
    operation.CheckChangeView(&context.view);
    operation.m_sFile = files.front().string();
    return true;
}

// --- files ---

void SaveChannel(const CommandContext& context) {
    CKymoraView& view = context.view;
    CDataDoc& doc = view.GetDocument();
    const auto channel = AskEventChannel(
        view, {"Specify event channel to save", ChannelWithEvents(view), {}, /*needsEvents=*/true});
    if (!channel) return;
    auto suggestion = doc.filePath;
    suggestion.replace_extension(std::string(".") + eventFileExtension);
    const auto path = HostOf(context).ChooseSaveFile(
        {"Save event file", "event (*.kymr-evt)|*.kymr-evt||", eventFileExtension, suggestion});
    if (!path) return;
    if (IsSameFile(view.GetSession().files, *path, doc.filePath))
        return HostOf(context).Failure("This is the file of the recording itself. Choose another name.");
    try {
        WriteEventFile(doc, *channel, *path);
    } catch (const FileError& error) {
        HostOf(context).Failure(error.what());
    }
}

void LoadChannel(const CommandContext& context) {
    CKymoraView& view = context.view;
    LoadEventChannel operation;
    if (!AskSource(
            context, operation,
            {"Load event file", "event (.kymr-evt)|*.kymr-evt|all files|*.*||", eventFileExtension, {}}) ||
        !operation.ReadFile())
        return;
    const int free = view.GetDocument().FirstFreeChannel();
    const auto target = AskEventChannel(
        view, {"Specify channel to receive events", free >= 0 ? free : view.m_nMouseEventChan,
               fmt::format("{} read from the file.", CountText(operation.GetNumEventsRead())), false});
    if (!target) return;
    operation.SetDestination(*target);
    operation.Run();
}

void ImportText(const CommandContext& context) {
    ImportEventsFromText operation;
    if (AskSource(context, operation, {"Import events from text", textFilter, "txt", {}})) operation.Run();
}

void PartitionChannel(const CommandContext& context) {
    CKymoraView& view = context.view;
    PartitionFromFile operation;
    if (!AskSource(
            context, operation,
            {"Open event partition file", "text files (*.txt)|*.txt|All Files (*.*)|*.*||", "txt", {}}) ||
        !operation.ReadFile())
        return;
    const auto source =
        AskEventChannel(view, {"Specify event channel to partition", ChannelWithEvents(view),
                               fmt::format("The file holds {} partition numbers; the largest is {}.",
                                           operation.Read().count, operation.Read().maximum),
                               /*needsEvents=*/true});
    if (!source) return;
    operation.m_nChannel1 = *source;
    operation.Run();
}

// --- the clipboard ---

// The channels with events, as a list.
std::string ListOfChannels(const CKymoraView& view) {
    std::string list;
    for (int c = 0; c < maxEventChannels; ++c)
        if (EventChannel(view.GetDocument(), c).GetNumEvents() > 0)
            list += (list.empty() ? "" : " ") + EventChannelText(view.GetSession(), c);
    return list;
}

std::string ListFault(const CKymoraView& view, std::string_view list) {
    try {
        const std::vector<int> channels = ParseChannelList(list);
        const bool any = std::any_of(channels.begin(), channels.end(), [&](int c) {
            return EventChannel(view.GetDocument(), c).GetNumEvents() > 0;
        });
        return any ? std::string() : "None of these channels holds events.";
    } catch (const ListError& error) {
        return error.what();
    }
}

void CopyChannels(const CommandContext& context) {
    CKymoraView& view = context.view;
    Form form("Copy event channels");
    form.AddText("channels", "Enter list of event channels to copy to clipboard", ListOfChannels(view),
                 "Letters or numbers from 0, such as a-c 30");
    form.validate = [&view](const Form& f) { return ListFault(view, f.Text("channels")); };
    if (!HostOf(context).AskForm(form)) return;
    try {
        const std::vector<int> channels = ParseChannelList(form.Text("channels"));
        HostOf(context).WriteClipboard(eventChansFormat, EncodeChannelBlock(view.GetDocument(), channels));
    } catch (const std::bad_alloc&) {
        HostOf(context).Failure("Unable to allocate global memory for the event channel");
    } catch (const ClipboardError& error) {
        HostOf(context).Failure(error.what());
    }
}

void PasteChannels(const CommandContext& context) {
    PasteEventChannels operation;
    operation.CheckChangeDoc(&context.view.GetDocument());
    operation.CheckChangeView(&context.view);
    operation.Run();
}

}  // namespace

CommandTable ExchangeCommands() {
    // clang-format off
    return {
        {"event-file-save", exchangeMenu, "&Save event channel...", "Writes an event channel to a file of its own, which other recordings can load", HasAnyEvents, nullptr, SaveChannel},
        {"event-file-load", exchangeMenu, "&Load event channel...", "Puts the event channel of a file into a channel of this recording", nullptr, nullptr, LoadChannel},
        {"event-import-text", exchangeMenu, "&Import events from text...", "Adds events from a text with on time, off time (ms) and label in each row to the first channel without events", nullptr, nullptr, ImportText, group},
        {"event-partition-file", exchangeMenu, "Partition from &file...", "Copies the events of a channel into several, by a file with the number of each event's class", HasAnyEvents, nullptr, PartitionChannel},
        {"event-clipboard-copy", exchangeMenu, "&Copy event channels...\tCtrl+c", "Puts event channels on the clipboard, for another recording", HasAnyEvents, nullptr, CopyChannels, group},
        {"event-clipboard-paste", exchangeMenu, "&Paste event channels\tCtrl+v", "Adds the event channels that were copied in another recording, or rows of on time, off time (ms) and label from a spreadsheet", nullptr, nullptr, PasteChannels},
    };
    // clang-format on
}

}  // namespace kymora
