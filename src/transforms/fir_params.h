#pragma once
// The parameters of the windowed filter, described once for all transforms that have it.

#include <functional>
#include <string>

#include "kernels/fir.h"
#include "operations/param.h"

namespace kymora {

inline constexpr const char* oddOrderText = "Filter order must be an even number. Resetting.";
inline constexpr const char* lowerAboveUpperText =
    "Lower cutoff frequency should be below upper cutoff frequency.";
inline constexpr const char* upperBelowLowerText =
    "Upper cutoff frequency should be above lower cutoff frequency.";

class FirParams {
  public:
    float m_fLowerCut = 0.0f;    // Hz
    float m_fUpperCut = 100.0f;  // Hz
    int32_t m_nOrder = 200;
    int32_t m_nBandType = 0;  // FirBand
    int32_t m_nWindow = 0;    // FirWindow
    float m_fAlpha = 0.0f;    // of the Kaiser window

  protected:
    // In what the transforms differ.
    struct FirUse {
        double mostCut = 0.0;             // Hz, of either cutoff
        std::function<bool()> applies{};  // there is a filter; empty: always
        std::function<void()> upperSet{};
    };
    // The parameters outlive the list, to whose fields the transform may add. In a window an odd order, and a
    // cutoff on the wrong side of the other, give way to the value before.
    void DescribeFir(ParamList& list, const FirUse& use);
    // What the filter leaves of the ends of runs, as notes; empty: always.
    void DescribeRunEnds(ParamList& list, const std::function<bool()>& applies = {});
    // Why order and cutoffs make no filter; empty when they do.
    std::string FirFault() const;
    FirSettings KernelSettings(double sampleInterval) const;  // ms

  private:
    bool CutoffsCross() const { return !(m_fLowerCut < m_fUpperCut); }

    bool m_isLowerLatest = false;  // of the two cutoffs, the one that was set last
};

}  // namespace kymora
