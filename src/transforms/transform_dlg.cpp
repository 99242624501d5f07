#include "transforms/transform_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "document/native_writer.h"
#include "host/user_numbers.h"
#include "numerics/rounding.h"
#include "transforms/data_transform.h"
#include "transforms/make_preview.h"

namespace kymora {

namespace {

constexpr uint32_t recordVersion = 1;
constexpr double leastHalfWindowTime = 0.0, greatestHalfWindowTime = 1e10;  // ms
constexpr double greatestHalfWindow = 1e9;                                  // samples
constexpr double greatestIterations = 10.0;
constexpr std::string_view labelSeparator = "; ";

// A preview treats its data in memory, where no kernel needs scratch files.
class NoScratch : public ScratchRoom {
  public:
    std::unique_ptr<ScratchRun> Make() override { throw std::logic_error("A preview has no scratch files."); }
};

}  // namespace

double TidyNumber(double value) { return std::stod(fmt::format("{:.14g}", value)); }

// Counted in 32 bits, block by block, by which a processor compares four values and more at once.
int64_t CountNotFinite(std::span<const float> values) {
    constexpr size_t block = 65536;
    constexpr uint32_t exponent = 0x7F800000;
    int64_t count = 0;
    for (; !values.empty(); values = values.subspan(std::min(block, values.size()))) {
        uint32_t inBlock = 0;
        for (const float value : values.first(std::min(block, values.size())))
            inBlock += (std::bit_cast<uint32_t>(value) & exponent) == exponent ? 1 : 0;
        count += inBlock;
    }
    return count;
}

// --- CTransformDlg ---

void CTransformDlg::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, recordVersion, ClassName());
    Exchange(archive, m_strComment);
    Exchange(archive, m_bNewFile);
}

void CTransformDlg::GetParamText(std::string& text) {
    if (m_bNewFile && Document()) text += fmt::format("Source file: {}\r\n", Document()->filePath.string());
}

std::string CTransformDlg::CommentBehind(const std::string& comment) const {
    std::string whole = comment;
    // Comments have their lines end in both characters.
    for (size_t i = 0; i < m_strComment.size(); ++i) {
        if (m_strComment[i] == '\n' && (i == 0 || m_strComment[i - 1] != '\r')) whole += '\r';
        whole += m_strComment[i];
    }
    return whole;
}

void CTransformDlg::TellNotFinite(const std::map<int, int64_t>& counts,
                                  const std::function<int64_t(int)>& total) {
    std::string text;
    for (const auto& [trace, count] : counts)
        text += fmt::format("{}Trace {}: {} of the {} samples of the result are infinite or not a number.",
                            text.empty() ? "" : "\n", trace + 1, count, total(trace));
    if (!text.empty()) Tell(text);
}

void CTransformDlg::DescribeOutput(ParamList& list) {
    list.Group("File");
    list.Text("comment", "Append comment", m_strComment)
        .Lines()
        .Tip("Text that is appended to the comment of the file");
    list.Action("appendParams", "Ap param", [this] { GetParamText(m_strComment); })
        .Settable()
        .Tip("Append the parameters as they stand to this comment");
    list.Flag("newFile", "Write new file", m_bNewFile)
        .Tip("Write the result into a new file and leave the source as it is")
        .EnabledIf([this] { return m_bAllowNewFile; });
}

// --- CTransformTraceDlg ---

void CTransformTraceDlg::Serialize(CArchive& archive) {
    CTransformDlg::Serialize(archive);
    ExchangeVersion(archive, recordVersion, ClassName());
    Exchange(archive, m_strTraceList);
    Exchange(archive, m_nAddMode);
}

void CTransformTraceDlg::GetParamText(std::string& text) {
    CTransformDlg::GetParamText(text);
    text += fmt::format("Trace list: {}\r\n", m_strTraceList);
    text += m_nAddMode == addTraces ? "Add trace mode\r\n" : "Replace trace mode\r\n";
}

std::array<uint8_t, maxTraces> CTransformTraceDlg::TraceFlags(int traceCount) const {
    std::array<uint8_t, maxTraces> flags{};
    for (const int trace : ParseTraceList(m_strTraceList, traceCount, emptyListText))
        flags[static_cast<size_t>(trace)] = 1;
    return flags;
}

void CTransformTraceDlg::DescribeTraces(ParamList& list) {
    list.Group("Traces");
    list.Text("traces", "Traces to process (1-128)", m_strTraceList)
        .Tip("Numbers and ranges, for example 1-5 7 10-12");
    DescribeAddMode(list);
}

void CTransformTraceDlg::DescribeAddMode(ParamList& list) {
    list.Choice("addMode", "Result", m_nAddMode, {"Replace trace(s)", "Add trace(s)"})
        .Buttons()
        .Tip("The result takes the place of each trace; The result is a new trace behind each trace");
}

std::string CTransformTraceDlg::CheckSettings() {
    const int traceCount = Document() ? Document()->traceCount : maxTraces;
    try {
        const auto flags = TraceFlags(traceCount);
        const auto chosen = std::count(flags.begin(), flags.end(), uint8_t{1});
        if (m_nAddMode == addTraces && Document() && traceCount + chosen > maxTraces)
            return tooManyTracesText;
    } catch (const ListError& error) {
        return error.what();
    }
    return {};
}

std::string CTransformTraceDlg::ResultLabel(const std::string& label) const {
    if (label.empty() || label.ends_with(m_strName)) return label.empty() ? m_strName : label;
    return label + (label.ends_with(labelSeparator) ? "" : std::string(labelSeparator)) + m_strName;
}

int CTransformTraceDlg::PreviewTrace() const {
    try {
        return ParseTraceList(m_strTraceList, Document() ? Document()->traceCount : maxTraces).front();
    } catch (const ListError&) {
        return 0;
    }
}

void CTransformTraceDlg::OnNeedData(PreviewData& data) {
    CDataDoc& doc = *Document();
    m_bInPreview = true;
    MakePreview(doc, data, [&](PreviewTalk& quiet) {
        data.transformed.assign(data.raw.size(), 0.0f);
        NoScratch scratch;
        std::mt19937 random = doc.GetSession().random;
        const auto progress = quiet.StartProgress({}, data.raw.size());
        const KernelPoll poll = [&](int64_t done) {
            if (!progress->Update(static_cast<uint64_t>(done))) throw Cancelled();
            return true;
        };
        const TransformRun run{doc, data.trace, data.start, data.count, {}, random, quiet, scratch, poll};
        const KernelOutcome outcome = TransformBlock(run, data.raw, data.transformed);
        data.message = *outcome.message != '\0' ? outcome.message : outcome.note;
        data.isTransformed = outcome.isDone;
        // A kernel that was stopped in its own progress has nothing to say.
        if (!outcome.isDone && data.message.empty()) throw Cancelled();
    });
    m_bInPreview = false;
}

// --- CTransformTraceWindowDlg ---

void CTransformTraceWindowDlg::CheckChangeDoc(CDataDoc* doc) {
    CTransformTraceDlg::CheckChangeDoc(doc);
    if (!doc) return;
    m_dSampleInterval = doc->sampleInterval;
    if (CountsSamples()) m_dHalfWindowTime = TidyNumber(m_nHalfWindow * m_dSampleInterval);
    FollowTime();
}

void CTransformTraceWindowDlg::SuggestSettings() {
    if (EmptyWindowFault().empty()) return;
    m_dHalfWindowTime = m_dSampleInterval;
    FollowTime();
}

void CTransformTraceWindowDlg::FollowTime() {
    m_nHalfWindow = RoundHalfAway(m_dHalfWindowTime / m_dSampleInterval);
}

void CTransformTraceWindowDlg::Serialize(CArchive& archive) {
    CTransformTraceDlg::Serialize(archive);
    ExchangeVersion(archive, recordVersion, ClassName());
    Exchange(archive, m_nHalfWindow);
    Exchange(archive, m_dHalfWindowTime);
    Exchange(archive, m_nIterations);
    if (!archive.IsStoring() && !CountsSamples()) FollowTime();
}

std::string CTransformTraceWindowDlg::HalfWindowText() const {
    return CountsSamples() && !Document() ? fmt::format("{} samples", m_nHalfWindow)
                                          : fmt::format("{:f}", m_dHalfWindowTime);
}

int64_t CTransformTraceWindowDlg::HalfWindowSamples(double interval) const {
    return RoundHalfAway64(m_dHalfWindowTime / interval);
}

std::string CTransformTraceWindowDlg::EmptyWindowFault() const {
    if (!Document() || m_dHalfWindowTime == 0.0) return {};
    const double interval = Document()->sampleInterval;
    if (HalfWindowSamples(interval) > 0) return {};
    return fmt::format(
        "Half window: {:g} ms is less than half a sample interval. Enter at least {:g} ms, one sample.",
        m_dHalfWindowTime, interval);
}

void CTransformTraceWindowDlg::DescribeHalfWindow(ParamList& list, std::function<bool()> isEnabled) {
    list.Integer("halfWindow", "Half window", m_nHalfWindow)
        .Unit("samples")
        .Limits(0, greatestHalfWindow)
        .Tip("Samples on each side of the middle one; the window has 2 x half window + 1 samples")
        .EnabledIf(isEnabled)
        .Linked({"halfWindowTime"})
        .OnChange(
            [this] { m_dHalfWindowTime = Document() ? TidyNumber(m_nHalfWindow * m_dSampleInterval) : 0.0; });
    list.Number("halfWindowTime", "Half window time", m_dHalfWindowTime)
        .Unit("ms")
        .Limits(leastHalfWindowTime, greatestHalfWindowTime)
        .Tip("The same as a time; this is what counts where a recording has another sample interval")
        .EnabledIf(isEnabled)
        .Linked({"halfWindow"})
        .OnChange([this] { FollowTime(); });
}

Field& CTransformTraceWindowDlg::DescribeIterations(ParamList& list, int least) {
    return list.Integer("iterations", "Iterations", m_nIterations).Limits(least, greatestIterations);
}

// --- writing ---

WrittenFile CTransformDlg::WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) {
    m_bNewFile = keepsSource;
    return WriteRecordingFile(*this, session, path,
                              [this](CArchive& archive, const std::filesystem::path& target) {
                                  return WriteRecording(archive, target);
                              });
}

CTransformDlg::Written CTransformTraceDlg::WriteRecording(CArchive& archive,
                                                          const std::filesystem::path& target) {
    CDataTransform engine(*Document(), target.parent_path());
    if (!engine.ApplyTraceTransform(archive, *this)) return {false, engine.FailureNote()};
    return {true, {}, engine.History(), engine.Steps()};
}

}  // namespace kymora
