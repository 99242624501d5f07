#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "display/live/live_raster.h"
#include "display/live/live_spikes.h"

namespace kymora::test {

struct LiveShape {
    const char* name;
    double scansAcross;
    int columns;
    bool restarts;
    int64_t scans;
};

namespace {

constexpr int height = 120;

std::string NameOf(const ::testing::TestParamInfo<LiveShape>& info) { return info.param.name; }

ScanFormat TwoChannels() {
    ScanFormat format;
    format.channels = 2;
    format.encoding = 1;
    format.gains[1] = 4.0;
    return format;
}

// Volts of two's complement codes of 16 bits over -10 to 10 V.
double Volts(int16_t code, size_t trace) { return code * 20.0 / 65536.0 / (trace == 1 ? 4.0 : 1.0); }

std::vector<LiveRaster::Look> Looks() {
    return {{0xFF112233, AxisScale(5.0, -5.0, 2, 55), 0, 60},
            {0xFF445566, AxisScale(-1.0, 1.0, 62, 115), 60, height}};
}

}  // namespace

class LiveTracesTest : public ::testing::TestWithParam<LiveShape> {
  protected:
    void SetUp() override {
        const LiveShape& shape = GetParam();
        std::mt19937 random(7);
        std::normal_distribution<double> noise(0.0, 1500.0);
        for (int64_t i = 0; i < shape.scans; ++i) {
            const double wave = 9000.0 * std::sin(static_cast<double>(i) / 37.0);
            codes.push_back(static_cast<int16_t>(wave + noise(random)));
            codes.push_back(static_cast<int16_t>(noise(random)));
        }
        live.Begin(TwoChannels(), shape.scansAcross, shape.columns, shape.restarts);
    }
    void Add(LiveTraces& to, int64_t first, int64_t count) const {
        to.Add(std::as_bytes(
            std::span(codes).subspan(static_cast<size_t>(2 * first), static_cast<size_t>(2 * count))));
    }
    static LiveRaster Raster() {
        LiveRaster raster;
        raster.SetSize(GetParam().columns, height);
        raster.SetLooks(Looks());
        return raster;
    }

    std::vector<int16_t> codes;
    LiveTraces live;
};

// Painted as buffers come, the picture is that of one repaint at the end.
TEST_P(LiveTracesTest, PicturesAreTheSamePaintedPieceByPieceAndAtOnce) {
    std::mt19937 random(11);
    LiveRaster inPieces = Raster();
    for (int64_t done = 0; done < GetParam().scans;) {
        const int64_t count = std::min<int64_t>(1 + random() % 333, GetParam().scans - done);
        Add(live, done, count);
        done += count;
        if (random() % 3 > 0) inPieces.Paint(live);
        if (done % 2 == 0) continue;
        LiveRaster atOnce = Raster();
        atOnce.Paint(live);
        inPieces.Paint(live);
        ASSERT_EQ(inPieces.Pixels(), atOnce.Pixels()) << "after " << done;
    }
}

// A column holds the extremes of its samples, and reaches to the column before.
TEST_P(LiveTracesTest, ColumnsHoldTheExtremesOfTheirSamples) {
    const LiveShape& shape = GetParam();
    Add(live, 0, shape.scans);
    const auto looks = Looks();
    // Scans of a bin stand where its first one does.
    const auto perBin = std::max<int64_t>(1, static_cast<int64_t>(shape.scansAcross / 8192.0));
    const auto columnOf = [&](int64_t scan) {
        return static_cast<int64_t>(
            std::floor(static_cast<double>(scan / perBin * perBin) * shape.columns / shape.scansAcross));
    };
    for (size_t trace = 0; trace < 2; ++trace) {
        std::map<int64_t, std::pair<int, int>> rows;
        for (int64_t i = 0; i < shape.scans; ++i) {
            const int row =
                looks[trace].rows.ToPixel(Volts(codes[static_cast<size_t>(2 * i) + trace], trace));
            auto [place, isNew] = rows.try_emplace(columnOf(i), row, row);
            place->second = {std::min(place->second.first, row), std::max(place->second.second, row)};
        }
        const int64_t last = columnOf(shape.scans - 1);
        for (int64_t column = std::max<int64_t>(1, last - shape.columns + 2); column <= last; ++column) {
            const auto span = live.Span(trace, column, looks[trace].rows);
            ASSERT_TRUE(span) << column;
            if (!rows.contains(column)) continue;  // between two samples
            const auto [top, bottom] = rows[column];
            EXPECT_LE(span->top, top);
            EXPECT_GE(span->bottom, bottom);
            if (!rows.contains(column - 1) || (shape.restarts && column % shape.columns == 0)) continue;
            const auto [topBefore, bottomBefore] = rows[column - 1];
            EXPECT_EQ(*span, (RowSpan{std::min(top, bottomBefore + 1), std::max(bottom, topBefore - 1)}))
                << column;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, LiveTracesTest,
                         ::testing::Values(LiveShape{"Scrolling", 4000.0, 200, false, 9001},
                                           LiveShape{"Restarting", 4000.0, 200, true, 9001},
                                           LiveShape{"FewSamples", 50.5, 200, false, 171},
                                           LiveShape{"FewSamplesRestarting", 50.5, 200, true, 171},
                                           LiveShape{"ManySamples", 40000.0, 90, false, 50001},
                                           LiveShape{"ManyToABin", 60001.0, 827, true, 130001},
                                           LiveShape{"ManyToABinScrolling", 60001.0, 827, false, 90001},
                                           LiveShape{"Uneven", 1234.567, 333, true, 5001}),
                         NameOf);

TEST(LiveTraces, AFullSweepStandsWhole) {
    LiveTraces live;
    live.Begin(ScanFormat(), 100.0, 100, true);
    LiveRaster raster;
    raster.SetSize(100, 3);
    raster.SetLooks({{0xFF000000, AxisScale(10.0, -10.0, 0, 2), 0, 3}});
    const std::vector<uint16_t> codes(100, 0x8000);
    const auto painted = [&](size_t scans) {
        live.Add(std::as_bytes(std::span(codes)).first(2 * scans));
        raster.Paint(live);
        return std::ranges::count(raster.Pixels(), 0xFF000000);
    };
    EXPECT_EQ(painted(97), 97);
    EXPECT_EQ(painted(3), 100);
    EXPECT_EQ(painted(10), 100 - LiveRaster::gap);
}

TEST(LiveTraces, WhatPassedIsLeftOut) {
    LiveTraces live;
    ScanFormat format;
    live.Begin(format, 100.0, 100, false);
    const std::vector<uint16_t> codes(10, 0x8000);
    live.Add(std::as_bytes(std::span(codes)));
    live.Pass(5);
    live.Add(std::as_bytes(std::span(codes)));
    live.Pass(30 - live.Scans());
    const AxisScale rows(1.0, -1.0, 0, 100);
    for (int64_t column = 0; column < 30; ++column)
        EXPECT_EQ(live.Span(0, column, rows).has_value(), column < 10 || (column >= 15 && column < 25))
            << column;
    EXPECT_EQ(live.Scans(), 30);
}

TEST(LiveSpikes, CrossingsCountOnceEach) {
    ScanFormat format;
    format.encoding = 1;
    LiveSpikes spikes;
    spikes.Set({0, 1.0, false, 2.0});
    spikes.Begin(format, 1.0);
    // 1 V is 3276.8 codes. Above the level from the start is no crossing; the second peak lies in the dead
    // time.
    const std::vector<int16_t> codes = {4000, 0, 4000, 0, 4000, 0, 0, 3277, 3276, 4000};
    for (size_t i = 0; i < codes.size(); ++i) spikes.Add(std::as_bytes(std::span(codes).subspan(i, 1)));
    EXPECT_EQ(std::vector<int64_t>(spikes.Recent().begin(), spikes.Recent().end()),
              (std::vector<int64_t>{2, 4, 7, 9}));
    EXPECT_DOUBLE_EQ(spikes.Rate(), 400.0);
    spikes.Pass(995);
    EXPECT_DOUBLE_EQ(spikes.Rate(), 2.0);  // those at 7 and 9 of the last 1000 scans
    spikes.Set({0, -1.0, true, 3.0});
    const std::vector<int16_t> falling = {0, -4000, 0, -4000, 0, -4000};
    spikes.Add(std::as_bytes(std::span(falling)));
    EXPECT_EQ(spikes.Count(), 2);
}

}  // namespace kymora::test
