#pragma once
// "Compare sortings": how well sorted units agree with known spikes.

#include <optional>

#include "operations/batch_base_dlg.h"
#include "sorting/sorting_scores.h"

namespace kymora {

class CCompareSortings : public CBatchBaseDlg {
  public:
    const char* ClassName() const override { return "CCompareSortings"; }
    const char* Title() const override { return "Compare sortings"; }
    Affects WhatItAffects() const override { return Affects::nothing; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;

    std::vector<int> m_truth, m_sorted;  // channels from 0
    double m_dTolerance = 0.5;           // ms, between onsets

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    struct Job;
    struct Found {
        std::vector<int> truth, sorted;
        SortingScores scores;
    };
    std::optional<Found> m_found;
};

}  // namespace kymora
