#pragma once
// "Event Correlation Index": how much each pair of a list of channels has to do with each other, by the
// correlation index or by the spike time tiling coefficient.

#include "trains/train_correlation.h"
#include "trains/trains_base.h"

namespace kymora {

enum CorrelationMode : int32_t { correlationIndex, tilingCoefficient };

class CEventCorrelIdx : public CTrainsBase {
  public:
    CEventCorrelIdx() : CTrainsBase(usesMulti) {}
    const char* ClassName() const override { return "CEventCorrelIdx"; }
    const char* Title() const override { return "Event Correlation Index"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void SuggestSettings() override;
    std::optional<Graph> GetGraph() override;
    std::vector<Result> Results() override;
    void WriteResult(const TextSink& sink) override;

    int32_t m_nMode = correlationIndex;
    double m_dStart = -5.0, m_dEnd = 5.0;         // ms after events of the reference
    double m_dHalfWindow = 50.0;                  // ms
    double m_dLagRange = 0.0, m_dLagStep = 10.0;  // ms; a range of 0: no lags

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    struct Job;
    struct Found {
        int32_t mode = correlationIndex;
        std::vector<std::string> names;
        std::vector<CorrelationIndex> indices;           // of each reference with all others, in their order
        std::vector<double> tilings;                     // of the first with those behind it, and so on
        std::vector<double> lags;                        // ms
        std::vector<std::vector<double>> tilingsAtLags;  // of the same pairs

        // Calls take(first, second, which) for each of the pairs in their order.
        template <typename Take>
        void ForPairs(Take take) const;
    };
    bool HasLags() const { return m_nMode == tilingCoefficient && m_dLagRange > 0.0; }
    std::string IndexLine(const CorrelationIndex& one, size_t reference, size_t other) const;
    Result IndexResult() const;
    Result TilingResult() const;
    Result LagResult() const;
    GraphPane PairsPane() const;
    GraphPane LagPane() const;

    std::optional<Found> m_found;
};

}  // namespace kymora
