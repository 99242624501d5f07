#pragma once
// A recording of two units whose spikes overlap now and then, as a channel of candidates.

#include <cmath>
#include <random>

#include "eventedit/event_edit_fixture.h"

namespace kymora::test {

class TwoUnitsTest : public EventEditTest {
  protected:
    enum Channel { candidates = 0, firstTruth = 1, firstUnit = 5 };

    // Two units in noise of s.d. 0.3, 0.05 ms between samples: a sharp one that goes down and a broad one
    // that goes up. Each tenth spike of the first is followed by one of the second within 0.4 to 0.7 ms.
    void SetUp() override {
        std::mt19937 random(11);
        std::normal_distribution<double> noise(0.0, 0.3);
        std::vector<double> values(60000);
        for (double& value : values) value = noise(random);
        for (int i = 0; i < 200; ++i) Put(values, 0, 200 + 290 * i);
        for (int i = 0; i < 160; ++i) Put(values, 1, 330 + 290 * i);
        for (int i = 0; i < 200; i += 10) Put(values, 1, 200 + 290 * i + 8 + (i / 10) % 7);
        for (auto& train : truth_) std::ranges::sort(train);
        doc = MemoryDoc::Make(session, {{values.begin(), values.end()}}, 0.05);
        std::vector<CEventKM> all;
        for (size_t unit = 0; unit < 2; ++unit)
            for (const int at : truth_[unit]) {
                all.push_back({at, at + 4});
                Chan(firstTruth + static_cast<int>(unit)).AddEvent(at, at + 4);
            }
        std::ranges::sort(all, {}, &CEventKM::onPosition);
        FillEvents(candidates, all);
    }
    void Put(std::vector<double>& values, size_t unit, int at) {
        truth_[unit].push_back(at);
        for (int i = -20; i <= 20; ++i) {
            const double x = i;
            values[static_cast<size_t>(at + i)] +=
                unit == 0 ? -30.0 * std::exp(-x * x / 8.0) + 8.0 * std::exp(-(x - 6.0) * (x - 6.0) / 18.0)
                          : 20.0 * std::exp(-x * x / 12.0);
        }
    }

    std::array<std::vector<int>, 2> truth_;
};

}  // namespace kymora::test
