#pragma once
// "JPSTH": the joint peri-stimulus time histogram of two channels around the events of a third.

#include "trains/joint_psth.h"
#include "trains/trains_base.h"

namespace kymora {

inline constexpr const char* setAndAnalyseText = "Set params and click Analyse";
// Takes the sample interval, ms.
inline constexpr const char* narrowJointBinText =
    "Bin width must be at least {:f}. Restoring previous value.";

class CJPSTH : public CTrainsBase {
  public:
    const char* ClassName() const override { return "CJPSTH"; }
    const char* Title() const override { return "JPSTH"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    std::optional<Graph> GetGraph() override;
    std::vector<Result> Results() override;
    void WriteResult(const TextSink& sink) override;

    // Stimulus, target and reference are channels 1 to 3.
    int32_t m_nBins = 50;
    float m_fBinWidth = 4.0f;         // ms
    float m_fPreStimulusTime = 0.0f;  // ms
    int32_t m_nUpperDiagonal = 5, m_nLowerDiagonal = -5;
    int32_t m_nSmoothHalfWindow = 1;  // bins
    int32_t m_nShow = 0;              // of enum JointForm
    bool m_bNormaliseByStimulus = false;
    int32_t m_nPredictor = 0;  // of enum JointPredictor
    bool m_bGreys = false;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    struct Job;
    // What the last run has found, and its bins in ms.
    struct Found {
        JointPsth joint;
        double binWidth = 0.0;
        int preBins = 0;
        double shortestInterval = 0.0;  // between stimuli; 0 for none
        std::string stimulus, target, reference;

        double TimeOf(int bin) const { return (bin - preBins) * binWidth; }
        double PreStimulus() const { return preBins * binWidth; }
        double End() const { return TimeOf(joint.bins); }
    };
    JointForm Form() const { return static_cast<JointForm>(m_nShow); }
    int64_t BinSamples() const;
    int PreBins() const;
    double BinWidth() const { return InMs(BinSamples()); }
    void Adjust();
    std::string NarrowFault() const;
    bool HasCloseStimuli() const;
    GraphPane MatrixPane() const;
    GraphPane BarsPane(const char* name, const char* title, const std::vector<double>& heights,
                       const std::string& heightTitle) const;
    GraphPane CorrelogramPane() const;
    std::vector<double> Coincidence() const;

    // The pre-stimulus time as it was asked for, and what has become of it.
    float m_fAskedTime = 0.0f, m_fAdjustedTime = 0.0f;
    std::optional<Found> m_found;
};

}  // namespace kymora
