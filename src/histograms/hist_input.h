#pragma once
// What a histogram is made of: values, heights in time bins, or the times of two trains, with what they are
// called. Values are in their own unit, times in ms.

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "statistics/correlogram.h"

namespace kymora {

struct HistInput {
    enum class Kind {
        values,    // a distribution
        timeBins,  // a bar for each bin of time
        lags       // of every event of one train from every event of the other
    };
    Kind kind = Kind::values;
    std::string name;   // of what is shown: "interval"
    std::string label;  // of the x axis: "interval (ms)"
    // All values where they are in memory. A not-a-number is no value.
    std::shared_ptr<const std::vector<double>> values;
    // Else hands them on, as often as it is called and as they come, in stretches.
    std::function<void(const std::function<void(std::span<const double>)>&)> each;
    // Of values that are too many to be kept: so many of the first are used where each is needed by itself.
    // 0: all.
    size_t mostKept = 0;
    bool isPhase = false;       // the range closes to a circle
    bool isInterval = false;    // neighbours are neighbours in the train
    bool canBePoisson = false;  // numbers of events
    bool isWhole = false;       // bins are whole numbers wide where the user has not said how many there are
    // The range where the user has set none; nothing: from the data.
    std::optional<std::pair<double, double>> naturalRange;

    // Of a trace: the samples that were read, and the statistics of all finite ones.
    std::optional<std::pair<int64_t, MeanSd>> totals;
    std::vector<std::string> messages;  // of whoever took the values

    // Of time bins: the counts, where each begins, and the true width of all.
    std::vector<double> counts, starts;
    double width = 0.0;
    bool isRate = false;  // shown as events per second

    // Of lags: the trains in the region, and which events of which channel those of train 1 are.
    std::vector<double> times1, times2;
    std::vector<int32_t> events1;
    int channel1 = -1;
    Trains trains = Trains::different;
    bool isPsth = false;  // the times of train 2 are stimuli
    std::vector<TimeStretch> region;

    // Hands on values that are in memory.
    void Take(std::vector<double> all) {
        values = std::make_shared<const std::vector<double>>(std::move(all));
    }
    void ForEach(const std::function<void(std::span<const double>)>& take) const {
        if (values) return take(*values);
        if (each) each(take);
    }
};

}  // namespace kymora
