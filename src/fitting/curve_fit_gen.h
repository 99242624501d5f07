#pragma once
// "Curve fit of a table": an equation of x, typed by the user, fitted to X and Y values.

#include "fitting/table_fit_dlg.h"

namespace kymora {

class CCurveFitGen : public CTableFitDlg {
  public:
    const char* ClassName() const override { return "CCurveFitGen"; }
    const char* Title() const override { return "Curve fit of a table"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void WriteResult(const TextSink& sink) override { m_fit.WriteReport(sink, m_nDecimals, m_nDecimals); }
    std::vector<Result> Results() override { return m_fit.Results(Title()); }
    std::optional<Graph> GetGraph() override;
    std::vector<std::byte> UsedSettings() override {
        return m_fit.AsBefore([this] { return Settings(); });
    }

    CurveFitting m_fit{'x', "a + x"};
    bool m_bSort = false;
    bool m_bContinuous = true;  // the curve is drawn between the points, too

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override { return m_fit.Fault(); }
    void ForgetFound() override { m_fit.Forget(); }
    bool Sorts() const override { return m_bSort; }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
};

}  // namespace kymora
