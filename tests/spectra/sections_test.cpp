// Second-order sections against the closed formula of Butterworth filters, published poles of Bessel filters
// (normalised to -3 dB: C. R. Bond, "Bessel filter constants"), and what holds for every filter: its edges,
// its gain in the band, and that it dies away.

#include "spectra/sections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "spectra/power_spectrum.h"

namespace kymora {
namespace {

double GainAt(const std::vector<Section>& sections, double f) {
    return std::abs(SectionsResponse(sections, f));
}

double Warped(double f) { return std::tan(std::numbers::pi * f); }

TEST(Sections, ButterworthFiltersHaveTheirClosedGain) {
    constexpr double low = 0.04, high = 0.13;
    for (int order = 1; order <= 10; ++order)
        for (const auto band :
             {SectionBand::lowPass, SectionBand::highPass, SectionBand::bandPass, SectionBand::bandStop}) {
            const auto sections = DesignSections(SectionDesign::butterworth, band, order, low, high);
            EXPECT_LT(RingingSamples(sections, 100000), 2000);
            for (const double f : {0.001, 0.03, 0.04, 0.07, 0.13, 0.2, 0.37, 0.49}) {
                const double w = Warped(f), l = Warped(low), h = Warped(high);
                double shift = 0.0;  // on the prototype's axis
                switch (band) {
                case SectionBand::lowPass:
                    shift = w / h;
                    break;
                case SectionBand::highPass:
                    shift = l / w;
                    break;
                case SectionBand::bandPass:
                    shift = (w * w - l * h) / (w * (h - l));
                    break;
                case SectionBand::bandStop:
                    shift = w * (h - l) / (w * w - l * h);
                    break;
                }
                const double gain = 1.0 / std::sqrt(1.0 + std::pow(shift * shift, order));
                EXPECT_NEAR(GainAt(sections, f), gain, 1e-9)
                    << order << ", band " << static_cast<int>(band) << ", " << f;
            }
        }
}

TEST(Sections, BesselFiltersHaveThePublishedPoles) {
    // The imaginary parts above 0 and the real one, on the axis whose edge is 1.
    const struct {
        int order;
        std::vector<std::complex<double>> poles;
    } cases[] = {
        {1, {{-1.0, 0.0}}},
        {2, {{-1.1016013306, 0.6360098248}}},
        {3, {{-1.0474091610, 0.9992644363}, {-1.3226757999, 0.0}}},
        {5, {{-0.9576765486, 1.4711243207}, {-1.3808773259, 0.7179095876}, {-1.5023162714, 0.0}}},
    };
    constexpr double edge = 0.1;
    for (const auto& [order, poles] : cases) {
        const auto sections = DesignSections(SectionDesign::bessel, SectionBand::lowPass, order, 0.0, edge);
        ASSERT_EQ(sections.size(), poles.size());
        for (const std::complex<double>& pole : poles) {
            const std::complex<double> s = pole * Warped(edge), z = (1.0 + s) / (1.0 - s);
            double nearest = 1.0;
            for (const Section& section : sections)
                nearest = std::min(nearest, std::abs((z + section.a1) * z + section.a2) /
                                                (section.a2 == 0.0 ? std::abs(z) : 1.0));
            EXPECT_LT(nearest, 1e-8) << order;
        }
    }
}

TEST(Sections, EveryBesselFilterHasItsEdgesAndDiesAway) {
    const double half = std::sqrt(0.5);
    for (int order = 1; order <= 10; ++order)
        for (const double upper : {1e-4, 0.1, 0.49}) {
            const double lower = upper / 2.0;
            const auto design = [&](SectionBand band) {
                return DesignSections(SectionDesign::bessel, band, order, lower, upper);
            };
            SCOPED_TRACE(order);
            EXPECT_NEAR(GainAt(design(SectionBand::lowPass), upper), half, 1e-6);
            EXPECT_NEAR(GainAt(design(SectionBand::lowPass), 0.0), 1.0, 1e-9);
            EXPECT_NEAR(GainAt(design(SectionBand::highPass), lower), half, 1e-6);
            EXPECT_NEAR(GainAt(design(SectionBand::bandPass), lower), half, 1e-6);
            EXPECT_NEAR(GainAt(design(SectionBand::bandPass), upper), half, 1e-6);
            EXPECT_NEAR(GainAt(design(SectionBand::bandStop), upper), half, 1e-6);
            // Run for as long as it rings, an impulse has left.
            SectionCascade cascade(design(SectionBand::lowPass));
            double largest = std::fabs(cascade.Next(1.0)), last = 0.0;
            const int64_t rings = 4 * RingingSamples(design(SectionBand::lowPass), 1 << 20);
            for (int64_t i = 0; i < rings; ++i) {
                last = std::fabs(cascade.Next(0.0));
                largest = std::max(largest, last);
            }
            EXPECT_LT(last, 1e-3 * largest);
        }
}

TEST(Sections, NotchesSettlingAndWhatIsRefused) {
    const Section notch = NotchSection(0.05, 0.002);
    EXPECT_NEAR(GainAt({notch}, 0.05), 0.0, 1e-12);
    EXPECT_NEAR(GainAt({notch}, 0.0), 1.0, 1e-12);
    EXPECT_NEAR(GainAt({notch}, 0.5), 1.0, 1e-12);
    // The two edges lie the width apart.
    double lower = 0.04, upper = 0.05;
    for (int i = 0; i < 60; ++i) {
        const double f = (lower + upper) / 2.0;
        (GainAt({notch}, f) > std::sqrt(0.5) ? lower : upper) = f;
    }
    double below = 0.05, above = 0.06;
    for (int i = 0; i < 60; ++i) {
        const double f = (below + above) / 2.0;
        (GainAt({notch}, f) > std::sqrt(0.5) ? above : below) = f;
    }
    EXPECT_NEAR(below - lower, 0.002, 1e-9);

    SectionCascade settled(DesignSections(SectionDesign::butterworth, SectionBand::lowPass, 7, 0.0, 0.02));
    settled.Settle(-70.0);
    for (int i = 0; i < 100; ++i) EXPECT_NEAR(settled.Next(-70.0), -70.0, 1e-9);

    const auto design = [](SectionBand band, int order, double low, double high) {
        return DesignSections(SectionDesign::butterworth, band, order, low, high);
    };
    EXPECT_THROW(design(SectionBand::lowPass, 0, 0.1, 0.2), std::invalid_argument);
    EXPECT_THROW(design(SectionBand::lowPass, 11, 0.1, 0.2), std::invalid_argument);
    EXPECT_THROW(design(SectionBand::lowPass, 2, 0.1, 0.5), std::invalid_argument);
    EXPECT_THROW(design(SectionBand::highPass, 2, 0.0, 0.2), std::invalid_argument);
    EXPECT_THROW(design(SectionBand::bandPass, 2, 0.2, 0.2), std::invalid_argument);
    EXPECT_THROW(design(SectionBand::bandPass, 2, std::nan(""), 0.2), std::invalid_argument);
}

TEST(PowerSpectrum, FindsASineAndLeavesTheMeanOut) {
    for (const size_t count : {size_t{8}, size_t{1000}, size_t{4096}, size_t{20000}}) {
        std::vector<float> samples;
        // A quarter of the sampling rate.
        for (size_t i = 0; i < count; ++i)
            samples.push_back(100.0f + static_cast<float>(std::sin(std::numbers::pi * double(i) / 2.0)));
        samples[count / 2] = std::numeric_limits<float>::infinity();
        const std::vector<double> powers = PowerSpectrum(samples);
        const auto largest = std::ranges::max_element(powers) - powers.begin();
        EXPECT_EQ(static_cast<size_t>(largest), (powers.size() - 1) / 2) << count;
        EXPECT_LT(powers[0], powers[static_cast<size_t>(largest)] / 2.0);
    }
    EXPECT_TRUE(PowerSpectrum(std::vector<float>(7)).empty());
}

}  // namespace
}  // namespace kymora
