#include "recording/recording_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

#include "document/native_writer.h"
#include "document/side_car.h"
#include "host/file_names.h"
#include "recording/append_in_place.h"

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
    ScanCopy(Host& host, uint64_t bytes, MayCancel mayCancel)
        : mayCancel_(mayCancel), progress_(host, "Writing", bytes) {}

    void Write(CArchive& archive, const ScanRange& range) {
        const uint64_t from =
            range.source.m_nDataStart + static_cast<uint64_t>(range.first) * range.source.ScanBytes();
        for (uint64_t done = 0; done < range.Bytes();) {
            const uint64_t part = std::min(bytesAtOnce, range.Bytes() - done);
            archive.WriteFrom(range.source.SampleFile(), from + done, part);
            done += part;
            try {
                progress_.Step(part);
            } catch (const Cancelled&) {
                if (mayCancel_ == MayCancel::yes) throw;
            }
        }
    }

  private:
    MayCancel mayCancel_;
    ProgressScope progress_;
};

// What a recording is made of besides its head.
struct Contents {
    std::vector<ScanRange> ranges;
    metadata::StoredPart part{};
    std::optional<uint64_t> replacedSideCar{};
    MayCancel mayCancel = MayCancel::yes;
};

void WriteContents(CAcqDoc& doc, const std::filesystem::path& path, const Contents& contents) {
    FileSystem& files = doc.GetSession().files;
    const bool isOwn = IsSameFile(files, doc.filePath, path);
    if (!isOwn) CheckNoSideCar(files, path);
    int64_t scans = 0;
    uint64_t bytes = 0;
    for (const ScanRange& range : contents.ranges) scans += range.count, bytes += range.Bytes();
    RecordingHeader header = doc.CurrentHeader();
    const uint32_t field = header.FieldOf(scans);
    ScanCopy copy(doc.GetHost(), std::max<uint64_t>(bytes, 1), contents.mayCancel);
    bool hasFile = false;
    const auto write = [&](CArchive& archive) {
        hasFile = true;
        StoreRecordingHeader(archive, header);
        archive.Write<uint32_t>(field);
        for (const ScanRange& range : contents.ranges) copy.Write(archive, range);
        StoreRecordingTail(archive, doc, header, doc.TailState(), contents.part);
        if (!contents.replacedSideCar) return;
        archive.WriteString(replacedSideCarMark);
        archive.Write<uint64_t>(*contents.replacedSideCar);
    };
    try {
        WriteFileAtomically(files, path, isOwn ? doc.RememberedStamp(doc.filePath) : files.Stamp(path),
                            write);
    } catch (const FileError& error) {
        if (hasFile || contents.part.IsWhole()) throw;
        throw SaveNotOpened(error);
    }
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

// What the model of a recording holds of all that changes while it is written, put back at the end.
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

// The episode in which a part begins goes on in it: its mark stands at the part's first sample.
void MarkStart(CEventChan& marks, int32_t start) {
    const auto later = static_cast<size_t>(marks.PlaceFor(start));
    if (later == 0) return;
    CEventKM mark = marks.Events()[later - 1];
    mark.onPosition = start;
    mark.offPosition = start + 1;
    marks.Splice(0, static_cast<int>(later), {mark});
}

// --- one behind another ---

using ExtraRow = std::array<float, 3>;

ExtraRow RowOf(const CEventChan& channel, size_t event) {
    return event < channel.EventExtra().size() ? channel.EventExtra()[event] : ExtraRow{};
}

// An end that is far behind every recording stays behind it.
int32_t MovedPosition(int32_t position, int32_t scans) {
    return static_cast<int32_t>(
        std::min<int64_t>(int64_t{position} + scans, std::numeric_limits<int32_t>::max()));
}

// Puts the events of a channel behind those of another one, as they are but for the first `from` of them.
// Where either has a table of rows, all have theirs in it.
void AddChannel(CEventChan& to, const CEventChan& channel, size_t from, int32_t scans) {
    const auto count = static_cast<size_t>(channel.GetNumEvents());
    if (from >= count) return;
    std::vector<ExtraRow> rows;
    const bool hasRows = !to.EventExtra().empty() || !channel.EventExtra().empty();
    for (size_t i = 0; hasRows && i < static_cast<size_t>(to.GetNumEvents()); ++i)
        rows.push_back(RowOf(to, i));
    if (to.GetNumEvents() == 0) {
        EventChanOwner* const owner = to.ownerDoc;
        to = channel.WithoutEvents();
        to.ownerDoc = owner;
    }
    for (size_t i = from; i < count; ++i) {
        CEventKM event = channel.Events()[i];
        event.onPosition = MovedPosition(event.onPosition, scans);
        event.offPosition = MovedPosition(event.offPosition, scans);
        to.AppendLoaded(std::move(event));
        if (hasRows) rows.push_back(RowOf(channel, i));
    }
    if (hasRows) to.SetEventExtra(std::move(rows));
}

void AddMark(CEventChan& channel, const CEventKM& mark) {
    const int place = channel.PlaceFor(mark.onPosition);
    std::vector<ExtraRow> rows = channel.EventExtra();
    channel.Splice(place, 0, {mark});
    if (rows.empty()) return;
    rows.insert(rows.begin() + place, ExtraRow{});
    channel.SetEventExtra(std::move(rows));
}

// Whether a text is that of a time in seconds, as marks have it.
bool IsMarkLabel(std::string_view text) {
    if (text.starts_with('-')) text.remove_prefix(1);
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// How many events at the start of channel 'a' give way to the new mark there: the recording's own first mark.
size_t MarksOfStart(const CEventChan& marks) {
    if (marks.GetNumEvents() == 0) return 0;
    const CEventKM& first = marks.Events()[0];
    const bool isMark = MarksEpisodes(marks) && IsMarkLabel(first.eventLabel);
    return isMark || first == EpisodeMark(0, 0) ? 1 : 0;
}

// Whether nothing but marks of episodes may be in the channel, and none at the start.
bool BeginsBetweenMarks(const CEventChan& marks) {
    const auto& events = marks.Events();
    return std::all_of(events.begin(), events.end(),
                       [](const CEventKM& event) { return event.onPosition > 0 && IsEpisodeMark(event); });
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
    if (BeginsBetweenMarks(marks)) AddMark(marks, EpisodeMark(0, 0));
    AddMark(marks, EpisodeMark(scans, seconds));
    for (size_t c = 0; c < first.eventChannels.size(); ++c) {
        const CEventChan& channel = second.eventChannels[c];
        AddChannel(first.eventChannels[c], channel, c == 0 ? MarksOfStart(channel) : 0, scans);
    }
    AddMoved(first.markers, second.markers, first.TimeOf(scans));
    for (size_t t = 0; t < first.traceAnnotations.size(); ++t)
        AddMoved(first.traceAnnotations[t], second.traceAnnotations[t], first.TimeOf(scans));
}

// False where the recording has to be written anew.
bool AddInPlace(CAcqDoc& first, const CAcqDoc& second, MayCancel mayCancel) {
    FileSystem& files = first.GetSession().files;
    if (first.GetLength() == 0 || first.IsWave() || first.Fault() != RecordingFault::none) return false;
    const auto file = files.Open(files.Resolve(first.filePath), OpenMode::readWrite);
    // One that was cut off while it was added to, or is another one by now, is written anew.
    const bool isAsRead = file->Stamp() == first.RememberedStamp(first.filePath) &&
                          file->Length() == first.SampleFile().Length();
    if (!isAsRead || !file->TryLock()) return false;
    RecordingHeader header = first.CurrentHeader();
    const ScanRange scans{second, 0, second.GetLength()};
    const auto all = first.GetLength() + second.GetLength();
    const PlaceOfAppend place{header.m_nFileHeaderEnd,
                              header.m_nDataStart +
                                  static_cast<uint64_t>(first.GetLength()) * header.ScanBytes(),
                              header.FieldOf(all), scans.Bytes()};
    ScanCopy copy(first.GetHost(), std::max<uint64_t>(scans.Bytes(), 1), mayCancel);
    return AppendInPlace(*file, place, [&](CArchive& archive) {
        copy.Write(archive, scans);
        StoreRecordingTail(archive, first, header, first.TailState(), {});
    });
}

}  // namespace

std::optional<std::filesystem::path> SideCarBeside(FileSystem& files, const std::filesystem::path& path) {
    return FindSideCar(files, path);
}

void CheckNoSideCar(FileSystem& files, const std::filesystem::path& path) {
    if (const auto beside = SideCarBeside(files, path))
        throw FileError(fmt::format("Beside {} stands {}, which describes another recording. Choose another "
                                    "name, or move that file.",
                                    path.string(), beside->filename().string()),
                        0);
}

void WriteRecording(CAcqDoc& doc, const std::filesystem::path& path) {
    WriteContents(doc, path, {{{doc, 0, doc.GetLength()}}});
}

void WriteRecordingPart(CAcqDoc& doc, const std::filesystem::path& path, RecordingSpan span) {
    const SampleRange scans = ScansIn(doc, span);
    metadata::StoredPart part(scans, span.startMs, span.endMs);
    part.keepsEmptyEvents = true;
    const ModelKept kept(doc);
    if (MarksEpisodes(doc.eventChannels[0])) MarkStart(doc.eventChannels[0], scans.start);
    WriteContents(doc, path, {{{doc, scans.start, int64_t{scans.end} - scans.start + 1}}, part});
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

void WriteAppended(CAcqDoc& first, const CAcqDoc& second, const std::filesystem::path& path,
                   MayCancel mayCancel, MayAddInPlace mayAdd) {
    if (const std::string fault = AppendFault(first, second); !fault.empty()) throw FileError(fault, 0);
    FileSystem& files = first.GetSession().files;
    const bool isOwn = IsSameFile(files, first.filePath, path);
    if (isOwn && !first.HasTail())
        throw FileError(fmt::format("The settings and events of {} could not be read, and a recording in its "
                                    "place would lose them. Write another file, or recover this one first.",
                                    path.string()),
                        0);
    const bool hasSideCar = isOwn && first.damagedSideCar.empty();
    const auto replaced = hasSideCar ? SideCarSum(files, first.filePath) : std::nullopt;
    const ModelKept kept(first);
    Carry(first, second);
    const bool isWhole = isOwn && !SideCarBeside(files, first.filePath) && first.damagedSideCar.empty();
    if (isWhole && mayAdd == MayAddInPlace::yes && AddInPlace(first, second, mayCancel)) return;
    WriteContents(
        first, path,
        {{{first, 0, first.GetLength()}, {second, 0, second.GetLength()}}, {}, replaced, mayCancel});
    if (replaced) WriteSideCarAs(first, files, SideCarPath(files, first.filePath));
}

}  // namespace kymora
