#include "spectra/sections.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace kymora {

namespace {

using std::numbers::pi;
using Complex = std::complex<double>;

constexpr double leastImaginary = 1e-9;  // of a pole, as a share of its size; below it the pole is real

bool IsReal(Complex pole) { return std::fabs(pole.imag()) <= leastImaginary * std::abs(pole); }

// --- prototypes: low-pass filters with their edge at 1 ---

std::vector<Complex> ButterworthPoles(int order) {
    std::vector<Complex> poles;
    poles.reserve(static_cast<size_t>(order));
    for (int k = 0; k < order; ++k) poles.push_back(std::polar(1.0, pi * (2 * k + order + 1) / (2 * order)));
    return poles;
}

// Of s^0 .. s^order: (2n - k)! / (2^(n - k) k! (n - k)!), from the highest down.
std::vector<long double> ReverseBesselPolynomial(int order) {
    std::vector<long double> factors(static_cast<size_t>(order) + 1);
    factors.back() = 1.0L;
    for (int k = order; k > 0; --k)
        factors[static_cast<size_t>(k) - 1] =
            factors[static_cast<size_t>(k)] * k * (2 * order - k + 1) / (2.0L * (order - k + 1));
    return factors;
}

template <typename Number>
Number ValueAt(std::span<const long double> factors, Number s) {
    Number value = 0;
    for (size_t k = factors.size(); k-- > 0;) value = value * s + factors[k];
    return value;
}

// By the method of Weierstrass, Durand and Kerner: all roots at once, each by what the others leave.
std::vector<std::complex<long double>> RootsOf(std::span<const long double> factors) {
    constexpr int most = 500;
    using Wide = std::complex<long double>;
    const size_t degree = factors.size() - 1;
    // All roots of these polynomials lie about this far from 0.
    const long double size = std::pow(factors[0], 1.0L / static_cast<long double>(degree));
    std::vector<Wide> roots;
    for (size_t k = 0; k < degree; ++k)
        roots.push_back(
            std::polar(size, 0.4L + 2.0L * std::numbers::pi_v<long double> * static_cast<long double>(k) /
                                        static_cast<long double>(degree)));
    for (int round = 0; round < most; ++round) {
        long double moved = 0.0L;
        for (size_t i = 0; i < degree; ++i) {
            Wide step = ValueAt<Wide>(factors, roots[i]);
            for (size_t j = 0; j < degree; ++j)
                if (j != i) step /= roots[i] - roots[j];
            roots[i] -= step;
            moved = std::max(moved, std::abs(step) / size);
        }
        if (moved < 1e-17L) break;
    }
    return roots;
}

// Scaled so that the gain at 1 is -3 dB.
std::vector<Complex> BesselPoles(int order) {
    const std::vector<long double> factors = ReverseBesselPolynomial(order);
    long double low = 0.0L, high = 100.0L;
    for (int i = 0; i < 200; ++i) {
        const long double middle = (low + high) / 2.0L;
        const long double size =
            std::abs(ValueAt<std::complex<long double>>(factors, {0.0L, middle})) / factors[0];
        (size * size < 2.0L ? low : high) = middle;
    }
    std::vector<Complex> poles;
    for (const auto& root : RootsOf(factors)) poles.emplace_back(Complex(root / low));
    return poles;
}

// --- bands ---

struct Edges {
    double lower = 0.0, upper = 0.0;  // on the axis of the bilinear transform
    double Width() const { return upper - lower; }
    double SquaredMiddle() const { return lower * upper; }
};

// Of the band, as poles of z.
std::vector<Complex> PolesOf(const std::vector<Complex>& prototype, SectionBand band, const Edges& edges) {
    std::vector<Complex> poles;
    const auto addBoth = [&](Complex half) {
        const Complex root = std::sqrt(half * half - edges.SquaredMiddle());
        poles.push_back(half + root);
        poles.push_back(half - root);
    };
    for (Complex pole : prototype) {
        if (IsReal(pole)) pole = pole.real();
        switch (band) {
        case SectionBand::lowPass:
            poles.push_back(pole * edges.upper);
            break;
        case SectionBand::highPass:
            poles.push_back(edges.lower / pole);
            break;
        case SectionBand::bandPass:
            addBoth(pole * edges.Width() / 2.0);
            break;
        case SectionBand::bandStop:
            addBoth(edges.Width() / 2.0 / pole);
            break;
        }
    }
    for (Complex& pole : poles) pole = (1.0 + pole) / (1.0 - pole);
    return poles;
}

// The sections' denominators: each pole with its conjugate, and real ones by twos.
std::vector<Section> Denominators(const std::vector<Complex>& poles) {
    std::vector<Section> sections;
    std::vector<double> reals;
    for (const Complex& pole : poles)
        if (IsReal(pole))
            reals.push_back(pole.real());
        else if (pole.imag() > 0.0)
            sections.push_back({1.0, 0.0, 0.0, -2.0 * pole.real(), std::norm(pole)});
    std::ranges::sort(reals);
    for (size_t i = 0; i + 1 < reals.size(); i += 2)
        sections.push_back({1.0, 0.0, 0.0, -(reals[i] + reals[i + 1]), reals[i] * reals[i + 1]});
    if (reals.size() % 2 == 1) sections.push_back({1.0, 0.0, 0.0, -reals.back(), 0.0});
    return sections;
}

void SetZeros(Section& section, SectionBand band, double middle) {
    const bool isFirstOrder = section.a2 == 0.0;
    switch (band) {
    case SectionBand::lowPass:
        section.b1 = isFirstOrder ? 1.0 : 2.0;
        section.b2 = isFirstOrder ? 0.0 : 1.0;
        break;
    case SectionBand::highPass:
        section.b1 = isFirstOrder ? -1.0 : -2.0;
        section.b2 = isFirstOrder ? 0.0 : 1.0;
        break;
    case SectionBand::bandPass:
        section.b1 = 0.0;
        section.b2 = -1.0;
        break;
    case SectionBand::bandStop:
        section.b1 = -2.0 * std::cos(2.0 * pi * middle);
        section.b2 = 1.0;
        break;
    }
}

// Where each section gets the gain 1.
double ReferenceOf(SectionBand band, double middle) {
    if (band == SectionBand::highPass) return 0.5;
    return band == SectionBand::bandPass ? middle : 0.0;
}

}  // namespace

std::vector<Section> DesignSections(SectionDesign design, SectionBand band, int order, double lower,
                                    double upper) {
    const bool usesLower = band != SectionBand::lowPass, usesUpper = band != SectionBand::highPass;
    const auto isEdge = [](double f) { return f >= leastSectionEdge && f < 0.5; };
    if (order < 1 || order > greatestSectionOrder || (usesLower && !isEdge(lower)) ||
        (usesUpper && !isEdge(upper)) || (usesLower && usesUpper && lower >= upper))
        throw std::invalid_argument("bad edges or order of a filter");
    const Edges edges{usesLower ? std::tan(pi * lower) : 0.0, usesUpper ? std::tan(pi * upper) : 0.0};
    const double middle = std::atan(std::sqrt(edges.SquaredMiddle())) / pi;
    std::vector<Section> sections = Denominators(
        PolesOf(design == SectionDesign::bessel ? BesselPoles(order) : ButterworthPoles(order), band, edges));
    for (Section& section : sections) {
        SetZeros(section, band, middle);
        const double gain = std::abs(SectionsResponse({&section, 1}, ReferenceOf(band, middle)));
        section.b0 /= gain;
        section.b1 /= gain;
        section.b2 /= gain;
    }
    return sections;
}

Section NotchSection(double frequency, double width) {
    const double t = std::tan(pi * width);
    const double c = -2.0 * std::cos(2.0 * pi * frequency);
    const double b = 1.0 / (1.0 + t);
    return {b, c * b, b, c * b, (1.0 - t) * b};
}

Complex SectionsResponse(std::span<const Section> sections, double frequency) {
    const Complex delay = std::polar(1.0, -2.0 * pi * frequency);
    Complex response = 1.0;
    for (const Section& s : sections)
        response *= (s.b0 + delay * (s.b1 + delay * s.b2)) / (1.0 + delay * (s.a1 + delay * s.a2));
    return response;
}

int64_t RingingSamples(std::span<const Section> sections, int64_t most) {
    constexpr double share = 1e-3;
    double farthest = 0.0;
    for (const Section& s : sections) {
        const double under = s.a1 * s.a1 / 4.0 - s.a2;
        farthest =
            std::max(farthest, under < 0.0 ? std::sqrt(s.a2) : std::fabs(s.a1) / 2.0 + std::sqrt(under));
    }
    if (farthest <= 0.0) return 1;
    const double samples = std::ceil(std::log(share) / std::log(farthest));
    return samples > 0.0 && samples < static_cast<double>(most) ? static_cast<int64_t>(samples) : most;
}

void SectionCascade::Settle(double value) {
    if (!std::isfinite(value)) value = 0.0;
    for (size_t i = 0; i < sections_.size(); ++i) {
        const Section& s = sections_[i];
        const double y = value * (s.b0 + s.b1 + s.b2) / (1.0 + s.a1 + s.a2);
        states_[i].second = s.b2 * value - s.a2 * y;
        states_[i].first = s.b1 * value - s.a1 * y + states_[i].second;
        value = y;
    }
}

}  // namespace kymora
