#include "events/event_chan.h"
#include "numerics/rounding.h"

namespace kymora {
namespace {

constexpr size_t bytesPerExtraRow = 3 * sizeof(float);

// The fewest bytes of a stored event, with an empty narrow label.
size_t LeastEventBytes(int version) {
    const size_t fixed = 4 + 8 + 8 + 4 + 1;
    return version >= 16 ? fixed + 4 : fixed;
}

int32_t PositionOfTime(float timeMs, double sampleInterval) {
    return RoundHalfAway(static_cast<double>(timeMs) / sampleInterval);
}

CEventKM ReadEvent(CArchive& archive, int version, double sampleInterval) {
    CEventKM event;
    event.eventTag = archive.Read<int32_t>();
    if (version >= 9) {
        event.offPosition = archive.Read<int32_t>();
        event.onPosition = archive.Read<int32_t>();
    } else {
        event.offPosition = PositionOfTime(archive.Read<float>(), sampleInterval);
        event.onPosition = PositionOfTime(archive.Read<float>(), sampleInterval);
    }
    archive.Read<float>();
    archive.Read<float>();
    event.eventValue = archive.Read<float>();
    event.eventLabel = archive.ReadString();
    if (version >= 16) event.eventColour = archive.Read<uint32_t>();
    return event;
}

void WriteEvent(CArchive& archive, const CEventKM& event) {
    archive.Write<int32_t>(event.eventTag);
    archive.Write<int32_t>(event.offPosition);
    archive.Write<int32_t>(event.onPosition);
    archive.Write<float>(0.0f);
    archive.Write<float>(0.0f);
    archive.Write<float>(event.eventValue);
    archive.WriteString(event.eventLabel);
    archive.Write<uint32_t>(event.eventColour);
}

// Files below version 19 name the source channel of a burst by its letter.
int32_t ReadBurstSource(CArchive& archive, int version) {
    if (version >= 19) return archive.Read<int32_t>();
    const std::string letter = archive.ReadString();
    return !letter.empty() && letter[0] >= 'a' && letter[0] <= 'z' ? letter[0] - 'a' : 0;
}

// The part of the region that the three methods share in one order.
void ReadRegion(CArchive& archive, int version, DetectionParameters& p) {
    p.analysisRegion = archive.Read<int32_t>();
    p.analysisStart = archive.Read<float>();
    p.analysisEnd = archive.Read<float>();
    if (version > 32) p.analysisRepeat = archive.Read<int32_t>();
}

void WriteRegion(CArchive& archive, const DetectionParameters& p) {
    archive.Write<int32_t>(p.analysisRegion);
    archive.Write<float>(p.analysisStart);
    archive.Write<float>(p.analysisEnd);
    archive.Write<int32_t>(p.analysisRepeat);
}

void ReadTemplate(CArchive& archive, int version, std::vector<float>& data, DetectionParameters& p) {
    const uint32_t points = archive.ReadItemCount(sizeof(float), "template points");
    if (archive.IsSkimming()) {
        archive.Skip(uint64_t{points} * sizeof(float));
    } else {
        data.resize(points);
        archive.ReadRaw(std::as_writable_bytes(std::span(data)));
    }
    if (version >= 37) {
        p.templateStart = archive.Read<int32_t>();
        p.templateEnd = archive.Read<int32_t>();
        p.templateFirst = archive.Read<int32_t>();
        p.templateLast = archive.Read<int32_t>();
    } else {
        p.templateStart = 1;
        p.templateEnd = 0;
        p.templateFirst = static_cast<int32_t>(data.size());
        p.templateLast = 0;
    }
    p.templateTrace = archive.Read<int32_t>();
    p.templateAlign = archive.Read<int32_t>();
    p.templateFit = archive.Read<int32_t>();
    ReadRegion(archive, version, p);
    p.templateThreshold = archive.Read<float>();
    p.templateOption = archive.Read<int32_t>();
    if (version > 46) p.templateExtra = archive.Read<float>();
}

void WriteTemplate(CArchive& archive, int version, const std::vector<float>& data,
                   const DetectionParameters& p) {
    archive.Write<int32_t>(static_cast<int32_t>(data.size()));
    archive.WriteRaw(std::as_bytes(std::span(data)));
    if (version >= 37) {
        archive.Write<int32_t>(p.templateStart);
        archive.Write<int32_t>(p.templateEnd);
        archive.Write<int32_t>(p.templateFirst);
        archive.Write<int32_t>(p.templateLast);
    }
    archive.Write<int32_t>(p.templateTrace);
    archive.Write<int32_t>(p.templateAlign);
    archive.Write<int32_t>(p.templateFit);
    WriteRegion(archive, p);
    archive.Write<float>(p.templateThreshold);
    archive.Write<int32_t>(p.templateOption);
    if (version > 46) archive.Write<float>(p.templateExtra);
}

void ReadThreshold(CArchive& archive, int version, DetectionParameters& p) {
    p.templateTrace = archive.Read<int32_t>();
    ReadRegion(archive, version, p);
    p.thresholdLevel = archive.Read<float>();
    p.thresholdHysteresis = archive.Read<float>();
    p.thresholdMinimum = archive.Read<float>();
    if (version > 11) p.thresholdMode = archive.Read<int32_t>();
    p.thresholdOnsetA = archive.Read<float>();
    p.thresholdOnsetB = archive.Read<float>();
    p.thresholdCount = archive.Read<int32_t>();
}

void WriteThreshold(CArchive& archive, const DetectionParameters& p) {
    archive.Write<int32_t>(p.templateTrace);
    WriteRegion(archive, p);
    archive.Write<float>(p.thresholdLevel);
    archive.Write<float>(p.thresholdHysteresis);
    archive.Write<float>(p.thresholdMinimum);
    archive.Write<int32_t>(p.thresholdMode);
    archive.Write<float>(p.thresholdOnsetA);
    archive.Write<float>(p.thresholdOnsetB);
    archive.Write<int32_t>(p.thresholdCount);
}

}  // namespace

EventOrderFault CEventChan::Load(CArchive& archive, int version) {
    CEventChan loaded(ownerDoc);
    loaded.suppressLockWarning = suppressLockWarning;
    loaded.channelDrawMode = channelDrawMode;
    loaded.channelVisible = channelVisible;
    loaded.channelOptionB = channelOptionB;

    const bool locked = version > 33 && archive.ReadBool();
    if (version > 31) loaded.channelDrawMode = archive.Read<int32_t>();
    loaded.parentTrace = archive.Read<int32_t>();
    loaded.channelLabel = archive.ReadString();
    if (version > 19) loaded.channelComment = archive.ReadString();
    if (version > 20) loaded.channelVisible = archive.Read<int32_t>();
    loaded.channelColour = archive.Read<uint32_t>();
    loaded.channelColourAlt = archive.Read<uint32_t>();
    loaded.detectionMethod = archive.Read<int32_t>();
    loaded.channelFlag = archive.Read<int32_t>();
    if (version >= 14) loaded.displayPosition_ = archive.Read<double>();
    if (version > 40) loaded.channelOptionB = archive.Read<int32_t>();
    loaded.LoadEvents(archive, version);
    archive.Read<int32_t>();  // reserved
    loaded.LoadDetection(archive, version);
    loaded.channelLocked = locked;
    *this = std::move(loaded);
    return CheckOrder();
}

void CEventChan::LoadEvents(CArchive& archive, int version) {
    const uint32_t count = archive.ReadItemCount(LeastEventBytes(version), "events");
    const double sampleInterval = ownerDoc ? ownerDoc->GetSampleInterval() : 1.0;
    if (archive.IsSkimming()) {
        for (uint32_t i = 0; i < count; ++i) ReadEvent(archive, version, sampleInterval);
    } else {
        events_.reserve(count);
        for (uint32_t i = 0; i < count; ++i) AppendLoaded(ReadEvent(archive, version, sampleInterval));
    }
    if (version < 15 || archive.Read<int32_t>() == 0) return;
    archive.CheckRoom(count, bytesPerExtraRow, "rows of event coordinates");
    if (archive.IsSkimming()) return archive.Skip(uint64_t{count} * bytesPerExtraRow);
    eventExtra_.resize(count);
    archive.ReadRaw(std::as_writable_bytes(std::span(eventExtra_)));
}

void CEventChan::LoadDetection(CArchive& archive, int version) {
    switch (detectionMethod) {
    case methodFixedTemplate:
    case methodAdaptiveTemplate:
    case methodScaledTemplate:
        ReadTemplate(archive, version, templateData, detection);
        break;
    case methodThreshold:
        ReadThreshold(archive, version, detection);
        break;
    case methodPoissonSurprise:
        ReadRegion(archive, version, detection);
        detection.burstSourceChannel = ReadBurstSource(archive, version);
        detection.burstSurprise = archive.Read<double>();
        break;
    default:
        break;
    }
}

void CEventChan::Store(CArchive& archive, int version) const {
    archive.WriteBool(channelLocked);
    archive.Write<int32_t>(channelDrawMode);
    archive.Write<int32_t>(parentTrace);
    archive.WriteString(channelLabel);
    archive.WriteString(channelComment);
    archive.Write<int32_t>(channelVisible);
    archive.Write<uint32_t>(channelColour);
    archive.Write<uint32_t>(channelColourAlt);
    archive.Write<int32_t>(detectionMethod);
    archive.Write<int32_t>(channelFlag);
    archive.Write<double>(displayPosition_);
    if (version > 40) archive.Write<int32_t>(channelOptionB);
    archive.Write<int32_t>(GetNumEvents());
    for (const CEventKM& event : events_) WriteEvent(archive, event);
    archive.Write<int32_t>(eventExtra_.empty() ? 0 : 1);
    archive.WriteRaw(std::as_bytes(std::span(eventExtra_)));
    archive.Write<int32_t>(0);  // reserved
    StoreDetection(archive, version);
}

void CEventChan::StoreDetection(CArchive& archive, int version) const {
    switch (detectionMethod) {
    case methodFixedTemplate:
    case methodAdaptiveTemplate:
    case methodScaledTemplate:
        WriteTemplate(archive, version, templateData, detection);
        break;
    case methodThreshold:
        WriteThreshold(archive, detection);
        break;
    case methodPoissonSurprise:
        WriteRegion(archive, detection);
        archive.Write<int32_t>(detection.burstSourceChannel);
        archive.Write<double>(detection.burstSurprise);
        break;
    default:
        break;
    }
}

}  // namespace kymora
