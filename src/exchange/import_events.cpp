#include "exchange/import_events.h"

#include <fmt/format.h>

#include "document/undo.h"

namespace kymora {

void ImportEventsFromText::Describe(ParamList& list) {
    DescribeFile(list,
                 "Text with a row for each event: on time and off time in ms and, if you like, a label, "
                 "separated by tabs");
    DescribeTarget(list,
                   "Event channel that receives the events beside those that it holds; if it is not set, "
                   "the first channel without events");
}

bool ImportEventsFromText::Analyse(UndoScope& undo) {
    const auto file = OpenSource("Unable to open specified source file.");
    if (!file) return false;
    TextReader reader(*file);
    EventRows rows = ReadEventRows(reader, *Document());
    if (rows.wasCancelled) return false;
    TellFaults(rows);
    if (rows.events.empty()) {
        Refuse(fmt::format("There is a source format error, or no events could be found in {}.", m_sFile));
        return false;
    }
    undo.KeepChannel(m_nDestination);
    CEventChan& target = Channel(m_nDestination);
    if (!AddEvents(target, std::move(rows.events))) return false;
    Show(target);
    AppendEntry(fmt::format("Import events into channel {} from file {}\r\n\r\n", ChannelName(m_nDestination),
                            m_sFile));
    return true;
}

}  // namespace kymora
