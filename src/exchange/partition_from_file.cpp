#include "exchange/partition_from_file.h"

#include <algorithm>

#include <fmt/format.h>

#include "document/undo.h"

namespace kymora {

namespace {

constexpr int64_t countWithoutQuestion = 10000;

}  // namespace

void PartitionFromFile::Describe(ParamList& list) {
    DescribeFile(list, "Text of whole numbers, one for each event of the channel, that say into which of the "
                       "new channels it goes; 0 and below leave it out");
    list.Channel("channel1", "Event channel", m_nChannel1)
        .Tip("Event channel whose events are copied into the new channels")
        .Shows([this] { return EventCountText(Document(), m_nChannel1); });
}

bool PartitionFromFile::ReadFile() {
    m_partition.reset();
    const auto file = OpenSource("Couldn't open input file");
    if (!file) return false;
    try {
        if (TakeNumbers(*file) && HasRoom()) return true;
    } catch (const PartitionError& error) {
        Refuse(error.what());
    } catch (const FileError& error) {
        Refuse(error.what());
    }
    m_partition.reset();
    return false;
}

bool PartitionFromFile::TakeNumbers(const DataFile& file) {
    size_t most = 0;
    for (const CEventChan& chan : Document()->eventChannels) most = std::max(most, chan.Events().size());
    TextReader reader(file);
    m_partition = ReadPartition(reader, most, GetHost());
    if (m_partition->wasCancelled) return false;
    if (m_partition->count == 0) {
        Refuse("No data in partition file");
        return false;
    }
    GetHost().Log(fmt::format("read {} events from file, maximum partition num = {}\n", m_partition->count,
                              m_partition->maximum));
    return m_partition->count <= countWithoutQuestion ||
           GetHost().Confirm(
               fmt::format("The file appears to contain {} events. Continue?", m_partition->count));
}

bool PartitionFromFile::HasRoom() {
    const int first = FirstOfFreeRun();
    const int64_t channels = m_partition->maximum;
    if (channels == 0) {
        Refuse("All partition numbers in the file are 0 or below. There is nothing to copy.");
        return false;
    }
    if (first + channels <= maxEventChannels) return true;
    Refuse(fmt::format("The first free run of event channels starts at {} of {}, but you have selected {} "
                       "partition channels. You should free more channels or reduce the partition count.",
                       first, maxEventChannels, channels));
    return false;
}

bool PartitionFromFile::Analyse(UndoScope& undo) {
    if (!m_partition && !ReadFile()) return false;
    // The recording may have changed since the file was read.
    if (!HasRoom()) return false;
    GetHost().Log(fmt::format("Source event chan num {}\n", m_nChannel1));
    const CEventChan& source = Channel(m_nChannel1);
    if (source.GetNumEvents() == 0) {
        Refuse(fmt::format("Channel {} holds no events.", ChannelName(m_nChannel1)));
        return false;
    }
    const int first = FirstOfFreeRun();
    const int end = first + m_partition->maximum;
    for (int target = first; target < end; ++target)
        if (Channel(target).channelLocked) {
            Refuse(lockedChannelText);
            return false;
        }
    for (int target = first; target < end; ++target) undo.KeepChannel(target);
    Distribute(source, first);
    TellCounts();
    AppendEntry(
        fmt::format("Partition events from channel {} into {} channels starting at {}, using file {}\r\n\r\n",
                    ChannelName(m_nChannel1), m_partition->maximum, ChannelName(first), m_sFile));
    return true;
}

void PartitionFromFile::Distribute(const CEventChan& source, int first) {
    const std::vector<CEventKM>& events = source.Events();
    const size_t count = std::min(events.size(), m_partition->numbers.size());
    std::vector<std::vector<CEventKM>> parts(static_cast<size_t>(m_partition->maximum));
    for (size_t i = 0; i < count; ++i)
        if (const int32_t number = m_partition->numbers[i]; number >= 1)
            parts[static_cast<size_t>(number) - 1].push_back(events[i]);
    for (size_t i = 0; i < parts.size(); ++i) {
        CEventChan& target = Channel(first + static_cast<int>(i));
        AddEvents(target, std::move(parts[i]));
        target.parentTrace = source.parentTrace;
        Show(target);
    }
}

// Most often the file then belongs to another channel.
void PartitionFromFile::TellCounts() {
    const int64_t events = Channel(m_nChannel1).GetNumEvents();
    if (events == m_partition->count) return;
    Tell(fmt::format("The file holds {} partition numbers, and channel {} holds {} "
                     "events. The first {} of them were used.",
                     m_partition->count, ChannelName(m_nChannel1), events,
                     std::min(events, m_partition->count)));
}

}  // namespace kymora
