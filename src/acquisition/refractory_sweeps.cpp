#include "acquisition/refractory_sweeps.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "acquisition/refractory_search.h"

namespace kymora {

namespace {

// What a marker of a sweep tells of its pulse: "15 ms, 0.95 V".
void TakePulse(std::string_view label, RefractorySweep& sweep) {
    float delay = 0.0f, amplitude = 0.0f;
    const char* const end = label.data() + label.size();
    const auto first = std::from_chars(label.data(), end, delay);
    constexpr std::string_view between = " ms, ", behind = " V";
    if (first.ec != std::errc() || !std::string_view(first.ptr, end).starts_with(between)) return;
    const auto second = std::from_chars(first.ptr + between.size(), end, amplitude);
    if (second.ec != std::errc() || std::string_view(second.ptr, end) != behind) return;
    sweep.delay = delay;
    sweep.amplitude = amplitude;
}

int64_t SecondsOf(std::string_view label) {
    int64_t seconds = 0;
    std::from_chars(label.data(), label.data() + label.size(), seconds);
    return seconds;
}

ScanFormat FormatOf(const CAcqDoc& doc) {
    ScanFormat format;
    format.channels = doc.m_nChannels;
    format.bytesPerSample = doc.BytesPerSample();
    format.encoding = doc.m_nEncoding == twosComplement ? 1 : 0;
    format.bits = doc.m_nResolutionBits;
    format.low = doc.m_fVoltLow;
    format.high = doc.m_fVoltHigh;
    format.gains = doc.m_dChannelGain;
    return format;
}

bool IsSame(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

}  // namespace

size_t RefractorySweeps::AcceptedCount() const {
    return static_cast<size_t>(std::ranges::count(list, true, &RefractorySweep::isAccepted));
}

std::vector<float> RefractorySweeps::Volts(size_t sweep, size_t trace, int64_t first, int64_t count) const {
    const size_t scanBytes = format.ScanBytes();
    const std::span<const std::byte> samples = list[sweep].samples;
    std::vector<float> volts;
    volts.reserve(static_cast<size_t>(count));
    for (int64_t scan = first; scan < std::min(first + count, ScansOf(sweep)); ++scan)
        volts.push_back(static_cast<float>(
            format.Volts(samples.subspan(static_cast<size_t>(scan) * scanBytes, scanBytes), trace)));
    return volts;
}

std::vector<RefractoryThreshold> ThresholdsOf(const RefractorySweeps& sweeps) {
    std::vector<RefractoryThreshold> found;
    for (const RefractorySweep& sweep : sweeps.list) {
        if (!sweep.isAccepted || std::isnan(sweep.delay)) continue;
        if (found.empty() || found.back().delay != sweep.delay) found.push_back({sweep.delay, {}, 0});
        auto& least = found.back().amplitude;
        least = std::min(least.value_or(sweep.amplitude), sweep.amplitude);
        ++found.back().spikes;
    }
    return found;
}

std::vector<MonitoredWindow> WindowsOf(const RefractorySweeps& sweeps, const RefractorySettings& settings) {
    const double kHz = sweeps.KHz();
    const double from = std::round(settings.m_fWinStart * kHz), to = std::round(settings.m_fWinEnd * kHz);
    // Others lie in no sweep.
    const bool isPlace = std::abs(from) < 1e15 && std::abs(to) < 1e15;
    MonitoredWindow window;
    if (isPlace) window = {static_cast<int64_t>(from), static_cast<int64_t>(to - from)};
    const int64_t first = window.first;
    std::vector<MonitoredWindow> windows;
    for (const RefractorySweep& sweep : sweeps.list) {
        const double moved = (double{sweep.delay} - sweeps.windowDelay) * kHz;
        if (std::abs(moved) < 1e15) window.first = first + WindowShift(sweeps.windowDelay, sweep.delay, kHz);
        windows.push_back(window);
    }
    return windows;
}

std::vector<std::optional<float>> ChangesOf(const RefractorySweeps& sweeps,
                                            const RefractorySettings& settings) {
    const auto windows = WindowsOf(sweeps, settings);
    const size_t trace = settings.m_nMonitorTrace;
    const bool areAllSpikes = std::ranges::all_of(sweeps.list, &RefractorySweep::hasSpike);
    std::vector<std::optional<float>> changes(sweeps.list.size());
    std::vector<float> reference;
    std::optional<float> unit;
    for (size_t i = 0; i < changes.size() && trace < sweeps.format.channels; ++i) {
        const bool isOtherDelay = i > 0 && !IsSame(sweeps.list[i].delay, sweeps.list[i - 1].delay);
        const bool isThere = windows[i].IsIn(sweeps.ScansOf(i));
        if (!isThere || (isOtherDelay && !areAllSpikes)) {
            reference.clear();
            unit.reset();
        }
        if (!isThere) continue;
        std::vector<float> volts = sweeps.Volts(i, trace, windows[i].first, windows[i].samples);
        std::optional<float> difference;
        if (!reference.empty()) difference = SumOfDifferences(volts, reference);
        if (unit) changes[i] = ChangeIn(*difference, *unit);
        if (sweeps.list[i].hasSpike && !areAllSpikes) continue;
        reference = std::move(volts);
        unit = difference;
    }
    return changes;
}

// --- files ---

RefractorySweeps SweepsOf(const CAcqDoc& doc) {
    if (doc.m_eRecordingType != RecordingType::refractoryAutomatic) throw FileError(onlySearchesText, 0);
    const auto& marks = doc.eventChannels[0].Events();
    if (!MarksEpisodes(doc.eventChannels[0]))
        throw FileError("The marks of the sweeps (channel a) are not in this recording any more.", 0);
    RefractorySweeps sweeps;
    sweeps.format = FormatOf(doc);
    sweeps.sampleInterval = doc.m_dSampleInterval;
    for (size_t i = 0; i < marks.size(); ++i) {
        const int64_t first = marks[i].onPosition;
        const int64_t end = i + 1 < marks.size() ? marks[i + 1].onPosition : doc.GetLength();
        if (end <= first) continue;
        RefractorySweep& sweep = sweeps.list.emplace_back();
        sweep.samples.resize(static_cast<size_t>(end - first) * doc.ScanBytes());
        const uint64_t at = doc.m_nDataStart + static_cast<uint64_t>(first) * doc.ScanBytes();
        if (doc.SampleFile().ReadAt(at, sweep.samples) != sweep.samples.size())
            throw FileError("The samples of the sweeps could not be read.", 0);
        sweep.delta = marks[i].eventValue;
        sweep.time = doc.m_timeStart + SecondsOf(marks[i].eventLabel);
        sweep.hasSpike = sweep.isAccepted = true;
        const double time = doc.TimeOf(marks[i].onPosition);
        for (const CMarker& marker : doc.markers)
            if (std::abs(marker.m_dTime - time) < doc.sampleInterval / 2.0)
                TakePulse(marker.m_strLabel, sweep);
        if (std::isnan(sweeps.windowDelay)) sweeps.windowDelay = sweep.delay;
    }
    return sweeps;
}

void CopyRecordingHead(const CAcqDoc& from, CAcqDoc& to) {
    to.m_eRecordingType = from.m_eRecordingType;
    to.m_nChannels = from.m_nChannels;
    to.m_dSampleInterval = from.m_dSampleInterval;
    to.m_dChannelGain = from.m_dChannelGain;
    to.m_strBoardName = from.m_strBoardName;
    to.m_fVoltHigh = from.m_fVoltHigh;
    to.m_fVoltLow = from.m_fVoltLow;
    to.m_nEncoding = from.m_nEncoding;
    to.m_nResolutionBits = from.m_nResolutionBits;
    to.fileComment = from.fileComment;
    to.traces = from.traces;
    to.view = from.view;
}

// Codes of four bytes count from the low end.
void WriteSweeps(CAcqDoc& doc, const RefractorySweeps& sweeps, const std::filesystem::path& path) {
    const ScanFormat& format = sweeps.format;
    const size_t width = format.bytesPerSample;
    const uint32_t half = format.encoding == 1 && width == 2 ? 1u << (format.bits - 1) : 0u;
    const uint32_t mask = width == 2 ? (1u << format.bits) - 1u : ~0u;
    std::optional<int64_t> first;
    for (const RefractorySweep& sweep : sweeps.list) {
        if (!sweep.isAccepted) continue;
        if (!first) doc.SetStartTime(*(first = sweep.time));
        const auto at = static_cast<int32_t>(doc.StoredScans());
        CEventKM mark = EpisodeMark(at, sweep.time - *first);
        mark.eventValue = sweep.delta;
        doc.eventChannels[0].AppendLoaded(std::move(mark));
        if (!std::isnan(sweep.delay))
            doc.InsertMarker(
                {doc.TimeOf(at), fmt::format("{:.6g} ms, {:.6g} V", sweep.delay, sweep.amplitude)});
        std::vector<uint32_t> codes(sweep.samples.size() / width, 0);
        for (size_t i = 0; i < codes.size(); ++i) {
            std::memcpy(&codes[i], sweep.samples.data() + i * width, width);
            codes[i] = (codes[i] ^ half) & mask;
        }
        doc.StoreScans(std::as_bytes(std::span(codes)));
    }
    doc.TakeStoredScans();
    doc.FinishRecording(path);
}

}  // namespace kymora
