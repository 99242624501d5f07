#include "recording/dtx_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "archive/text_encoding.h"
#include "document/metadata_io.h"
#include "document/side_car.h"

namespace kymora {

namespace {

constexpr const char* selectDtxText = "You must select a .dtx file";
constexpr const char* dtxVersionText =
    "Problem: file version read as {}, which is not on recognised list for this type.";
constexpr const char* deprecatedDtxText = "You are attempting to read a deprecated version of the dtx file "
                                          "format. Please contact the author for help "
                                          "if you need to access this file.";
constexpr int leastDtxVersion = 31;
constexpr double mostRatioError = 0.01;
constexpr uint64_t guardWithWideMark = 4, guardWithCount = 1;  // bytes before its characters

// The guard string as files hold it, with two bytes or one for each character.
std::array<std::string, 2> GuardForms() {
    const std::string_view text = metadata::guardString;
    std::array<std::string, 2> forms;
    for (std::string& form : forms) form.push_back(static_cast<char>(text.size()));
    forms[0].insert(0, "\xFF\xFE\xFF");
    for (const char c : text) {
        forms[0].append({c, '\0'});
        forms[1].push_back(c);
    }
    return forms;
}

bool EndsWithPart(const DataFile& file, const std::string& bytes) {
    std::string there(bytes.size(), '\0');
    ReadWhole(file, file.Length() - bytes.size(), std::as_writable_bytes(std::span(there)));
    return there == bytes;
}

// How many channels a count of samples is of, by the duration of the recording; 1 where it does not tell.
int64_t ChannelsByDuration(int64_t samples, double intervalMs, double durationMs) {
    if (!std::isfinite(durationMs) || durationMs <= 0.0) return 1;
    const double ratio = static_cast<double>(samples) * intervalMs / durationMs;
    const double nearest = std::round(ratio);
    const bool isNumber = std::abs(ratio - nearest) < mostRatioError && nearest >= 1.0 &&
                          nearest <= static_cast<double>(mostRecordingChannels);
    return isNumber ? static_cast<int64_t>(nearest) : 1;
}

[[noreturn]] void RefuseDtx(const std::string& what) {
    throw OpenError("The head of the recording makes no sense: " + what);
}

}  // namespace

void CAcqDocDTX::LoadHead() {
    CArchive archive(*sampleFile, CArchive::Mode::load);
    RecordingHeader& head = header_;
    head.m_nFileVersion = archive.Read<uint16_t>();
    if (head.m_nFileVersion > currentFileVersion)
        throw OpenError(fmt::format(fmt::runtime(dtxVersionText), head.m_nFileVersion));
    if (head.m_nFileVersion < leastDtxVersion) throw OpenError(deprecatedDtxText);
    archive.Read<uint32_t>();  // all of them are of a board
    head.m_timeStart = archive.Read<int64_t>();
    head.m_fVoltHigh = archive.Read<float>();
    head.m_fVoltLow = archive.Read<float>();
    head.m_nEncoding = archive.Read<uint32_t>();
    head.m_nResolutionBits = archive.Read<int32_t>();
    const auto durationMs = archive.Read<double>();
    const auto samples = archive.Read<int32_t>();
    head.m_dSampleInterval = archive.Read<double>();
    for (double& gain : head.m_dChannelGain) gain = archive.Read<double>();
    head.m_nDataStart = PassGuard(archive.Position());
    head.m_nChannels = 1;
    CheckRecordingHeader(head);
    if (samples < 0) RefuseDtx(fmt::format("it states {} samples.", samples));
    CountChannels(durationMs, samples);
    CheckRecordingHeader(head);
}

// Where the bytes behind a guard string at this place begin; the place itself where there is none.
uint64_t CAcqDocDTX::PassGuard(uint64_t at) const {
    try {
        CArchive archive(*sampleFile, CArchive::Mode::load, at);
        if (archive.ReadString() == metadata::guardString) return archive.Position();
    } catch (const ArchiveError&) {  // samples need not look like a text
    }
    return at;
}

// Of a guard string whose end is missing, too, it is known where it begins: behind whole channels.
uint64_t CAcqDocDTX::SamplesEnd(uint64_t channelBytes) const {
    const uint64_t length = sampleFile->Length(), characters = std::string_view(metadata::guardString).size();
    for (const uint64_t guard : {guardWithWideMark + 2 * characters, guardWithCount + characters})
        if (length >= header_.m_nDataStart + guard && PassGuard(length - guard) == length)
            return length - guard;
    for (const auto& guard : GuardForms())
        for (uint64_t part = guard.size() - 1; part > 0 && channelBytes > 0; --part) {
            if (length < header_.m_nDataStart + part) continue;
            const bool isAtChannel = (length - part - header_.m_nDataStart) % channelBytes == 0;
            if (isAtChannel && EndsWithPart(*sampleFile, guard.substr(0, part))) return length - part;
        }
    return length;
}

// The sample count is that of all channels together, which the duration tells, or that of each. Then only the
// length of the file says how many there are; of one that was cut, the last channels' worth counts as begun.
void CAcqDocDTX::CountChannels(double durationMs, int64_t statedSamples) {
    const uint64_t end = SamplesEnd(static_cast<uint64_t>(statedSamples) * header_.BytesPerSample());
    const uint64_t bytes = end - std::min(end, header_.m_nDataStart);
    const auto there = static_cast<int64_t>(bytes / header_.BytesPerSample());
    int64_t channels = ChannelsByDuration(statedSamples, header_.m_dSampleInterval, durationMs);
    const bool isOfAll = channels > 1 && there <= statedSamples;
    if (isOfAll)
        statedSamples /= channels;
    else
        channels = statedSamples > 0 ? std::max<int64_t>((there + statedSamples - 1) / statedSamples, 1) : 1;
    if (channels > mostRecordingChannels)
        RefuseDtx(fmt::format("{} samples are {} channels of {}.", there, channels, statedSamples));
    header_.m_nChannels = static_cast<uint32_t>(channels);
    scans_ = std::min(statedSamples, there / channels);
    if (scans_ == statedSamples) return;
    Tell(fmt::format(
        "{} was cut: it states {} samples for each channel and holds {} in all. They are shown as "
        "{} of each of {} channel(s).{}",
        filePath.filename().string(), statedSamples, there, scans_, channels,
        isOfAll ? ""
                : " The file does not state that number; if more than one channel's samples "
                  "are missing, there were more."));
}

void CAcqDocDTX::FillModel() {
    fileVersion = header_.m_nFileVersion;
    sampleInterval = header_.m_dSampleInterval;
    traceCount = static_cast<int32_t>(header_.m_nChannels);
    for (size_t c = 0; c < header_.m_nChannels; ++c) {
        traces[c].traceAutoscale = 1;
        traces[c].traceGain = header_.m_dChannelGain[c];
        traces[c].traceUnits = "V";
    }
    SetLength(scans_);
}

void CAcqDocDTX::Load() {
    sampleFile = OpenReadOnly();
    LoadHead();
    samples_ = std::make_unique<RecordingSamples>(*sampleFile, header_);
    FillModel();
    const SideCarResult sideCar = ReadSideCar(*this);
    if (sideCar == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (sideCar == SideCarResult::read) ScaleUnknownTraces(*this);
}

void CAcqDocDTX::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    samples_->ReadPieces(storedIndex, pieces);
}

void CDtxDoc::Load() {
    if (!FoldCase(filePath.string()).ends_with(".dtx")) throw OpenError(selectDtxText);
    CAcqDocDTX::Load();
}

}  // namespace kymora
