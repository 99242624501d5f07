#pragma once
// Recursive filters as a row of second-order sections: Butterworth and Bessel filters of any band, and
// notches. In sections a filter of high order keeps its poles, which the coefficients of one long polynomial
// would lose by rounding. Frequencies are shares of the sampling rate, 0 to 0.5.

#include <cmath>
#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2)
struct Section {
    double b0 = 1.0, b1 = 0.0, b2 = 0.0, a1 = 0.0, a2 = 0.0;
};

enum class SectionDesign { butterworth = 0, bessel = 1 };
enum class SectionBand { lowPass = 0, highPass = 1, bandPass = 2, bandStop = 3 };

inline constexpr int greatestSectionOrder = 10;
// Of an edge: below it the coefficients have no digits left for it.
inline constexpr double leastSectionEdge = 1e-7;

// The filter of `order` (1 .. 10; twice that many poles in bands with two edges) by the bilinear transform,
// whose edges are put where its warping takes them: the gain there is -3 dB, also of Bessel filters. A
// low-pass has its edge at `upper`, a high-pass at `lower`; edges lie at leastSectionEdge or above and below
// 0.5, and ascend. Throws std::invalid_argument for others.
std::vector<Section> DesignSections(SectionDesign design, SectionBand band, int order, double lower,
                                    double upper);

// A notch at `frequency` whose gain is below -3 dB over `width`.
Section NotchSection(double frequency, double width);

std::complex<double> SectionsResponse(std::span<const Section> sections, double frequency);

// Samples after which what a filter remembers has fallen to a thousandth; at most `most`.
int64_t RingingSamples(std::span<const Section> sections, int64_t most);

class SectionCascade {
  public:
    explicit SectionCascade(std::vector<Section> sections)
        : sections_(std::move(sections)), states_(sections_.size()) {}

    // As if the value had come for ever.
    void Settle(double value);
    double Next(double sample) {
        for (size_t i = 0; i < sections_.size(); ++i) {
            const Section& s = sections_[i];
            State& state = states_[i];
            const double y = s.b0 * sample + state.first;
            state.first = s.b1 * sample - s.a1 * y + state.second;
            state.second = s.b2 * sample - s.a2 * y;
            sample = y;
        }
        return sample;
    }

    // Forgets what is far below any float: the processor takes long over the smallest numbers.
    void ForgetTiny() {
        for (State& state : states_)
            for (double* value : {&state.first, &state.second})
                if (std::fabs(*value) < 1e-100) *value = 0.0;
    }

  private:
    struct State {
        double first = 0.0, second = 0.0;
    };
    std::vector<Section> sections_;
    std::vector<State> states_;
};

}  // namespace kymora
