#pragma once
// "Narrow band": a band pass or a band stop about one frequency.

#include "kernels/recursive.h"
#include "transforms/filter_dlg.h"

namespace kymora {

class CNarrowBandDlg : public CFilterDlg {
  public:
    CNarrowBandDlg() : CFilterDlg("Narrow band") {}
    const char* ClassName() const override { return "CNarrowBandDlg"; }
    const char* Title() const override { return "Narrow band filter"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;

    float m_fCentre = 50.0f;               // Hz
    int32_t m_nType = 1;                   // NarrowBandType
    float m_fBandWidth = narrowBandWidth;  // of the sampling rate

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    FilterShape Shape(double fs) const override;
    std::vector<GraphLine> Edges() const override { return {Edge("centre", m_fCentre)}; }

  private:
    RecursiveSettings KernelSettings(double sampleInterval) const;
    bool IsAboveNyquistAt(double sampleInterval) const;
    // Samples until a hundredth is left of what the filter remembers.
    double RingingSamplesOf() const;
    std::string WidthNote() const;
    std::string GainNote() const;
    std::string RunNote() override;
};

}  // namespace kymora
