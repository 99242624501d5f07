#pragma once
// "Interpolate time series": a calculator for the curve through fixed points. It needs no recording.

#include <optional>
#include <string>
#include <vector>

#include "curves/interpolator.h"
#include "exchange/fixed_points.h"
#include "operations/batch_base_dlg.h"

namespace kymora {

class CInterpolateGen : public CBatchBaseDlg {
  public:
    const char* ClassName() const override { return "CInterpolateGen"; }
    const char* Title() const override { return "Interpolate time series"; }
    const char* ActionLabel() const override { return "Interpolate"; }
    Affects WhatItAffects() const override { return Affects::nothing; }
    bool NeedsRecording() const override { return false; }
    bool NeedsTable() const override { return m_strPoints.empty(); }
    bool RunsLive() const override { return true; }
    bool HasResultText() const override { return true; }
    bool TakesDrop(const std::filesystem::path& file) override;
    // The internal source, so that there is something to see.
    void SuggestSettings() override;

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::vector<Result> Results() override;
    void WriteResult(const TextSink& sink) override;
    std::optional<Graph> GetGraph() override;

    int32_t m_nType = static_cast<int32_t>(InterpolatorKind::linear);  // InterpolatorKind
    int32_t m_nPointsInGraph = 100;
    std::string m_strPoints;  // the edit list
    std::string m_strQuery;   // X values
    std::string m_strFile;    // points from here in place of the list
    bool m_bExtrapolate = false;
    bool m_bAxisAuto = true;  // the axis follows the points
    double m_dAxisLeft = 0.0, m_dAxisRight = 0.0;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.reset(); }
    bool Analyse(UndoScope& undo) override;

  private:
    enum class Source { internal, clipboard, manual };
    struct Place {
        double x = 0.0, y = 0.0;
        bool exists = true;  // false where there is no curve
    };
    // Of the last run, where it was done.
    struct Found {
        InterpolatorKind kind = InterpolatorKind::gaps;
        std::string source;
        FixedPoints points;
        std::vector<Place> curve, queries;
    };

    void DescribePoints(ParamList& list);
    void DescribeAxis(ParamList& list);
    void ChooseFile();
    void TakeFile(const std::filesystem::path& file);
    void PasteList();
    void TakeInternal();
    void SetList(std::string list, Source source);
    FixedPoints ReadPoints();
    void NoteIgnored(const FixedPoints& points);
    // Nothing where a word is no number.
    std::optional<std::vector<double>> Query() const;
    std::string SourceText() const;
    std::string QueryText() const;
    void SetAxis(const FixedPoints& points);

    Source m_source = Source::internal;
    std::optional<Found> m_found;
};

}  // namespace kymora
