#pragma once
// "Robust fit of a table": a smooth or a polynomial through X and Y values, in which outliers lose their
// weight.

#include "curves/reweighted_polynomial.h"
#include "fitting/table_fit_dlg.h"

namespace kymora {

class CRobustFitGen : public CTableFitDlg {
  public:
    const char* ClassName() const override { return "CRobustFitGen"; }
    const char* Title() const override { return "Robust fit of a table"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    enum Type : int32_t { smooth = 0, polynomial = 1 };
    int32_t m_nType = polynomial;
    int32_t m_nDegree = 2;
    int32_t m_nHalfWindow = 5;  // points, of the smooth
    int32_t m_nIterations = 1;  // robust ones
    double m_dThreshold = 6.0;  // of the median absolute residual, from which on a point does not count

  protected:
    void Describe(ParamList& list) override;
    void ForgetFound() override { m_found.reset(); }
    bool Sorts() const override { return true; }
    bool Analyse(UndoScope& undo) override;

  private:
    struct Found {
        FitPointsRef points;
        std::vector<double> fit;
        ReweightedPolynomial polynomial;  // without coefficients for a smooth
        int64_t outliers = 0;             // of the polynomial: points without weight
    };
    bool FitSmooth(Found& found);
    bool FitPolynomial(Found& found);

    std::optional<Found> m_found;
};

}  // namespace kymora
