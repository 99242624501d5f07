#pragma once
// "Resample": another sample rate by a rational factor, with the filter that it takes.

#include "spectra/rational_resampling.h"
#include "transforms/rewrite_dlg.h"

namespace kymora {

class CResample : public CRewriteDlg {
  public:
    CResample() : CRewriteDlg("Resample") {}
    const char* ClassName() const override { return "CResample"; }
    const char* Title() const override { return "Resample"; }

    enum By { byFactors = 0, byFrequency = 1 };

    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nBy = byFactors;  // what counts; the other follows
    int32_t m_nUp = 1;
    int32_t m_nDown = 2;
    double m_dSampleFrequency = 500.0;  // Hz

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<RecordingPlan> MakePlan(CDataDoc& doc) override;
    void TellMore(CDataDoc& doc) override;
    PreviewReach Reach() const override;

  private:
    // In lowest terms.
    RateFactor Factor() const;
    double ResultFrequency() const;  // Hz
    // The parameters that do not count follow those that do.
    void Follow();
    std::string ResultText() const;
    std::string BandText() const;
};

}  // namespace kymora
