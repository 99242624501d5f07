#include "exchange/export_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "archive/text_encoding.h"
#include "host/user_numbers.h"
#include "import/edf_doc.h"
#include "import/foreign_doc.h"
#include "numerics/min_max.h"

namespace kymora {

namespace {

constexpr int64_t foldedAtOnce = 1 << 19;

int64_t LongestTrace(const CDataDoc& doc) {
    int64_t longest = 0;
    for (int t = 0; t < doc.traceCount; ++t) longest = std::max(longest, doc.GetTraceLength(t));
    return longest;
}

struct Range {
    float low = FLT_MAX, high = -FLT_MAX;
};

void Widen(Range& range, const TraceBlock& block) {
    Range all = range;
    WidenRange(block.values, all.low, all.high);
    const bool isWhole = std::memchr(block.valid.data(), 0, block.valid.size()) == nullptr;
    if (isWhole && std::isfinite(all.low) && std::isfinite(all.high)) {
        range = all;
        return;
    }
    for (size_t i = 0; i < block.values.size(); ++i) {
        const float value = block.values[i];
        if (block.valid[i] == 0 || !std::isfinite(value)) continue;
        range.low = std::min(range.low, value);
        range.high = std::max(range.high, value);
    }
}

void ScanPart(CDataDoc& doc, int64_t from, int64_t to, std::vector<Range>& ranges) {
    std::vector<std::vector<float>> values(ranges.size(), std::vector<float>(exportBlockSamples));
    std::vector<std::vector<uint8_t>> valid(ranges.size(), std::vector<uint8_t>(exportBlockSamples));
    for (int64_t at = from; at < to; at += exportBlockSamples) {
        const auto count = static_cast<size_t>(std::min(exportBlockSamples, to - at));
        std::vector<TraceBlock> blocks;
        for (size_t t = 0; t < ranges.size(); ++t)
            blocks.push_back({static_cast<int>(t), {values[t].data(), count}, {valid[t].data(), count}});
        doc.ReadBlocks(at, blocks);
        for (size_t t = 0; t < ranges.size(); ++t) Widen(ranges[t], blocks[t]);
    }
}

bool IsWhole(const TraceBlock& block) {
    Range range;
    WidenRange(block.values, range.low, range.high);
    return range.low >= -FLT_MAX && range.high <= FLT_MAX &&
           FindNotANumber(block.values) == block.values.size() &&
           std::memchr(block.valid.data(), 0, block.valid.size()) == nullptr;
}

// Answers how many samples became 0.
int64_t Replace(const TraceBlock& block) {
    int64_t replaced = 0;
    for (size_t i = 0; i < block.values.size(); ++i) {
        if (block.valid[i] != 0 && std::fabs(block.values[i]) <= FLT_MAX) continue;
        block.values[i] = 0.0f;
        ++replaced;
    }
    return replaced;
}

bool FoldPart(CDataDoc& doc, int64_t from, int64_t to, std::vector<Range>& ranges) {
    std::vector<Range> found(ranges.size());
    std::vector<TraceFold> folds;
    for (size_t t = 0; t < found.size(); ++t)
        folds.push_back({static_cast<int>(t), {&found[t].low, 1}, {&found[t].high, 1}, {}});
    if (!doc.FoldBlocks(from, to - from, {0, to - from}, folds)) return false;
    for (const Range& range : found)
        if (!std::isfinite(range.low) || !std::isfinite(range.high)) return false;
    for (size_t t = 0; t < found.size(); ++t) {
        ranges[t].low = std::min(ranges[t].low, found[t].low);
        ranges[t].high = std::max(ranges[t].high, found[t].high);
    }
    return true;
}

}  // namespace

std::vector<ExportRun> SampledRuns(const CDataDoc& doc) {
    std::vector<ExportRun> all, merged;
    for (int t = 0; t < doc.traceCount; ++t) {
        const auto trace = static_cast<size_t>(t);
        if (t > 0 && doc.validRuns[trace] == doc.validRuns[0]) continue;
        for (int i = 0; i < doc.GetNumRuns(t); i += 2) {
            ExportRun run;
            if (doc.GetRunSpan(t, i, run.start, run.end) && run.end > run.start) all.push_back(run);
        }
    }
    std::sort(all.begin(), all.end(),
              [](const ExportRun& a, const ExportRun& b) { return a.start < b.start; });
    for (const ExportRun& run : all) {
        if (!merged.empty() && run.start <= merged.back().end)
            merged.back().end = std::max(merged.back().end, run.end);
        else
            merged.push_back(run);
    }
    return merged;
}

std::vector<TraceExtremes> FindExtremes(CDataDoc& doc, ProgressScope& progress) {
    std::vector<Range> ranges(static_cast<size_t>(doc.traceCount));
    const int64_t length = LongestTrace(doc);
    bool canFold = doc.GetLength() == length;
    for (int64_t at = 0; at < length;) {
        const int64_t to = std::min(at + (canFold ? foldedAtOnce : exportBlockSamples), length);
        canFold = canFold && FoldPart(doc, at, to, ranges);
        if (!canFold) ScanPart(doc, at, to, ranges);
        progress.Step(static_cast<uint64_t>(to - at));
        at = to;
    }
    std::vector<TraceExtremes> extremes(ranges.size());
    for (size_t t = 0; t < ranges.size(); ++t)
        if (ranges[t].low <= ranges[t].high) extremes[t] = {ranges[t].low, ranges[t].high};
    return extremes;
}

ExportReader::ExportReader(CDataDoc& doc)
    : doc_(doc), values_(static_cast<size_t>(doc.traceCount)), valid_(values_.size()) {
    MakeRoom(exportBlockSamples);
}

void ExportReader::MakeRoom(int64_t samples) {
    for (auto& values : values_) values.resize(static_cast<size_t>(samples));
    for (auto& valid : valid_) valid.resize(static_cast<size_t>(samples));
}

void ExportReader::Read(int64_t from, int64_t count) {
    const auto used = static_cast<size_t>(count);
    std::vector<TraceBlock> blocks;
    for (size_t t = 0; t < values_.size(); ++t)
        blocks.push_back({static_cast<int>(t), {values_[t].data(), used}, {valid_[t].data(), used}});
    doc_.ReadBlocks(from, blocks);
    for (const TraceBlock& block : blocks)
        if (!IsWhole(block)) replaced_ += Replace(block);
}

std::vector<int> ExportChannels(const CDataDoc& doc) {
    std::vector<int> channels;
    for (int c = 0; c < maxEventChannels; ++c) {
        const bool isRecordStarts =
            doc.eventChannels[static_cast<size_t>(c)].channelComment == CEDFDoc::startMarkComment;
        if (doc.GetNumEvents(c) != 0 && !isRecordStarts) channels.push_back(c);
    }
    return channels;
}

std::string ExportEventText(const CDataDoc& doc, int channel, const CEventKM& event) {
    std::string text(event.eventLabel.View());
    if (text.empty()) text = doc.eventChannels[static_cast<size_t>(channel)].channelLabel;
    if (text.empty()) text = "Event " + ChannelName(channel);
    text = ToDisplayText(text);
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ') c = ' ';
    return text;
}

std::optional<std::chrono::sys_days> StartDay(const CDataDoc& doc) {
    if (const auto* edf = dynamic_cast<const CEDFDoc*>(&doc)) return edf->GetStartDate();
    if (const auto* foreign = dynamic_cast<const CForeignDoc*>(&doc)) return foreign->GetStartDate();
    return {};
}

std::string NotKeptText(const CDataDoc& doc, const KeptByForm& kept) {
    size_t annotations = 0, values = 0, tags = 0, early = 0, labels = 0;
    for (int t = 0; t < doc.traceCount; ++t)
        annotations += doc.traceAnnotations[static_cast<size_t>(t)].size();
    const std::vector<int> channels = ExportChannels(doc);
    for (const int c : channels) {
        const CEventChan& channel = doc.eventChannels[static_cast<size_t>(c)];
        bool isNamed = channel.channelLabel.empty();
        for (const CEventKM& event : channel.Events()) {
            values += event.eventValue != 0.0f ? 1 : 0;
            tags += event.eventTag != 0 ? 1 : 0;
            early += event.onPosition < 0 ? 1 : 0;
            isNamed = isNamed || (event.eventLabel.empty() && event.onPosition >= 0);
        }
        labels += isNamed ? 0 : 1;
    }
    std::string text;
    const auto add = [&](bool is, const std::string& what) {
        if (is) text += (text.empty() ? "" : ", ") + what;
    };
    const auto some = [&](size_t n, const char* one, const char* many) {
        add(n > 0, fmt::format("{} {}", n, n == 1 ? one : many));
    };
    some(doc.markers.size(), "marker", "markers");
    some(annotations, "annotation", "annotations");
    some(values, "event's value", "events' values");
    some(tags, "event's tag", "events' tags");
    some(early, "event before the first sample", "events before the first sample");
    some(labels, "channel's label, since its events have their own",
         "channels' labels, since their events have their own");
    add(!kept.channels && channels.size() > 1, "of which channel each event is");
    add(!kept.start && (doc.GetStartClock() || StartDay(doc)), "when the recording began");
    add(!kept.comment && !doc.fileComment.empty(), "the comment of the recording");
    return text.empty() ? text : "Not kept in this form: " + text + ".";
}

std::string AsciiText(std::string_view text) {
    std::string ascii;
    for (const char16_t unit : TextToWide(text)) {
        if (unit >= 0x20 && unit < 0x7F)
            ascii += static_cast<char>(unit);
        else if (unit == 0xB5 || unit == 0x3BC)
            ascii += 'u';
        else if (unit == 0x3A9 || unit == 0x2126)
            ascii += "Ohm";
        else if (unit == 0xB0)
            ascii += "deg";
        else
            ascii += unit < 0x20 ? ' ' : '?';
    }
    return ascii;
}

}  // namespace kymora
