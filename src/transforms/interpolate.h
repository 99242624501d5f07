#pragma once
// "Increase frequency": more samples at the same times, by straight lines or by zeros and a low-pass filter.

#include "transforms/fir_params.h"
#include "transforms/rewrite_dlg.h"

namespace kymora {

class StagedFiles;

inline constexpr const char* noIntermediateFileText =
    "Can't open necessary temporary intermediate file: aborting interpolation.";
inline constexpr const char* intermediateNotKeptText =
    "Unable to produce intermediate output file: copy failed";

class CInterpolate : public CRewriteDlg, public FirParams {
  public:
    CInterpolate() : CRewriteDlg("Interpolate") {}
    const char* ClassName() const override { return "CInterpolate"; }
    const char* Title() const override { return "Increase frequency"; }

    enum Type { byFilter = 0, linear = 1 };

    // The upper cutoff is the recording's Nyquist frequency until another one is set.
    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    // The filter's own report follows the interpolation's.
    void GetParamText(std::string& text) override;
    // An intermediate file holds one recording.
    std::string SeveralFilesFault() const override;

    std::string QuestionBefore() const override;

    int32_t m_nFrequencyMultiplier = 2;
    int32_t m_nType = byFilter;
    std::string m_strIntermediateFile;  // the zero-filled recording is kept there; empty: it is not kept
    bool m_bCutIsSet = false;           // the upper one, by the user or by settings

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<RecordingPlan> MakePlan(CDataDoc& doc) override;
    Written WriteRecording(CArchive& archive, const std::filesystem::path& target) override;
    PreviewReach Reach() const override;
    std::vector<float> ExcerptResults(CDataDoc& excerpt, PreviewTalk& talk) override;

  private:
    class ImageFilter;

    void DescribeFilter(ParamList& list);
    // The length and the size of what is made.
    std::string ResultNote() const;
    // The filter is not steep enough for such a multiplier, and what that means.
    bool LeavesImages() const;
    std::string ImagesNote() const;
    std::string ImagesText() const;
    std::string FilterFault() const;
    std::string FileFault() const;
    void ChooseIntermediateFile();
    // Where the zero-filled recording stands, or seems to.
    std::filesystem::path IntermediatePath(const std::filesystem::path& target) const;
    void AppendFilterReport(std::string& text);
    Written WriteFiltered(CArchive& archive, const std::filesystem::path& target);
    void WriteZeroFilled(StagedFiles& files);
    Written Filter(CArchive& archive, const std::filesystem::path& target, CDataDoc& zeroFilled);
};

}  // namespace kymora
