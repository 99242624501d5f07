#include "transforms/fir_params.h"

namespace kymora {

namespace {

constexpr double mostAlpha = 100.0;

}  // namespace

void FirParams::DescribeFir(ParamList& list, const FirUse& use) {
    list.Choice("bandType", "Type", m_nBandType, {"Band pass", "Band stop"})
        .Buttons()
        .Tip("What lies between the cutoffs passes; What lies between them is taken out")
        .EnabledIf(use.applies);
    list.Number("lowerCut", "lower cut (Hz)", m_fLowerCut)
        .Limits(0, use.mostCut)
        .Step(10)
        .Tip("Lower end of the band; 0 makes a low-pass of a band pass. It stays below the upper cutoff")
        .EnabledIf(use.applies)
        .OnChange([this] { m_isLowerLatest = true; })
        .PutBackIf([this] { return CutoffsCross() ? lowerAboveUpperText : ""; });
    list.Number("upperCut", "upper cut (Hz)", m_fUpperCut)
        .Limits(0, use.mostCut)
        .Step(10)
        .Tip("Upper end of the band; half the sampling rate makes a high-pass of a band pass. It stays above "
             "the lower cutoff")
        .EnabledIf(use.applies)
        .OnChange([this, set = use.upperSet] {
            m_isLowerLatest = false;
            if (set) set();
        })
        .PutBackIf([this] { return CutoffsCross() ? upperBelowLowerText : ""; });
    list.Choice("window", "Window", m_nWindow, {"Blackman", "Hann", "Kaiser"})
        .Buttons()
        .Tip("Takes most from what shall not pass; A narrower transition; Flat but for its two ends")
        .EnabledIf(use.applies);
    list.Number("alpha", "alpha (0=rect, 5.44=Hamming)", m_fAlpha)
        .Limits(0, mostAlpha)
        .Tip("Of the Kaiser window: how far its two end coefficients are reduced")
        .EnabledIf([this, applies = use.applies] {
            return (!applies || applies()) && m_nWindow == static_cast<int32_t>(FirWindow::kaiser);
        });
    list.Integer("order", "Order (even)", m_nOrder)
        .Limits(0, greatestFirOrder)
        .Step(2)
        .Tip("The filter has one coefficient more; the higher, the steeper, and the more is lost at the end "
             "of each run")
        .EnabledIf(use.applies)
        .PutBackIf([this] { return m_nOrder % 2 != 0 ? oddOrderText : ""; });
}

void FirParams::DescribeRunEnds(ParamList& list, const std::function<bool()>& applies) {
    const auto half = [this] { return fmt::format("{} samples", m_nOrder / 2); };
    list.Note("unsettledStart", "Unsettled at each start", half)
        .Tip("The filter takes what lies before a run for 0: data that begin far from it begin with a jump")
        .EnabledIf(applies);
    list.Note("zeroedEnd", "Zero at each run's end", half).EnabledIf(applies);
}

std::string FirParams::FirFault() const {
    if (m_nOrder % 2 != 0) return oddOrderText;
    if (CutoffsCross()) return m_isLowerLatest ? lowerAboveUpperText : upperBelowLowerText;
    return {};
}

FirSettings FirParams::KernelSettings(double sampleInterval) const {
    return {m_fLowerCut,
            m_fUpperCut,
            m_nOrder,
            static_cast<FirBand>(m_nBandType),
            static_cast<FirWindow>(m_nWindow),
            m_fAlpha,
            sampleInterval};
}

}  // namespace kymora
