// Signals are found by label and index, never by place.

#include "document/trace_signals.h"

#include <gtest/gtest.h>

namespace kymora::test {
namespace {

using Signals = std::vector<TraceSignal>;
using Places = std::vector<int>;

const Signals sleepFile{{0, "Fp1"}, {1, "ECG"}, {3, "EMG"}, {4, "EMG"}, {5, ""}};

TEST(TraceSignals, AreFoundByLabelAndIndex) {
    const struct {
        const char* what;
        Signals wanted;
        Places places;
    } cases[] = {
        {"as it was saved", {{1, "ECG"}, {4, "EMG"}}, {1, 3}},
        {"a signal moved", {{7, "ECG"}}, {1}},
        {"another has its place", {{1, "EOG"}}, {-1}},
        {"one of two of that label", {{9, "EMG"}}, {-1}},
        {"two that claim one", {{7, "ECG"}, {8, "ECG"}}, {-1, -1}},
        {"the right one comes first", {{7, "ECG"}, {1, "ECG"}}, {-1, 1}},
        {"no label says nothing", {{8, ""}, {5, ""}}, {-1, 4}},
        {"of nobody knows where", {{-1, "Fp1"}, {-1, "EMG"}}, {0, -1}},
    };
    for (const auto& c : cases) EXPECT_EQ(FindSignals(c.wanted, sleepFile), c.places) << c.what;
}

TEST(TraceSignals, LabelsAloneTellWhereThereIsOneWay) {
    const struct {
        std::vector<std::string> labels;
        Places places;
    } cases[] = {
        {{"Fp1", "EMG", "EMG"}, {0, 2, 3}},
        {{"ECG", ""}, {1, 4}},
        {{"EMG"}, {}},          // either
        {{"ECG", "Fp1"}, {}},   // never in that order
        {{"Fp1", "mine"}, {}},  // a name that the user gave
        {{}, {}},
    };
    for (const auto& c : cases) EXPECT_EQ(FindInOrder(c.labels, sleepFile), c.places) << c.labels.size();
}

}  // namespace
}  // namespace kymora::test
