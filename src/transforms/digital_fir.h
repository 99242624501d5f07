#pragma once
// "Digital FIR": band pass and band stop by a windowed filter of finite impulse response.

#include "transforms/filter_dlg.h"
#include "transforms/fir_params.h"

namespace kymora {

class CDigitalFIR : public CFilterDlg, public FirParams {
  public:
    CDigitalFIR() : CFilterDlg("FIR filter") {}
    const char* ClassName() const override { return "CDigitalFIR"; }
    const char* Title() const override { return "Digital FIR"; }

    // An upper cutoff that nobody has chosen comes down to half the sampling rate.
    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;

    // Hz; above 0 the order is the smallest that does, at each recording's rate. Setting the order ends that.
    float m_fTransitionWidth = 0.0f;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    FilterShape Shape(double fs) const override;
    bool HasLogFrequencies() const override { return false; }
    std::vector<GraphLine> Edges() const override;
    std::string RunNote() override { return GainNote(); }
    // What else to do where no order has the right gain.
    virtual std::string GainAdvice() const { return ": widen the band, or lower the sampling rate first"; }
    // Cutoffs, order and window.
    void AppendFilter(std::string& text, const std::string& upperCut) const;
    static constexpr const char* paramHeading = "FIR filter transform parameters\r\n";

  private:
    void FollowTransition();
    // The frequency in the middle of the wider pass band, and the gain there.
    double PassMiddle() const;
    double PassGain(int order) const;
    bool IsRight(int order) const;
    // The smallest order whose gain is right; 0 where there is none.
    int OrderThatDoes() const;
    // What the user is to know of both, and of the end of each run.
    std::string GainNote() const;
    std::string ShortGainNote() const;
    std::string TransitionNote() const;

    // Nobody has chosen the upper cutoff.
    bool IsUpperOffered() const { return !m_isUpperChosen && m_fUpperCut == m_fOffered; }
    float m_fOffered = 100.0f;
    bool m_isUpperChosen = false;
};

}  // namespace kymora
