#include "recording/dtx_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

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
constexpr uint64_t guardWithWideMark = 4, guardWithCount = 1;  // bytes before its characters

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

uint64_t CAcqDocDTX::SamplesEnd() const {
    const uint64_t length = sampleFile->Length(), characters = std::string_view(metadata::guardString).size();
    for (const uint64_t guard : {guardWithWideMark + 2 * characters, guardWithCount + characters})
        if (length >= header_.m_nDataStart + guard && PassGuard(length - guard) == length)
            return length - guard;
    return length;
}

// The sample count is that of each channel, or that of all of them together, which the duration tells.
void CAcqDocDTX::CountChannels(double durationMs, int64_t statedSamples) {
    const uint64_t bytes = SamplesEnd() - std::min(SamplesEnd(), header_.m_nDataStart);
    const auto there = static_cast<int64_t>(bytes / header_.BytesPerSample());
    int64_t channels = 1;
    if (statedSamples > 0 && there > statedSamples && there % statedSamples == 0) {
        channels = there / statedSamples;
    } else if (std::isfinite(durationMs) && durationMs > 0.0) {
        const double ratio = static_cast<double>(statedSamples) * header_.m_dSampleInterval / durationMs;
        channels = std::llround(std::clamp(ratio, 1.0, static_cast<double>(mostRecordingChannels)));
        statedSamples /= channels;
    }
    if (channels > mostRecordingChannels)
        RefuseDtx(fmt::format("{} samples are {} channels of {}.", there, channels, statedSamples));
    header_.m_nChannels = static_cast<uint32_t>(channels);
    scans_ = std::min(statedSamples, there / channels);
    if (scans_ < statedSamples)
        Tell(fmt::format("{} states {} samples for each channel and holds {}. Those that it holds are shown.",
                         filePath.filename().string(), statedSamples, scans_));
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
