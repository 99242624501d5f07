#include "import/bdf_doc.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

namespace {

constexpr uint64_t bytesOfRecordsAtOnce = 1 << 20;
constexpr uint64_t smallRecordBytes = 16 << 10;  // below this a whole record costs no more than a part of it
constexpr size_t mostTriggers = 1000000;
constexpr int64_t recordsBetweenUpdates = 1000;

// Calls part(record, bytes) with a signal's part of each record.
template <typename Part>
void ForEachSlice(const DataFile& file, const EdfHeader& header, const EdfSignal& signal, Part part) {
    const auto recordBytes = static_cast<uint64_t>(header.bytesPerRecord);
    const bool isWhole = recordBytes <= smallRecordBytes;
    const auto sliceBytes = static_cast<size_t>(header.NumberBytes() * signal.samplesPerRecord);
    const uint64_t atOnce = isWhole ? std::max<uint64_t>(bytesOfRecordsAtOnce / recordBytes, 1) : 1;
    std::vector<std::byte> bytes;
    for (uint64_t record = 0; record < static_cast<uint64_t>(header.dataRecords);) {
        const uint64_t count = std::min(atOnce, static_cast<uint64_t>(header.dataRecords) - record);
        const auto offset = static_cast<uint64_t>(isWhole ? 0 : signal.sliceOffset);
        bytes.resize(isWhole ? static_cast<size_t>(count * recordBytes) : sliceBytes);
        ReadWhole(file, static_cast<uint64_t>(header.headerLength) + record * recordBytes + offset, bytes);
        for (uint64_t i = 0; i < count; ++i) {
            const size_t at =
                isWhole ? static_cast<size_t>(i * recordBytes) + static_cast<size_t>(signal.sliceOffset) : 0;
            if (!part(static_cast<int64_t>(record + i), std::span(bytes).subspan(at, sliceBytes))) return;
        }
        record += count;
    }
}

}  // namespace

void CBDFDoc::AddFileEvents() {
    const auto status =
        std::find_if(Header().signals.rbegin(), Header().signals.rend(), [](const EdfSignal& signal) {
            return signal.label == "Status" && !signal.isAnnotations && signal.samplesPerRecord > 0;
        });
    if (!Header().is24Bit || status == Header().signals.rend()) return;
    std::vector<CEventKM> triggers = ReadTriggers(*status);
    if (triggers.empty()) return;
    const auto isFree = [](const CEventChan& channel) { return channel.GetNumEvents() == 0; };
    const auto channel = std::find_if(eventChannels.begin(), eventChannels.end(), isFree);
    if (channel == eventChannels.end())
        return Tell(fmt::format("The {} trigger codes of the Status signal are left out: no event channel is "
                                "free.",
                                triggers.size()));
    if (triggers.size() > mostTriggers) {
        triggers.pop_back();
        Tell(fmt::format("The Status signal of this file changes too often. Its first {} codes are events.",
                         mostTriggers));
    }
    channel->channelLabel = "Status";
    channel->channelComment = "Trigger codes of the Status signal";
    channel->Splice(0, 0, std::move(triggers));
}

// The lower 16 bits of each number are the code. What stands at the beginning is no change, and 0 no event.
std::vector<CEventKM> CBDFDoc::ReadTriggers(const EdfSignal& status) {
    std::vector<CEventKM> triggers;
    std::unique_ptr<Progress> progress;
    uint32_t code = 0;
    bool isOpen = false, isFirst = true, wentOn = true;
    ForEachSlice(*sampleFile, Header(), status, [&](int64_t record, std::span<const std::byte> bytes) {
        if (record % recordsBetweenUpdates == recordsBetweenUpdates - 1) {
            if (!progress)
                progress = GetHost().StartProgress("Reading trigger codes",
                                                   static_cast<uint64_t>(Header().dataRecords));
            wentOn = progress->Update(static_cast<uint64_t>(record));
            if (!wentOn) return false;
        }
        const bool isBefore = record < FirstRecord();
        const int64_t start = isBefore ? 0 : PositionOfRecord(record - FirstRecord());
        for (size_t i = 0; i + 2 < bytes.size(); i += 3) {
            const uint32_t now = static_cast<uint32_t>(bytes[i]) | static_cast<uint32_t>(bytes[i + 1]) << 8;
            if (now == code && !isFirst) continue;
            const int64_t into = static_cast<int64_t>(i / 3) * SamplesPerRecord() / status.samplesPerRecord;
            const int64_t position = isBefore ? 0 : start + into;
            if (position >= longestRecording) return false;
            const auto at = static_cast<int32_t>(position);
            if (isOpen && at == 0)
                triggers.pop_back();
            else if (isOpen)
                triggers.back().offPosition = std::max(at, triggers.back().onPosition + 1);
            isOpen = now != 0 && !isFirst;
            if (isOpen) {
                CEventKM& trigger = triggers.emplace_back();
                trigger.onPosition = at;
                trigger.eventLabel = std::to_string(now);
                trigger.eventValue = static_cast<float>(now);
                if (triggers.size() > mostTriggers) return false;
            }
            code = now;
            isFirst = false;
        }
        return true;
    });
    if (!wentOn) throw OpenDeclined();
    if (isOpen)
        triggers.back().offPosition =
            std::max(static_cast<int32_t>(GetLength()), triggers.back().onPosition + 1);
    return triggers;
}

}  // namespace kymora
