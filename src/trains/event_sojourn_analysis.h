#pragma once
// "Sojourn Analysis": how long a channel's events last, or the pauses between them, and the mixture of
// exponentials that explains it.

#include <array>

#include "statistics/binning.h"
#include "trains/sojourn_fit.h"
#include "trains/trains_base.h"

namespace kymora {

inline constexpr const char* fewSojournsText = "Need at least 20 events for this analysis";

enum SojournKind : int32_t { openTimes, closedTimes };
enum SojournDisplay : int32_t { sojournCounts, sojournLogCounts, sojournRootsOfLog };

class CEventSojournAnalysis : public CTrainsBase {
  public:
    CEventSojournAnalysis() : CTrainsBase(usesChannel1) {}
    const char* ClassName() const override { return "CEventSojournAnalysis"; }
    const char* Title() const override { return "Sojourn Analysis"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    std::optional<Graph> GetGraph() override;
    std::vector<Result> Results() override;
    void WriteResult(const TextSink& sink) override;

    int32_t m_nSojourn = openTimes;
    int32_t m_nBins = 50;
    int32_t m_nDisplay = sojournCounts;
    double m_dDeadTime = 0.0;  // ms
    bool m_bFit = true;
    int32_t m_nExponentials = 1;
    std::array<double, mostComponents> m_proportions{1.0, 0.0, 0.0, 0.0};
    std::array<double, mostComponents> m_means{1.0, 1.0, 1.0, 1.0};  // ms
    bool m_bSet = false;                                             // by the user: a fit starts there
    bool m_bCompare = false;                                         // with one exponential more

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    void OnEventChanChanged(int channel) override;

  private:
    void StartAnew();
    struct Job;
    struct Found {
        std::vector<double> durations;  // ms
        BinGrid grid;                   // of durations, or of their logarithms
        std::vector<double> counts;
        int32_t display = sojournCounts;
        double deadTime = 0.0;
        Mixture mixture;  // the one that is shown
        SojournReport report;
        bool wantsFit = false, isFitted = false;
        PowellResult::End end = PowellResult::End::converged;
        std::optional<LikelihoodRatio> oneMore;

        std::string FaultOfFit() const;  // empty where it was fitted, or was not to be
    };
    Mixture Given() const;
    void Take(const Mixture& mixture);
    std::vector<double> TakeDurations(const CDataDoc& doc);
    GraphLayer CurveOf(std::span<const MixtureComponent> beyond) const;

    std::optional<Found> m_found;
};

}  // namespace kymora
