#include "exchange/load_event_channel.h"

#include <algorithm>
#include <new>

#include <fmt/format.h>

#include "document/undo.h"
#include "exchange/event_file.h"

namespace kymora {

void LoadEventChannel::Describe(ParamList& list) {
    DescribeFile(list, "File of one event channel (.kymr-evt)");
    DescribeTarget(
        list, "Event channel that receives the events, in place of those that it holds; if it is not set, "
              "the first channel without events");
}

bool LoadEventChannel::ReadFile() {
    m_read.reset();
    const auto file = OpenSource(eventFileNotOpenedText);
    if (!file) return false;
    try {
        m_read = ReadEventFile(*file, *Document());
    } catch (const ArchiveError& error) {
        Refuse(fmt::format("{} holds no event channel that can be read.\n{}", m_sFile, error.what()));
    } catch (const FileError& error) {
        Refuse(error.what());
    } catch (const std::bad_alloc&) {
        Refuse(fmt::format("There is not enough memory for the events of {}.", m_sFile));
    }
    return m_read.has_value();
}

bool LoadEventChannel::Analyse(UndoScope& undo) {
    if (!m_read && !ReadFile()) return false;
    CEventChan& target = Channel(m_nDestination);
    if (target.GetNumEvents() > 0 && !GetHost().Confirm(overwriteChannelText)) return false;
    if (const EventOrderFault fault = m_read->CheckOrder(); fault != EventOrderFault::none)
        Tell(EventOrderMessage(fault));
    undo.KeepChannel(m_nDestination);
    // The row stays where it is and as it looks.
    m_read->SetDisplayPosition(target.GetDisplayPosition());
    m_read->channelColour = target.channelColour;
    m_read->parentTrace = std::clamp(m_read->parentTrace, -1, std::max(0, Document()->traceCount - 1));
    target.Copy(*m_read);
    target.channelFlag = m_read->channelFlag;
    EndHistoryLine();
    Document()->AppendNewRecordHistory(
        fmt::format("Load event channel {} from file: {}\r\n\r\n", ChannelName(m_nDestination), m_sFile));
    return true;
}

}  // namespace kymora
