#include "exchange/edf_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "import/edf_header.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr size_t fieldWidth = 8;
constexpr int64_t mostRecordBytes = 61440;  // as the format recommends
constexpr int64_t leastRecordBytes = 64;    // below it annotations take more room than samples
constexpr int64_t mostRecords = 99999999;
constexpr int64_t mostTrials = 20000000;  // of runs with lengths of records

// Of the two texts of so many decimals around x, the one on the right side; nothing where it is too long.
template <typename Format>
std::optional<EdfField> OnSide(double x, bool up, double step, Format format) {
    for (const double nudged : {x, up ? x + step : x - step}) {
        const std::string text = format(nudged);
        const double value = EdfReal(text);
        if (text.size() <= fieldWidth && (up ? value >= x : value <= x)) return EdfField{text, value};
    }
    return {};
}

// "1235e-9": as a whole number of 10^last, without zeros behind it.
std::string WithExponent(double x, int last) {
    auto number = static_cast<int64_t>(RoundHalfAway64(x / std::pow(10.0, last)));
    for (; number != 0 && number % 10 == 0; ++last) number /= 10;
    return fmt::format("{}e{}", number, last);
}

EdfField DurationField(double seconds) {
    EdfField best;
    double error = std::numeric_limits<double>::infinity();
    for (int decimals = 0; decimals < 7; ++decimals) {
        const std::string text = fmt::format("{:.{}f}", seconds, decimals);
        const double value = EdfReal(text);
        if (text.size() > fieldWidth || value <= 0.0 || std::fabs(value - seconds) >= error) continue;
        error = std::fabs(value - seconds);
        best = {text, value};
    }
    return best;
}

}  // namespace

EdfField EdfLimit(double x, bool up, double tolerance) {
    std::optional<EdfField> plain, best;
    const auto off = [&](const EdfField& field) { return std::fabs(field.value - x); };
    for (int decimals = 7; decimals >= 0 && !plain; --decimals)
        plain = OnSide(x, up, std::pow(10.0, -decimals),
                       [&](double v) { return fmt::format("{:.{}f}", v, decimals); });
    if (plain && off(*plain) <= tolerance) return *plain;
    const int exponent = x == 0.0 ? 0 : static_cast<int>(std::floor(std::log10(std::fabs(x))));
    for (int last = exponent - 6; last <= exponent && !best; ++last)
        best = OnSide(x, up, std::pow(10.0, last), [&](double v) { return WithExponent(v, last); });
    if (!best || (plain && off(*plain) <= off(*best))) best = plain;
    return best.value_or(EdfField{"0", 0.0});
}

EdfLimits EdfLimitsFor(const TraceExtremes& extremes) {
    const double tolerance = 0.005 * (extremes.high - extremes.low);
    EdfLimits limits{EdfLimit(extremes.low, false, tolerance), EdfLimit(extremes.high, true, tolerance)};
    if (limits.low.value == limits.high.value) {
        const double apart = std::max(1.0, std::fabs(limits.low.value) * 0.01);
        limits.high = EdfLimit(limits.low.value + apart, true, apart);
    }
    return limits;
}

std::optional<EdfRecords> ChooseEdfRecords(std::span<const ExportRun> runs, double interval,
                                           int64_t frameBytes) {
    int64_t longest = 0;
    for (const ExportRun& run : runs) longest = std::max(longest, run.end - run.start);
    const int64_t most = std::clamp<int64_t>(mostRecordBytes / frameBytes, 1, std::max<int64_t>(longest, 1));
    const int64_t step = std::max<int64_t>(1, most * static_cast<int64_t>(runs.size()) / mostTrials);
    const auto total = static_cast<double>(runs.back().end);
    std::optional<EdfRecords> best;
    std::tuple<bool, double, int64_t> bestScore;
    for (int64_t n = most; n >= 1; n -= step) {
        EdfRecords records{n, DurationField(static_cast<double>(n) * interval / 1000.0)};
        if (records.duration.text.empty()) continue;
        records.interval = records.duration.value * 1000.0 / static_cast<double>(n);
        records.driftMs = std::fabs(records.interval - interval) * total;
        bool fits = true;
        for (size_t i = 0; i < runs.size() && fits; ++i) {
            const int64_t count = (runs[i].end - runs[i].start + n - 1) / n;
            const int64_t filled = count * n - (runs[i].end - runs[i].start);
            fits = i + 1 == runs.size() || runs[i].end + filled <= runs[i + 1].start;
            records.count += count;
            records.filled += filled;
        }
        if (!fits || records.count > mostRecords) continue;
        const double drift = records.driftMs <= interval / 2 ? 0.0 : records.driftMs;
        const std::tuple score(n * frameBytes < leastRecordBytes, drift, records.filled);
        if (best && score >= bestScore) continue;
        best = records;
        bestScore = score;
    }
    return best;
}

std::string EdfSeconds(double seconds) {
    std::string text = fmt::format("{:.9f}", seconds);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

}  // namespace kymora
