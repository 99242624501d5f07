#include "recording/recording_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/native_writer.h"
#include "document/side_car.h"
#include "host/file_names.h"

namespace kymora {

namespace {

constexpr size_t archiveBuffer = size_t{1} << 20;
constexpr uint64_t bytesAtOnce = uint64_t{1} << 22;  // between two looks at the progress

struct ScanRange {
    const CAcqDoc& source;
    int64_t first = 0;
    int64_t count = 0;

    uint64_t Bytes() const { return static_cast<uint64_t>(count) * source.ScanBytes(); }
};

// Copies scans from file to file, as they are.
class ScanCopy {
  public:
    ScanCopy(Host& host, uint64_t bytes) : progress_(host, "Writing", bytes) {}

    void Write(CArchive& archive, const ScanRange& range) {
        const uint64_t from =
            range.source.m_nDataStart + static_cast<uint64_t>(range.first) * range.source.ScanBytes();
        for (uint64_t done = 0; done < range.Bytes();) {
            const uint64_t part = std::min(bytesAtOnce, range.Bytes() - done);
            archive.WriteFrom(range.source.SampleFile(), from + done, part);
            done += part;
            progress_.Step(part);
        }
    }

  private:
    ProgressScope progress_;
};

void WriteRanges(CAcqDoc& doc, const std::filesystem::path& path, std::initializer_list<ScanRange> ranges,
                 const metadata::StoredPart& part) {
    FileSystem& files = doc.GetSession().files;
    const bool isOwn = IsSameFile(files, doc.filePath, path);
    if (!isOwn) CheckNoSideCar(files, path);
    int64_t scans = 0;
    uint64_t bytes = 0;
    for (const ScanRange& range : ranges) scans += range.count, bytes += range.Bytes();
    RecordingHeader header = doc.CurrentHeader();
    const uint32_t field = header.FieldOf(scans);
    ScanCopy copy(doc.GetHost(), std::max<uint64_t>(bytes, 1));
    const auto write = [&](CArchive& archive) {
        StoreRecordingHeader(archive, header);
        archive.Write<uint32_t>(field);
        for (const ScanRange& range : ranges) copy.Write(archive, range);
        StoreRecordingTail(archive, doc, header, doc.TailState(), part);
    };
    WriteFileAtomically(files, path, isOwn ? doc.RememberedStamp(doc.filePath) : files.Stamp(path), write);
}

SampleRange ScansIn(const CAcqDoc& doc, RecordingSpan& span) {
    const auto last = static_cast<int32_t>(doc.GetLength() - 1);
    span.startMs = std::max(span.startMs, 0.0);
    span.endMs = std::min(span.endMs, std::max(doc.GetEndTime(), 0.0));
    if (!(span.startMs <= span.endMs) || last < 0)
        throw FileError("There is no scan of the recording between these times.", 0);
    return {std::clamp(doc.PositionOf(span.startMs), 0, last),
            std::clamp(doc.PositionOf(span.endMs), 0, last)};
}

// --- one behind another ---

// What the model of the first recording holds of all that changes, put back at the end.
class ModelKept {
  public:
    explicit ModelKept(CDataDoc& doc)
        : doc_(doc),
          channels_(doc.eventChannels),
          annotations_(doc.traceAnnotations),
          markers_(doc.markers) {}
    ~ModelKept() {
        doc_.eventChannels = std::move(channels_);
        doc_.traceAnnotations = std::move(annotations_);
        doc_.markers = std::move(markers_);
    }
    ModelKept(const ModelKept&) = delete;
    ModelKept& operator=(const ModelKept&) = delete;

  private:
    CDataDoc& doc_;
    std::vector<CEventChan> channels_;
    std::array<std::vector<CAnnotation>, maxTraces> annotations_;
    std::vector<CMarker> markers_;
};

CEventChan MovedChannel(const CEventChan& channel, int32_t scans, int64_t seconds) {
    CEventChan moved = channel.WithoutEvents();
    const bool areMarks = MarksEpisodes(channel);
    for (CEventKM event : channel.Events()) {
        const bool isOfStart = areMarks && event.onPosition == 0;
        if (isOfStart) continue;  // its new mark stands there
        if (areMarks) {
            const auto own = static_cast<int64_t>(std::llround(event.eventValue / 1000.0));
            event = EpisodeMark(event.onPosition, own + seconds);
        }
        event.onPosition += scans;
        event.offPosition += scans;
        moved.AppendLoaded(std::move(event));
    }
    return moved;
}

void AddChannel(CEventChan& to, CEventChan moved) {
    if (moved.GetNumEvents() == 0) return;
    if (to.GetNumEvents() == 0) {
        moved.ownerDoc = to.ownerDoc;
        to = std::move(moved);
        return;
    }
    for (CEventKM event : moved.Events()) to.AppendLoaded(std::move(event));
}

void AddMark(CEventChan& channel, const CEventKM& mark) {
    channel.Splice(channel.PlaceFor(mark.onPosition), 0, {mark});
}

template <typename Item>
void AddMoved(std::vector<Item>& to, const std::vector<Item>& items, double ms) {
    for (Item item : items) {
        item.m_dTime += ms;
        to.push_back(std::move(item));
    }
}

void Carry(CAcqDoc& first, const CAcqDoc& second) {
    const auto scans = static_cast<int32_t>(first.GetLength());
    const int64_t seconds = second.m_timeStart - first.m_timeStart;
    CEventChan& marks = first.eventChannels[0];
    if (marks.GetNumEvents() == 0) AddMark(marks, EpisodeMark(0, 0));
    for (size_t c = 0; c < first.eventChannels.size(); ++c)
        AddChannel(first.eventChannels[c], MovedChannel(second.eventChannels[c], scans, seconds));
    AddMark(marks, EpisodeMark(scans, seconds));
    AddMoved(first.markers, second.markers, first.TimeOf(scans));
    for (size_t t = 0; t < first.traceAnnotations.size(); ++t)
        AddMoved(first.traceAnnotations[t], second.traceAnnotations[t], first.TimeOf(scans));
}

}  // namespace

void CheckNoSideCar(FileSystem& files, const std::filesystem::path& path) {
    for (const auto& beside : {SideCarPath(path), NameInstead(path, ".kym")})
        if (files.Stamp(beside))
            throw FileError(
                fmt::format("Beside {} stands {}, which describes another recording. Choose another "
                            "name, or move that file.",
                            path.string(), beside.filename().string()),
                0);
}

void WriteRecording(CAcqDoc& doc, const std::filesystem::path& path) {
    WriteRanges(doc, path, {{doc, 0, doc.GetLength()}}, {});
}

void WriteRecordingPart(CAcqDoc& doc, const std::filesystem::path& path, RecordingSpan span) {
    const SampleRange scans = ScansIn(doc, span);
    WriteRanges(doc, path, {{doc, scans.start, int64_t{scans.end} - scans.start + 1}},
                {scans, span.startMs, span.endMs});
}

std::string AppendFault(const CAcqDoc& first, const CAcqDoc& second) {
    const auto differ = [&](const char* what) {
        return fmt::format("{} cannot stand behind {}: {}.", second.filePath.filename().string(),
                           first.filePath.filename().string(), what);
    };
    if (first.m_nChannels != second.m_nChannels) return differ("its number of channels is another");
    if (first.m_dSampleInterval != second.m_dSampleInterval) return differ("its sample interval is another");
    if (first.BytesPerSample() != second.BytesPerSample()) return differ("its samples have another width");
    if (first.IsWave() != second.IsWave()) return differ("its layout is another");
    const RecordingHeader a = first.CurrentHeader(), b = second.CurrentHeader();
    const bool sameCodes = a.m_nEncoding == b.m_nEncoding && a.m_nResolutionBits == b.m_nResolutionBits &&
                           a.m_fVoltHigh == b.m_fVoltHigh && a.m_fVoltLow == b.m_fVoltLow;
    if (!sameCodes) return differ("its codes mean other voltages");
    if (!std::equal(a.m_dChannelGain.begin(), a.m_dChannelGain.begin() + a.m_nChannels,
                    b.m_dChannelGain.begin()))
        return differ("its channels have other gains");
    if (first.GetLength() + second.GetLength() > longestRecording)
        return differ("the two are too long together");
    return {};
}

void WriteAppended(CAcqDoc& first, const CAcqDoc& second, const std::filesystem::path& path) {
    if (const std::string fault = AppendFault(first, second); !fault.empty()) throw FileError(fault, 0);
    FileSystem& files = first.GetSession().files;
    const bool isOwn = IsSameFile(files, first.filePath, path);
    const ModelKept kept(first);
    Carry(first, second);
    WriteRanges(first, path, {{first, 0, first.GetLength()}, {second, 0, second.GetLength()}}, {});
    if (isOwn && files.Stamp(SideCarPath(path))) WriteSideCarAs(first, files, SideCarPath(path));
}

}  // namespace kymora
