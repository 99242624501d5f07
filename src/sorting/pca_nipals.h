#pragma once
// "Principal Component Analysis (NIPALS)" and "Principal Component Analysis (Covariance)" of the waveforms of
// events.

#include "sorting/components_dlg.h"

namespace kymora {

inline constexpr const char* noConvergenceText = "Done 500 iterations without convergence in PCA. Continue?";

class CPCANipals : public CComponentsDlg {
  public:
    const char* ClassName() const override { return "CPCANipals"; }
    const char* Title() const override { return "Principal Component Analysis (NIPALS)"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    float m_fTolerance = 0.001f;
    int32_t m_nCentring = static_cast<int32_t>(Centring::mean);

  protected:
    void Describe(ParamList& list) override;
    Method MakeMethod() const override;
    std::optional<PrincipalComponents> FindWithUser(const WaveformRows& rows) override;

  private:
    NipalsOptions Settings(size_t rows) const;
};

class CPrincipalComponentAnalysis : public CComponentsDlg {
  public:
    const char* ClassName() const override { return "CPrincipalComponentAnalysis"; }
    const char* Title() const override { return "Principal Component Analysis (Covariance)"; }

    void Serialize(CArchive& archive) override;

  protected:
    void Describe(ParamList& list) override;
    Method MakeMethod() const override;
};

}  // namespace kymora
