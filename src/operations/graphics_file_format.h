#pragma once
// "Graphics file format": the settings of vector files, which a configuration file can keep. It writes
// nothing itself: views and plots take their settings from it. OK in its window makes them those that the
// dialogs of vector files offer.

#include <cmath>

#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr double leastTargetWidth = 1.0, greatestTargetWidth = 2000.0;  // mm
inline constexpr int leastTargetResolution = 24, greatestTargetResolution = 9600;

inline constexpr double mmInInch = 25.4;
// Without the noise of binary fractions.
inline double TidyLength(double length) { return std::round(length * 1e9) / 1e9; }
inline double InchesOf(double mm) { return TidyLength(mm / mmInInch); }

// Why a vector file cannot be so wide or so fine; empty when it can.
std::string TargetFault(double widthMm, int64_t resolution);

class CGraphicsFileFormat : public CBatchBaseDlg {
  public:
    const char* ClassName() const override { return "CGraphicsFileFormat"; }
    const char* Title() const override { return "Graphics file format"; }
    const char* ActionLabel() const override { return "OK"; }
    Affects WhatItAffects() const override { return Affects::nothing; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;

    void FollowWidth() { m_dWidthInches = InchesOf(m_dTargetWidth); }
    void FollowInches() { m_dTargetWidth = TidyLength(m_dWidthInches * mmInInch); }

    int32_t m_nFormat = 0;          // 0 EPS, 1 SVG
    double m_dTargetWidth = 152.4;  // mm
    double m_dWidthInches = 6.0;    // the same
    int32_t m_nResolution = 600;    // dpi

  protected:
    void Describe(ParamList& list) override;
    bool Analyse(UndoScope&) override;
};

}  // namespace kymora
