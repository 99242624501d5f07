// Sweeps of a scope against a plain search over all scans at once.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "acquisition/scope_sweeps.h"

namespace kymora::test {
namespace {

struct Plain {
    std::vector<int64_t> triggers;
    std::vector<std::vector<float>> sweeps;
};

// Two channels of 16 bits, 10 kHz.
constexpr double kHz = 10.0;
float VoltsOf(const std::vector<uint16_t>& codes, int64_t scan, int trace) {
    return static_cast<float>(codes[static_cast<size_t>(2 * scan + trace - 1)] * (20.0 / 65536.0) - 10.0);
}

// The scans [from, end) by the rules as they are told; the earliest next trigger is handed on.
void Search(const std::vector<uint16_t>& codes, const ScopeSettings& s, int64_t from, int64_t end,
            int64_t& earliest, Plain& plain) {
    const auto scans = static_cast<int64_t>(s.spanMs * kHz + 0.5);
    const bool isAuto = s.trigger == ScopeTrigger::automatic;
    const int64_t pre = isAuto ? 0 : static_cast<int64_t>(s.preMs * kHz + 0.5);
    for (int64_t i = from; i < end; ++i) {
        if (i < earliest || i - pre < from) continue;
        const auto beyond = [&](int64_t at) {
            const float volts = VoltsOf(codes, at, s.trace);
            return s.isFalling ? volts <= s.level : volts >= s.level;
        };
        if (!isAuto && (i == from || !beyond(i) || beyond(i - 1))) continue;
        earliest = i + std::max<int64_t>(static_cast<int64_t>(s.holdoffMs * kHz + 0.5), 1);
        if (i - pre + scans > end) return;
        earliest = std::max(earliest, i - pre + scans);
        plain.triggers.push_back(i);
        std::vector<float>& sweep = plain.sweeps.emplace_back();
        for (int64_t at = i - pre; at < i - pre + scans; ++at) sweep.push_back(VoltsOf(codes, at, s.shown));
    }
}

TEST(ScopeSweepsTest, SweepsAreThoseOfAPlainSearch) {
    std::mt19937 random(25);
    std::vector<uint16_t> codes(2 * 30000);
    double slow = 0.0;
    for (size_t i = 0; i < codes.size(); ++i) {
        slow = 0.98 * slow + (static_cast<double>(random() % 2001) - 1000.0);
        codes[i] = static_cast<uint16_t>(32768 + std::clamp(slow * 3.0, -30000.0, 30000.0));
    }
    ScanFormat format;
    format.channels = 2;
    using enum ScopeTrigger;
    const ScopeSettings cases[] = {
        {1, threshold, 1, 0.2, false, 5.0, 1.0, 0.0, 50},  {2, threshold, 1, -0.3, true, 5.0, 4.9, 0.0, 50},
        {1, threshold, 2, 0.0, false, 2.0, 0.0, 37.3, 50}, {1, threshold, 2, 0.5, false, 2.0, 1.9, 1.0, 3},
        {2, automatic, 1, 0.0, false, 20.0, 5.0, 0.0, 50}, {2, automatic, 1, 0.0, false, 20.0, 5.0, 90.0, 50},
        {1, threshold, 1, 9.9, false, 20.0, 5.0, 0.0, 50}};
    for (const ScopeSettings& settings : cases) {
        ASSERT_EQ(ScopeFault(settings, 2, kHz), "");
        ScopeSweeps sweeps(settings, format, kHz);
        Plain plain;
        // 12345 scans, a hole of 200, and the rest, in pieces of any length.
        int64_t earliest = 0;
        for (const auto& [from, end] : {std::pair<int64_t, int64_t>{0, 12345}, {12545, 30000}}) {
            if (from > 0) sweeps.Pass(200);
            for (int64_t at = from; at < end;) {
                const int64_t next = std::min<int64_t>(end, at + 1 + random() % 700);
                sweeps.Take(std::as_bytes(std::span(codes))
                                .subspan(static_cast<size_t>(4 * at), static_cast<size_t>(4 * (next - at))));
                at = next;
            }
            Search(codes, settings, from, end, earliest, plain);
        }
        EXPECT_EQ(sweeps.Found(), static_cast<int64_t>(plain.triggers.size()));
        const size_t kept =
            std::min<size_t>(plain.triggers.size(), static_cast<size_t>(settings.superimposed));
        ASSERT_EQ(sweeps.Sweeps().size(), kept);
        EXPECT_EQ(plain.triggers.empty(), settings.level == 9.9);
        for (size_t i = 0; i < kept; ++i) {
            const size_t of = plain.triggers.size() - kept + i;
            EXPECT_EQ(sweeps.Sweeps()[i].trigger, plain.triggers[of]);
            EXPECT_EQ(sweeps.Sweeps()[i].volts, plain.sweeps[of]);
        }
    }
}

TEST(ScopeSweepsTest, ALineKeepsEveryPeak) {
    const std::vector<float> volts = {0, 5, 1, 1, -3, 2, 7};
    using Points = std::vector<std::pair<size_t, float>>;
    EXPECT_EQ(ScopeLine(volts, 14),
              (Points{{0, 0.0f}, {1, 5.0f}, {2, 1.0f}, {3, 1.0f}, {4, -3.0f}, {5, 2.0f}, {6, 7.0f}}));
    EXPECT_EQ(ScopeLine(volts, 4), (Points{{0, 0.0f}, {1, 5.0f}, {4, -3.0f}, {5, 2.0f}, {6, 7.0f}}));
}

TEST(ScopeSweepsTest, WhatCannotBeASweepIsTold) {
    ScopeSettings settings;
    settings.preMs = 50.0;
    EXPECT_EQ(ScopeFault(settings, 1, kHz), "What lies before the trigger must be shorter than the sweep.");
    settings.trigger = ScopeTrigger::automatic;
    EXPECT_EQ(ScopeFault(settings, 1, kHz), "");
    settings.spanMs = 20000.1;
    EXPECT_EQ(ScopeFault(settings, 1, kHz), "At this rate a sweep lasts 0.2 to 20000 ms.");
    settings.shown = 3;
    EXPECT_EQ(ScopeFault(settings, 2, kHz), "2 trace(s) are recorded.");
}

}  // namespace
}  // namespace kymora::test
