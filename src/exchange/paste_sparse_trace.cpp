#include "exchange/paste_sparse_trace.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "document/axis_limits.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "exchange/sparse_samples.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t pasteTraceVersion = 1;
constexpr const char* tooCoarseForPoints =
    "The sample interval must be less than or equal to the smallest time interval between samples.";
constexpr const char* tooCoarseForCurve =
    "The sample interval must be less than the time interval between samples.";

// Lends the document the progress of the whole work, which goes on from what is done before.
class CopyPart : public Progress {
  public:
    CopyPart(CDataDoc& doc, ProgressScope& whole, uint64_t before)
        : doc_(doc), whole_(whole), before_(before) {
        doc_.BeginCopy(this);
    }
    ~CopyPart() override { doc_.BeginCopy(nullptr); }
    bool Update(uint64_t done) override { return whole_.GoesOn(before_ + done); }

  private:
    CDataDoc& doc_;
    ProgressScope& whole_;
    uint64_t before_;
};

// The points that have a sample of the recording.
size_t CountWithin(const std::vector<double>& times, double interval, int64_t length) {
    const auto behind = std::find_if(times.begin(), times.end(),
                                     [&](double time) { return SparsePosition(time, interval) >= length; });
    return static_cast<size_t>(behind - times.begin());
}

bool HaveOwnSamples(const std::vector<double>& times, double interval) {
    for (size_t i = 1; i < times.size(); ++i)
        if (SparsePosition(times[i], interval) == SparsePosition(times[i - 1], interval)) return false;
    return true;
}

// The least time between two points, as six decimals show it and no larger, or three digits where six
// decimals show nothing; steps of 0.1 come as 0.09999999999999998 out of a subtraction.
std::string LargestInterval(const std::vector<double>& times) {
    double step = std::numeric_limits<double>::max();
    for (size_t i = 1; i < times.size(); ++i) step = std::min(step, times[i] - times[i - 1]);
    const auto downTo = [step](double unit) {
        const double units = std::round(step / unit);
        return units * unit > step * (1.0 + 1e-9) ? (units - 1.0) * unit : units * unit;
    };
    if (const double shown = downTo(1e-6); shown > 5e-7) return fmt::format("{:f}", shown);
    return fmt::format("{:.3g}", downTo(std::pow(10.0, std::floor(std::log10(step)) - 2.0)));
}

}  // namespace

struct CPasteSparseTrace::Previewed {
    std::string from;  // where the points came from, and what was to become of them
    std::unique_ptr<SparseSamples> samples;
    std::string message;
};

CPasteSparseTrace::CPasteSparseTrace() : CTransformDlg("Paste sparse") {}
CPasteSparseTrace::~CPasteSparseTrace() = default;

// --- the parameters ---

void CPasteSparseTrace::Describe(ParamList& list) {
    list.Group("Points");
    list.Text("file", "From file", m_sFile)
        .Tip(
            "A text file with the times in its first column and the values in its second one. Without a file "
            "the text on the clipboard is pasted");
    list.Action("chooseFile", "Choose...", [this] { ChooseFile(); }).Tip("Chooses a text file of points");
    list.Choice("timeUnit", "Unit of the times", m_nTimeUnit, SparseTimeUnits()).Tip(sparseTimeTip);
    list.Group("Trace");
    list.Trace("trace", "Trace", m_nTrace)
        .Tip("The trace that is replaced, or behind which the new one stands");
    list.Choice("addMode", "Result", m_nAddMode, {"Replace trace", "Add after trace"}).Buttons();
    list.Group("Between the points");
    list.Choice("fill", "Fill", m_Fill.kind, FillWords()).Tip(fillTip);
    list.Flag("extrapolate", extrapolateLabel, m_Fill.extrapolates).Tip(extrapolateTip).EnabledIf([this] {
        return m_Fill.IsCurve();
    });
    DescribeOutput(list);
}

void CPasteSparseTrace::ChooseFile() {
    if (!Document()) return;
    const FileRequest request{"Open points", "text (*.txt;*.csv)|*.txt;*.csv||", "txt", {}};
    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty()) m_sFile = paths[0].string();
}

void CPasteSparseTrace::Serialize(CArchive& archive) {
    CTransformDlg::Serialize(archive);
    ExchangeVersion(archive, pasteTraceVersion, ClassName());
    Exchange(archive, m_sFile);
    Exchange(archive, m_nTimeUnit);
    Exchange(archive, m_nTrace);
    Exchange(archive, m_nAddMode);
    Exchange(archive, m_Fill.kind);
    Exchange(archive, m_Fill.extrapolates);
}

void CPasteSparseTrace::GetParamText(std::string& text) {
    // The tabs of these two lines differ among the kinds, as histories have always had them.
    const bool hasOneTab = m_Fill.Kind() <= InterpolatorKind::catmullRom;
    text += "Paste sparse trace\r\n";
    CTransformDlg::GetParamText(text);
    text += fmt::format("\t{} trace {}\r\n", Adds() ? "Add after" : "Replace", m_nTrace + 1);
    text += FillReport(m_Fill, hasOneTab ? "\t" : "\t\t");
}

std::string CPasteSparseTrace::CheckSettings() {
    if (!Document()) return {};
    if (m_nTrace >= Document()->traceCount) return noSuchTraceText;
    return Adds() && Document()->traceCount >= maxTraces ? tooManyTracesText : std::string();
}

// --- the points ---

// Nothing where there are none, which was told.
std::optional<SparsePoints> CPasteSparseTrace::TakePoints(Session& session) {
    std::optional<SparsePoints> points;
    if (!m_sFile.empty()) {
        const auto file = session.files.Open(m_sFile, OpenMode::readOnly);
        TextReader text(*file);
        points = AskSparsePoints(session, text);
    } else {
        std::string clipboard;
        try {
            clipboard = session.host.ReadClipboardText();
        } catch (const ClipboardError&) {
            Refuse(noClipboardText);
            return {};
        }
        TextReader text{std::string_view(clipboard)};
        points = AskSparsePoints(session, text);
    }
    if (!points || points->values.Columns() == 1) return points;
    Refuse(fmt::format("The table has {} columns of values, and a trace takes one. Copy the times and one of "
                       "the columns.",
                       points->values.Columns()));
    return {};
}

// Null where the points make no trace, which was told.
std::unique_ptr<SparseSamples> CPasteSparseTrace::MakeSamples(const SparsePoints& points) {
    CDataDoc& doc = *Document();
    const double interval = doc.sampleInterval;
    std::vector<double> times = points.TimesMs(SparseTimeFactor(m_nTimeUnit));
    std::vector<float> values = points.Values(0);
    const size_t within = CountWithin(times, interval, doc.GetLength()), all = times.size();
    times.resize(within);
    values.resize(within);
    std::string fault = within > 0
                            ? CurveFault(points, within, m_Fill)
                            : fmt::format("None of the points lies within the recording, which ends at "
                                          "{:.9g} ms. Is the unit of the times right?",
                                          doc.GetEndTime());
    if (fault.empty() && !HaveOwnSamples(times, interval))
        fault =
            fmt::format("{}\nThe largest acceptable sample interval is {}.",
                        m_Fill.IsCurve() ? tooCoarseForCurve : tooCoarseForPoints, LargestInterval(times));
    if (within < all)
        Tell(fmt::format("{} of the {} points lie behind the end of the recording and are left out.",
                         all - within, all));
    if (fault.empty())
        return std::make_unique<SparseSamples>(std::move(times), std::move(values), interval, doc.GetLength(),
                                               m_Fill);
    Refuse(fault);
    return nullptr;
}

// --- the preview ---

namespace {

// Goes on where the user would be asked, and keeps what would be told.
class PointsTalk : public PreviewTalk {
  public:
    explicit PointsTalk(Host& host) : PreviewTalk(host), host_(host) {}
    std::string ReadClipboardText() override { return host_.ReadClipboardText(); }
    bool Confirm(std::string_view, std::string_view) override { return true; }
    void Message(std::string_view text, std::string_view) override { told += std::string(text) + '\n'; }
    std::string told;

  private:
    Host& host_;
};

}  // namespace

const CPasteSparseTrace::Previewed& CPasteSparseTrace::PreparePreview() {
    Session& session = Document()->GetSession();
    std::string from = fmt::format("{} {} {} {}\n", m_nTimeUnit, m_Fill.kind, m_Fill.extrapolates, m_sFile);
    if (m_sFile.empty())
        from += session.host.ReadClipboardText();
    else if (const auto stamp = session.files.Stamp(m_sFile))
        from += fmt::format("{} {}", stamp->length, stamp->modifiedNs);
    if (m_previewed && m_previewed->from == from) return *m_previewed;

    m_previewed = std::make_unique<Previewed>();
    RunMessages messages;
    SendMessagesTo(&messages);
    PointsTalk points(session.host);
    Session quiet(points, session.files);
    quiet.decimalSeparator = session.decimalSeparator;
    const auto end = [&] {
        SendMessagesTo(nullptr);
        for (const RunMessage& message : messages) points.told += message.text + '\n';
        m_previewed->message = points.told.substr(0, points.told.find_last_not_of('\n') + 1);
    };
    try {
        if (const auto table = TakePoints(quiet)) m_previewed->samples = MakeSamples(*table);
    } catch (...) {
        end();
        throw;
    }
    end();
    m_previewed->from = std::move(from);
    return *m_previewed;
}

void CPasteSparseTrace::OnNeedData(PreviewData& data) {
    MakePreview(*Document(), data, [&](PreviewTalk&) {
        const Previewed& previewed = PreparePreview();
        data.message = previewed.message;
        data.isTransformed = previewed.samples != nullptr;
        data.isRefused = !data.isTransformed;
        if (!data.isTransformed) return;
        data.transformed.resize(static_cast<size_t>(data.count));
        previewed.samples->Read(data.start, data.transformed);
    });
}

// --- the new file ---

CTransformDlg::Written CPasteSparseTrace::WriteRecording(CArchive& archive, const std::filesystem::path&) {
    const auto points = TakePoints(Document()->GetSession());
    const auto samples = points ? MakeSamples(*points) : nullptr;
    if (!samples) return {};
    CDataDoc& doc = *Document();
    CFloatDoc result(doc.GetSession());
    result.CopyHeader(doc);
    if (Adds()) {
        std::vector<uint8_t> flags(maxTraces);
        flags[static_cast<size_t>(m_nTrace)] = 1;
        result.AddTraces(flags);
    }
    NameResult(result, points->labels);
    result.validRuns[ResultSlot()] = samples->Runs();
    result.UpdateGapFlags();
    WriteHead(archive, result);
    WriteTraces(archive, *samples, result.traces[ResultSlot()]);

    Written written{true, {}, {}, doc.Steps()};
    std::string report;
    GetParamText(report);
    report += "\r\n";
    result.historyLog += report;
    written.history = result.historyLog;
    // What was on the clipboard is nowhere else, so that nothing could do it again.
    written.steps.push_back({report, Title(), m_sFile.empty() ? std::vector<std::byte>() : Settings(),
                             doc.GetSession().seed, HistoryStep::Draws::none});
    WriteTail(archive, result, CommentBehind(doc.fileComment));
    return written;
}

// Gives the new trace the limits that show all of it.
void CPasteSparseTrace::WriteTraces(CArchive& archive, const SparseSamples& samples, TraceSettings& made) {
    CDataDoc& doc = *Document();
    uint64_t total = static_cast<uint64_t>(samples.Runs().StoredCount()), done = 0;
    for (int t = 0; t < doc.traceCount; ++t)
        if (Adds() || t != m_nTrace) total += static_cast<uint64_t>(doc.GetStoredCount(t));
    ProgressScope progress(doc.GetHost(), "Transforming", total);
    int64_t notFinite = 0;
    AxisLimits limits;
    for (int t = 0; t < doc.traceCount; ++t) {
        progress.AtTrace(static_cast<size_t>(t) + 1, static_cast<size_t>(doc.traceCount));
        if (Adds() || t != m_nTrace) {
            const CopyPart part(doc, progress, done);
            doc.WriteTraceData(archive, t);
            done += static_cast<uint64_t>(doc.GetStoredCount(t));
        }
        if (t != m_nTrace) continue;
        samples.ForBlocks([&](std::span<const float> block) {
            archive.WriteRaw(std::as_bytes(block));
            limits.Include(block);
            notFinite += std::ranges::count_if(block, [](float value) { return !std::isfinite(value); });
            done += block.size();
            progress.At(done);
        });
    }
    // An axis that stands for several traces is fitted when it is drawn.
    if (made.traceOrder == static_cast<int32_t>(ResultSlot())) limits.Give(made);
    if (notFinite > 0)
        Tell(fmt::format("{} of the {} samples of the new trace are infinite or not a number.", notFinite,
                         samples.Runs().StoredCount()));
}

// The trace is called as the column is, and has a range of its own.
void CPasteSparseTrace::NameResult(CFloatDoc& result, const std::vector<std::string>& labels) const {
    const size_t at = ResultSlot();
    TraceSettings& trace = result.traces[at];
    trace.traceLabel = labels.empty() ? m_strName : labels[0];
    trace.traceUnits.clear();
    const bool hasAxis = trace.traceOrder >= 0 && trace.traceOrder < result.traceCount;
    result.traces[hasAxis ? static_cast<size_t>(trace.traceOrder) : at].traceAutoscale = 1;
    if (Adds()) return;
    // What was measured of the old samples goes.
    for (CEventChan& channel : result.eventChannels)
        if (channel.parentTrace == m_nTrace && channel.GetNumEvents() > 0) channel.DropEventExtra();
}

}  // namespace kymora
