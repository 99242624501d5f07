#include "frequency/mass_edit_dwt.h"

#include <fmt/format.h>

#include <charconv>
#include <stdexcept>

#include "operations/batch_base_dlg.h"

namespace kymora {

namespace {

constexpr int64_t valuesBetween = 1 << 16;
constexpr int highestLevel = 31;
constexpr const char* noBandsText = "The bands to set to 0 are levels of details from 1 (the highest "
                                    "frequencies) and r for the smooth values, such as "
                                    "\"1 2 r\".";
constexpr const char* methodNames[] = {"hard", "soft", "SCAD"};

}  // namespace

std::set<int> CMassEditDWT::ZeroBands() const {
    std::set<int> bands;
    const char* at = m_strZeroBands.data();
    const char* const end = at + m_strZeroBands.size();
    while (at != end) {
        if (*at == ' ' || *at == ',' || *at == ';' || *at == 'd') {
            ++at;
        } else if (*at == 'r') {
            bands.insert(0);
            ++at;
        } else {
            int level = 0;
            const auto [next, error] = std::from_chars(at, end, level);
            if (error != std::errc() || level < 1 || level > highestLevel)
                throw std::invalid_argument(noBandsText);
            bands.insert(level);
            at = next;
        }
    }
    return bands;
}

std::string CMassEditDWT::Fault() const {
    try {
        ZeroBands();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

ThresholdOutcome CMassEditDWT::Apply(WaveletRun& run, const CWaveletTransform::Between& between) const {
    const std::set<int> zero = ZeroBands();
    const auto setToZero = [&] {
        int64_t count = 0, done = 0;
        for (const WaveletBand& band : run.transform.Bands()) {
            if (!zero.contains(band.isSmooth ? 0 : band.level)) continue;
            for (float& value : std::span(run.values).subspan(band.first, band.count)) {
                count += value != 0.0f ? 1 : 0;
                value = 0.0f;
                if (++done % valuesBetween == 0 && between) between(0);
            }
        }
        return count;
    };
    // The threshold is that of all details; what it leaves of the bands goes after it.
    ThresholdOutcome outcome;
    if (m_bThreshold)
        outcome = ThresholdDetails(run.transform, run.values, run.samples,
                                   {static_cast<ThresholdMethod>(m_nThresholdMethod),
                                    static_cast<ThresholdOrigin>(m_nThresholdOrigin), m_nQuantile, m_dNoise},
                                   between);
    outcome.zeroed += setToZero();
    return outcome;
}

void CMassEditDWT::DescribeZeroBands(ParamList& list) {
    list.Text("zeroBands", "Bands to set to 0", m_strZeroBands)
        .Tip("Levels of details, from 1 for the highest frequencies, and r for the smooth values: 1 2 r");
}

void CMassEditDWT::DescribeThreshold(ParamList& list, const std::function<bool()>& isUsed) {
    const auto with = [isUsed](const std::function<bool()>& test) {
        return [isUsed, test] { return (!isUsed || isUsed()) && test(); };
    };
    const auto isOrigin = [this](ThresholdOrigin origin) {
        return [this, origin] { return m_nThresholdOrigin == static_cast<int32_t>(origin); };
    };
    const auto always = [] { return true; };
    list.Choice("thresholdMethod", "Threshold method", m_nThresholdMethod, {"hard", "soft", "SCAD"})
        .Buttons()
        .EnabledIf(with(always))
        .Tip("Details up to the threshold become 0. The others stay; come nearer to 0 by the threshold; do "
             "so where "
             "they are small and stay where they are large");
    list.Choice("thresholdOrigin", "Threshold origin", m_nThresholdOrigin,
                {"quantile", "universal, given noise", "universal, internal estimate"})
        .EnabledIf(with(always))
        .Tip("Where the threshold comes from: a share of all details, or the s.d. of the noise, as you give "
             "it or as "
             "the details of the highest frequencies tell it");
    list.Integer("quantile", "Quantile", m_nQuantile)
        .Unit("%")
        .Limits(0, 100)
        .EnabledIf(with(isOrigin(ThresholdOrigin::quantile)))
        .Tip("Share of the details that become 0");
    list.Number("noise", "Noise s.d.", m_dNoise)
        .Limits(0.0, 1e12)
        .EnabledIf(with(isOrigin(ThresholdOrigin::universalGiven)))
        .Tip("Standard deviation of the noise, in the units of the trace");
}

void CMassEditDWT::AppendText(std::string& text) const {
    if (m_bThreshold) {
        text += fmt::format("Threshold method: {}\r\n", methodNames[m_nThresholdMethod]);
        switch (static_cast<ThresholdOrigin>(m_nThresholdOrigin)) {
        case ThresholdOrigin::quantile:
            text += fmt::format("Threshold origin: quantile = {} %\r\n", m_nQuantile);
            break;
        case ThresholdOrigin::universalGiven:
            text += fmt::format("Threshold origin: universal, noise estimate = {:f}\r\n", m_dNoise);
            break;
        case ThresholdOrigin::universalInternal:
            text += "Threshold origin: universal (internal noise s.d. estimate)\r\n";
            break;
        }
    }
    if (!m_strZeroBands.empty()) text += fmt::format("Bands set to 0: {}\r\n", m_strZeroBands);
}

void CMassEditDWT::Exchange(CArchive& archive) {
    kymora::Exchange(archive, m_strZeroBands);
    kymora::Exchange(archive, m_bThreshold);
    for (int32_t* number : {&m_nThresholdMethod, &m_nThresholdOrigin, &m_nQuantile})
        kymora::Exchange(archive, *number);
    kymora::Exchange(archive, m_dNoise);
}

std::string ThresholdLog(const ThresholdOutcome& outcome) {
    std::string text;
    if (outcome.noise)
        text = fmt::format("noise estimate from top-level detail coeffs = {:f}\n", *outcome.noise);
    return text + fmt::format("number of coefficients set to 0 = {}\n", outcome.zeroed);
}

}  // namespace kymora
