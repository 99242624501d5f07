#include "transforms/interpolate.h"

#include <fmt/format.h>

#include <algorithm>

#include "drawing/number_labels.h"
#include "host/user_numbers.h"
#include "transforms/increase_plan.h"

namespace kymora {

namespace {

constexpr uint32_t interpolateVersion = 1;
constexpr double greatestMultiplier = 1000.0;
// Above this order 200 has no edge that is steep enough between the old Nyquist frequency and the first
// image.
constexpr int32_t steepestMultiplier = 10;
constexpr const char* typeNames[] = {"Filter (specs in following transform)", "Linear interpolation"};
constexpr const char* nativeExtension = ".kymr-dat";

}  // namespace

void CInterpolate::CheckChangeDoc(CDataDoc* doc) {
    CRewriteDlg::CheckChangeDoc(doc);
    if (doc && !m_bCutIsSet) m_fUpperCut = static_cast<float>(500.0 / doc->sampleInterval);
}

void CInterpolate::Serialize(CArchive& archive) {
    CRewriteDlg::Serialize(archive);
    ExchangeVersion(archive, interpolateVersion, ClassName());
    Exchange(archive, m_nFrequencyMultiplier);
    Exchange(archive, m_nType);
    Exchange(archive, m_strIntermediateFile);
    Exchange(archive, m_fLowerCut);
    Exchange(archive, m_fUpperCut);
    Exchange(archive, m_nOrder);
    Exchange(archive, m_nBandType);
    Exchange(archive, m_nWindow);
    Exchange(archive, m_fAlpha);
    Exchange(archive, m_bCutIsSet);
}

// --- the parameters ---

void CInterpolate::Describe(ParamList& list) {
    list.Group("Interpolation");
    list.Integer("frequencyMultiplier", "Frequency multiplier", m_nFrequencyMultiplier)
        .Limits(1, greatestMultiplier)
        .Spin()
        .Tip("Each sample becomes so many; the sample interval is divided by this factor")
        .Shows([this] {
            if (!Document()) return std::string();
            const double interval = Document()->sampleInterval / m_nFrequencyMultiplier;
            return fmt::format("{:.6g} ms, {:.6g} Hz", interval, 1000.0 / interval);
        });
    list.Choice("type", "Type", m_nType, {std::begin(typeNames), std::end(typeNames)})
        .Buttons()
        .Tip("Interpolated by zero-fill between existing values then low-pass filter using Nyquist "
             "criterion; Linear interpolation between existing values");
    list.Note("result", "Result", [this] { return ResultNote(); });
    list.Note("images", "Images stay", [this] { return ImagesNote(); })
        .Tip("Copies of what lies below half the old sample frequency, which the filter is to take away")
        .EnabledIf([this] { return LeavesImages(); });
    DescribeFilter(list);
    DescribeOutput(list);
}

void CInterpolate::DescribeFilter(ParamList& list) {
    const auto isFilter = [this] { return m_nType == byFilter; };
    list.Group("Filter");
    DescribeFir(list, {mostFloat, isFilter, [this] { m_bCutIsSet = true; }});
    list["upperCut"].Tip("Upper end of the band: half the old sample frequency, above which there is nothing "
                         "but images of what lies below it");
    DescribeRunEnds(list, isFilter);
    list.Group("Intermediate file");
    list.Text("intermediateFile", "Keep as", m_strIntermediateFile)
        .Tip("The recording with zeros between its samples, before the filter, is kept under this name; "
             "empty: it is not kept")
        .EnabledIf(isFilter);
    list.Action("chooseIntermediateFile", "Choose...", [this] { ChooseIntermediateFile(); })
        .Tip("Asks for the name")
        .EnabledIf([this] { return m_nType == byFilter && Document() != nullptr; });
}

void CInterpolate::ChooseIntermediateFile() {
    const auto name =
        GetHost().ChooseSaveFile({"Save name for intermediary file", "Kymora (*.kymr-dat)|*.kymr-dat||",
                                  "kymr-dat", m_strIntermediateFile});
    if (name) m_strIntermediateFile = name->string();
}

std::string CInterpolate::CheckSettings() {
    if (Document()) {
        const int64_t length = LongestTrace(*Document()) * m_nFrequencyMultiplier;
        if (length > longestRecording) return fmt::format(resultTooLongText, length);
    }
    if (m_nType != byFilter) return {};
    std::string fault = FilterFault();
    return fault.empty() ? FileFault() : fault;
}

std::string CInterpolate::SeveralFilesFault() const {
    if (m_nType != byFilter || m_strIntermediateFile.empty()) return {};
    return fmt::format("Keep as: {} can hold the intermediate file of one recording only. Leave the name "
                       "empty, or increase one recording at a time.",
                       IntermediatePath({}).string());
}

std::string CInterpolate::FilterFault() const {
    if (std::string fault = FirFault(); !fault.empty() || !Document()) return fault;
    const double nyquist = 500.0 / Document()->sampleInterval * m_nFrequencyMultiplier;
    // The default comes from a division and was rounded.
    if (static_cast<double>(m_fUpperCut) > nyquist * (1.0 + 1e-6))
        return fmt::format("Upper cut: {:.6g} Hz is above {:.6g} Hz, half the new sample frequency.",
                           m_fUpperCut, nyquist);
    return {};
}

std::string CInterpolate::FileFault() const {
    if (m_strIntermediateFile.empty() || !Document()) return {};
    FileSystem& files = Document()->GetSession().files;
    const std::filesystem::path path = IntermediatePath({});
    return files.Stamp(path)
               ? fmt::format("Keep as: {} exists. Choose another name for the intermediate file, "
                             "or remove it.",
                             path.string())
               : std::string();
}

std::filesystem::path CInterpolate::IntermediatePath(const std::filesystem::path& target) const {
    if (m_strIntermediateFile.empty())
        return target.parent_path() / (target.stem().string() + "_zero-filled" + nativeExtension);
    std::filesystem::path path = m_strIntermediateFile;
    if (path.extension() != nativeExtension) path += nativeExtension;
    return path;
}

void CInterpolate::GetParamText(std::string& text) {
    CRewriteDlg::GetParamText(text);
    text += fmt::format("Frequency multiplier: {}\r\nType: {}\r\n", m_nFrequencyMultiplier,
                        typeNames[std::clamp(m_nType, 0, 1)]);
    if (m_nType == byFilter) AppendFilterReport(text);
}

// --- what is told before ---

std::string CInterpolate::ResultNote() const {
    if (!Document()) return {};
    const CDataDoc& doc = *Document();
    int64_t samples = 0;
    for (int trace = 0; trace < doc.traceCount; ++trace)
        samples += doc.CountValid(trace, 0, doc.GetTraceLength(trace)) * m_nFrequencyMultiplier;
    return fmt::format("{} samples a trace, {}",
                       GroupedDigits(LongestTrace(doc) * int64_t{m_nFrequencyMultiplier}),
                       BytesText(static_cast<double>(samples) * sizeof(float)));
}

bool CInterpolate::LeavesImages() const {
    return m_nType == byFilter && m_nFrequencyMultiplier > steepestMultiplier;
}

std::string CInterpolate::ImagesNote() const {
    if (!Document()) return {};
    return fmt::format("above {:.6g} Hz: increase in steps", 500.0 / Document()->sampleInterval);
}

std::string CInterpolate::ImagesText() const {
    return fmt::format(
        "Above a multiplier of {} a filter of order {} has no edge that is steep enough: what lies just "
        "above {:.6g} Hz are images of what lies below. Increase in several steps, or use Resample.",
        steepestMultiplier, greatestFirOrder, 500.0 / Document()->sampleInterval);
}

std::string CInterpolate::QuestionBefore() const {
    return Document() && LeavesImages() ? ImagesText() + "\nIncrease the frequency all the same?"
                                        : std::string();
}

// --- the work ---

std::unique_ptr<RecordingPlan> CInterpolate::MakePlan(CDataDoc& doc) {
    return std::make_unique<IncreasePlan<LinearFill>>(doc, m_nFrequencyMultiplier,
                                                      LinearFill(m_nFrequencyMultiplier));
}

PreviewReach CInterpolate::Reach() const {
    return {m_nType == linear ? 1 : m_nOrder / 2 / m_nFrequencyMultiplier + 1, 1};
}

CTransformDlg::Written CInterpolate::WriteRecording(CArchive& archive, const std::filesystem::path& target) {
    return m_nType == linear ? CRewriteDlg::WriteRecording(archive, target) : WriteFiltered(archive, target);
}

}  // namespace kymora
