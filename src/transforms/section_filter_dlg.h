#pragma once
// Filters of second-order sections: "Butterworth, Bessel" of any order and band, and "Notch with harmonics".

#include "kernels/section_filter.h"
#include "transforms/filter_dlg.h"

namespace kymora {

// What both have in common: one way or both ways through the sections that the class makes.
class CSectionFilterDlg : public CFilterDlg {
  public:
    using CFilterDlg::CFilterDlg;

    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;

    int32_t m_nPasses = 2;  // 2: forward and backward

  protected:
    virtual std::vector<Section> Sections(double fs) const = 0;
    // Hz, where the response changes.
    virtual std::vector<double> Landmarks() const = 0;
    FilterShape Shape(double fs) const override;
    void DescribePasses(ParamList& list);
    bool IsBidirectional() const { return m_nPasses == 2; }
};

inline constexpr const char* edgeAtNyquistText =
    "A cutoff must lie above 0 and below half the sampling rate (Nyquist).";

class CClassicFilter : public CSectionFilterDlg {
  public:
    CClassicFilter() : CSectionFilterDlg("Butterworth") {}
    const char* ClassName() const override { return "CClassicFilter"; }
    const char* Title() const override { return "Butterworth or Bessel filter"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nDesign = 0;    // SectionDesign
    int32_t m_nBandType = 0;  // SectionBand
    int32_t m_nOrder = 4;
    float m_fLowerCut = 1.0f, m_fUpperCut = 100.0f;  // Hz

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::vector<Section> Sections(double fs) const override;
    std::vector<double> Landmarks() const override;
    std::vector<GraphLine> Edges() const override;

  private:
    SectionBand Band() const { return static_cast<SectionBand>(m_nBandType); }
    bool UsesLower() const { return Band() != SectionBand::lowPass; }
    bool UsesUpper() const { return Band() != SectionBand::highPass; }
    void TakeName();
};

class CHarmonicNotch : public CSectionFilterDlg {
  public:
    CHarmonicNotch() : CSectionFilterDlg("Notch") {}
    const char* ClassName() const override { return "CHarmonicNotch"; }
    const char* Title() const override { return "Notch with harmonics"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    float m_fFrequency = 50.0f;  // Hz
    int32_t m_nHarmonics = 3;    // with the frequency itself
    float m_fWidth = 2.0f;       // Hz, of each notch at -3 dB

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::vector<Section> Sections(double fs) const override;
    std::vector<double> Landmarks() const override { return Notches(SampleFrequency()); }
    std::vector<GraphLine> Edges() const override { return {Edge("frequency", m_fFrequency)}; }
    std::string RunNote() override;

  private:
    // The frequencies that lie below Nyquist, Hz.
    std::vector<double> Notches(double fs) const;
    std::string NotchesText() const;
};

}  // namespace kymora
