// "Increase frequency" by zeros and a low-pass filter: the zero-filled recording goes into a file without a
// name, on which the transform of traces runs the FIR filter.

#include <fmt/format.h>

#include <utility>

#include "document/file_identity.h"
#include "document/native_writer.h"
#include "document/staged_files.h"
#include "transforms/data_transform.h"
#include "transforms/digital_fir.h"
#include "transforms/increase_plan.h"
#include "transforms/interpolate.h"

namespace kymora {

namespace {

constexpr size_t intermediateBuffer = 262144;  // bytes

// Of files that need not exist, in folders to which links may lead.
bool HaveOnePlace(FileSystem& files, const std::filesystem::path& a, const std::filesystem::path& b) {
    const auto place = [&](const std::filesystem::path& file) {
        const std::filesystem::path whole = std::filesystem::absolute(file);
        return files.Resolve(whole.parent_path()) / whole.filename();
    };
    return IsSameFile(files, place(a), place(b));
}

}  // namespace

// The filter of all traces, which answers as the interpolation in all that is kept: one entry of the history
// and one step do both.
class CInterpolate::ImageFilter : public CDigitalFIR {
  public:
    explicit ImageFilter(CInterpolate& whole) : whole_(whole) {
        if (whole.Document()) m_strTraceList = fmt::format("1-{}", whole.Document()->traceCount);
        m_nAddMode = replaceTraces;
        static_cast<FirParams&>(*this) = whole;
        m_strComment = whole.m_strComment;
    }
    const char* ClassName() const override { return whole_.ClassName(); }
    const char* Title() const override { return whole_.Title(); }
    // Whoever does the step again has no use for the intermediate file.
    void Serialize(CArchive& archive) override {
        const std::string name = std::exchange(whole_.m_strIntermediateFile, {});
        whole_.Serialize(archive);
        whole_.m_strIntermediateFile = name;
    }
    void GetParamText(std::string& text) override { whole_.GetParamText(text); }
    // Without a recording neither its traces nor its sample frequency are known.
    void GetFilterText(std::string& text) {
        if (whole_.Document()) return CDigitalFIR::GetParamText(text);
        text += paramHeading;
        AppendFilter(text,
                     whole_.m_bCutIsSet ? fmt::format("{:f}", m_fUpperCut) : "half the old sample frequency");
    }
    // Of the gain, and of the ends of runs.
    std::string Note() { return RunNote(); }
    std::string ResultLabel(const std::string& label) const override { return label; }
    bool KeepsMeasures() const override { return true; }

  protected:
    // The band is the old one's, and the sampling rate what was asked for.
    std::string GainAdvice() const override { return {}; }

  private:
    CInterpolate& whole_;
};

void CInterpolate::AppendFilterReport(std::string& text) { ImageFilter(*this).GetFilterText(text); }

CTransformDlg::Written CInterpolate::WriteFiltered(CArchive& archive, const std::filesystem::path& target) {
    CDataDoc& doc = *Document();
    const std::filesystem::path intermediate = IntermediatePath(target);
    // It would stand in the place of the result.
    if (HaveOnePlace(doc.GetSession().files, intermediate, target)) {
        Refuse(fmt::format("Keep as: {} is the result's own name. Choose another name for the intermediate "
                           "file.",
                           intermediate.string()));
        return {};
    }
    StagedFiles files(doc.GetSession().files, intermediate);
    WriteZeroFilled(files);
    Session session(doc.GetSession().host, files);
    CFloatDoc zeroFilled(session);
    if (!zeroFilled.OnOpenDocument(files.Target(), {OpenFor::reading, OpenTalk::logs}))
        throw std::runtime_error(noIntermediateFileText);
    for (const HistoryStep& step : doc.Steps()) zeroFilled.NoteStep(step);
    const Written written = Filter(archive, target, zeroFilled);
    if (!written.isDone || m_strIntermediateFile.empty()) return written;
    try {
        files.Commit();
    } catch (const std::exception& error) {
        Tell(fmt::format("{}\n{}", intermediateNotKeptText, error.what()));
    }
    return written;
}

std::vector<float> CInterpolate::ExcerptResults(CDataDoc& excerpt, PreviewTalk& talk) {
    if (m_nType == linear) return CRewriteDlg::ExcerptResults(excerpt, talk);
    IncreasePlan<ZeroFill> plan(excerpt, m_nFrequencyMultiplier, ZeroFill());
    const std::vector<float> zeroFilled = Collect(plan, excerpt, talk);
    std::vector<float> filtered(zeroFilled.size());
    const auto progress = talk.StartProgress({}, zeroFilled.size());
    FilterFir(zeroFilled, FirCoefficients(KernelSettings(plan.SampleInterval())), filtered,
              [&](int64_t done) {
                  if (!progress->Update(static_cast<uint64_t>(done))) throw Cancelled();
                  return true;
              });
    return filtered;
}

void CInterpolate::WriteZeroFilled(StagedFiles& files) {
    CDataDoc& doc = *Document();
    std::unique_ptr<DataFile> file;
    try {
        file = files.Open(files.Target(), OpenMode::createNew);
    } catch (const FileError& error) {
        throw std::runtime_error(fmt::format("{}\n{}", noIntermediateFileText, error.what()));
    }
    CArchive archive(*file, CArchive::Mode::store, 0, intermediateBuffer);
    IncreasePlan<ZeroFill> plan(doc, m_nFrequencyMultiplier, ZeroFill());
    RecordingRewriter(doc).Write(archive, plan, doc.fileComment);
    archive.Close();
}

CTransformDlg::Written CInterpolate::Filter(CArchive& archive, const std::filesystem::path& target,
                                            CDataDoc& zeroFilled) {
    ImageFilter filter(*this);
    RunMessages messages;
    if (!IsAttended()) filter.SendMessagesTo(&messages);
    filter.CheckChangeDoc(&zeroFilled);
    CDataTransform engine(zeroFilled, target.parent_path());
    const bool isDone = engine.ApplyTraceTransform(archive, filter);
    for (const RunMessage& message : messages)
        message.from == RunMessage::From::refusal ? Refuse(message.text) : Tell(message.text);
    if (!isDone) return {false, engine.FailureNote()};
    // A window says what is lost while the parameters are set, and asks before the work.
    if (View()) return {true, {}, engine.History(), engine.Steps()};
    if (const std::string note = filter.Note(); !note.empty()) Tell(note);
    if (LeavesImages()) Tell(ImagesText());
    return {true, {}, engine.History(), engine.Steps()};
}

}  // namespace kymora
