#pragma once
// "De-noise with wavelets": traces without what wavelets show to be noise.

#include "frequency/mass_edit_dwt.h"
#include "transforms/transform_dlg.h"

namespace kymora {

class CWaveletDenoise : public CTransformTraceDlg {
  public:
    CWaveletDenoise() : CTransformTraceDlg("De-noise") {
        m_strComment = "\r\nModified with DWT ";
        m_edit.m_bThreshold = true;
    }
    const char* ClassName() const override { return "CWaveletDenoise"; }
    const char* Title() const override { return "De-noise with wavelets"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;

    int32_t m_nWavelet = 2;
    CMassEditDWT m_edit;
    int32_t m_nShifts = 1;  // results that are averaged, each of the run begun a sample later

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;

  private:
    // Of a run whose samples stand in front of the values.
    void Edit(const TransformRun& run, WaveletRun& values) const;
    void EditRun(const TransformRun& run, WaveletRun& values, bool isFirst) const;
    void EditShifted(const TransformRun& run, WaveletRun& values) const;
};

}  // namespace kymora
