#include "eventanalysis/event_list_text.h"

#include <cinttypes>
#include <cstdio>
#include <random>

#include "eventanalysis/event_analysis_fixture.h"
#include "eventanalysis/event_list_cells.h"

namespace kymora {
namespace {

using enum EventListColumn;
using test::MemoryDoc;

struct EventListText : test::EventAnalysisTest {
    EventListOptions options;

    std::string Write(const CEventBlock& block) {
        std::string text;
        EXPECT_TRUE(WriteEventList(*doc, block, options, [&](std::string_view line) {
            text += line;
            return true;
        }));
        return text;
    }
    void Only(std::initializer_list<EventListColumn> columns) {
        options.columns.fill(false);
        for (const EventListColumn column : columns) options.Set(column);
    }
};

TEST_F(EventListText, HeadingsOfSeveralTraces) {
    doc = MemoryDoc::Make(session, {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}});
    options.traces = {0, 2};
    Only({id, peakToPeak, energy, rhythmIndex, rhythmPeriod, pcWeight1});
    EXPECT_EQ(Write(Block(0)),
              "Event parameters: #ID\tPk-to-pk amp (1)\trel Energy (1)\tRhythm: idx (1)\tperiod (1)\t"
              "Pk-to-pk amp (3)\trel Energy (3)\tRhythm: idx (3)\tperiod (3)\tPC 1\t\r\n");
    Only({});
    EXPECT_EQ(Write(Block(0)), "Event parameters: \r\n");
}

TEST_F(EventListText, RowsOfEvents) {
    doc = MemoryDoc::MakeEmpty(session, 1000, 0.5);
    Fill(0, {{10, 14}, {20, 21}, {1000, 1001}});
    Channel(0).AddEvent(40, 45, -1.25f, 3, 0x0080ff);
    Channel(0).SetLabelAndTag(2, "a\tb", 3);
    const CEventBlock block = Block(0);
    Only({id, onTime, duration, sampleCount, gapDuration, frequency, interval, dutyCycle, variable, tagged,
          label, colour});
    const std::string heading =
        "Event parameters: #ID\tOn time\tDuration\tNum samples\tGap duration\tFrequency\tInterval\tDuty "
        "cycle\tVar val\tTagged (T/F)\tLabel\tColour\t\r\n";
    EXPECT_EQ(Write(block), heading +
                                "  1\t       5.0000\t       2.0000\t            4\t       3.0000\t     "
                                "200.0000\t      -1.0000\t       0.4000\t       0.0000\tF\t\t0x000000\t\r\n"
                                "  2\t      10.0000\t       0.5000\t            1\t       9.5000\t     "
                                "100.0000\t       5.0000\t       0.0500\t       0.0000\tF\t\t0x000000\t\r\n"
                                "  3\t      20.0000\t       2.5000\t            5\t          nan\t          "
                                "nan\t      10.0000\t          nan\t      -1.2500\tT\ta b\t0x0080ff\t\r\n");
    // In seconds; frequencies stay, and so does the mark of the first interval. IDs are those of the channel.
    Only({id, onTime, frequency, interval});
    options.seconds = true;
    EXPECT_EQ(Write(Block(0, -1, -1, {{15, 100}})),
              "Event parameters: #ID\tOn time\tFrequency\tInterval\t\r\n"
              "  2\t       0.0100\t     100.0000\t      -1.0000\t\r\n"
              "  3\t       0.0200\t          nan\t       0.0100\t\r\n");
}

TEST_F(EventListText, RowsOfTwoChannels) {
    doc = MemoryDoc::MakeEmpty(session, 100);
    Fill(0, {{10, 40}, {50, 70}});
    Fill(1, {{0, 1}, {12, 14}, {20, 26}, {40, 44}, {55, 57}, {90, 91}});
    Only({phase, latency, nearestLatency, pairedLatency, countWithin, countFrom, statsCount,
          statsIntervalMean, statsIntervalSd, statsDurationMean, statsDurationSd});
    // First: 10 of 12 from 0; 12 is nearest. 12-14 and 20-26 lie within: one interval of 8, durations 2
    // and 6. Second: 10 of 15 from 40; 55 is nearest; only 55-57 lies within, so there is no interval.
    const std::string text = Write(Block(0, 1));
    const std::string rows = text.substr(text.find('\n') + 1);
    EXPECT_EQ(rows, "       0.8333\t      10.0000\t      -2.0000\t      10.0000\t            2\t            "
                    "3\t            2\t       8.0000\t       0.0000\t       4.0000\t       2.8284\t\r\n"
                    "       0.6667\t      10.0000\t      -5.0000\t      38.0000\t            1\t            "
                    "2\t            1\t          nan\t          nan\t       2.0000\t       0.0000\t\r\n");
}

TEST_F(EventListText, RowsOfTraces) {
    doc =
        MemoryDoc::MakeWithRuns(session, {{0, 1, 4, -2, 3}, {7, 7, 7, 7, 7, 7, 7, 7}}, {{3, 3, 2}, {8}}, 2.0);
    Fill(0, {{1, 8}, {3, 5}});
    Channel(0).SetEventExtra({{0.5f, 0, 0}, {1.5f, 0, 0}});
    Only({peakToPeak, timeOfMaximum, timeOfMinimum, mean, pcWeight1});
    options.traces = {0, 1};
    const std::string text = Write(Block(0));
    // Trace 1 of the first event: 1, 4, gap of three, -2, 3. The second event lies in that gap.
    EXPECT_EQ(
        text.substr(text.find('\n') + 1),
        "       6.0000\t       2.0000\t      10.0000\t       1.5000\t       0.0000\t       0.0000\t       "
        "0.0000\t       7.0000\t       0.5000\t\r\n"
        "          nan\t          nan\t          nan\t          nan\t       0.0000\t       0.0000\t       "
        "0.0000\t       7.0000\t       1.5000\t\r\n");
    // Without traces of its own the list takes the parent trace; without that there are no values.
    options.traces = {};
    Only({mean});
    EXPECT_EQ(Write(Block(0, -1, 1)), "Event parameters: Mean\t\r\n       7.0000\t\r\n       7.0000\t\r\n");
    EXPECT_EQ(Write(Block(0)), "Event parameters: Mean\t\r\n          nan\t\r\n          nan\t\r\n");
}

TEST(EventListCells, AreThoseOfPrintf) {
    std::mt19937_64 random(3);
    const auto expect = [](auto append, const char* format, auto value, auto printed) {
        char expected[400];
        std::snprintf(expected, sizeof expected, format, printed);
        std::string cell;
        append(cell, value);
        ASSERT_EQ(cell, expected);
    };
    for (int i = 0; i < 20000; ++i) {
        const auto whole = static_cast<int64_t>(random()) >> (random() % 60);
        const double value = static_cast<double>(whole) / (i % 2 == 0 ? 20000.0 : 1e15);
        const uint32_t colour = static_cast<uint32_t>(random()) >> (i % 32);
        expect(AppendValueCell, "%13.4f\t", value, value);
        expect(AppendCountCell, "%13" PRId64 "\t", whole, whole);
        expect(AppendIdCell, "%3d\t", whole % 5000, static_cast<int>(whole % 5000));
        expect(AppendColourCell, "0x%.6x\t", colour, colour);
    }
    for (const double value : {1e308, -std::numeric_limits<double>::infinity(), -0.00001})
        expect(AppendValueCell, "%13.4f\t", value, value);
}

}  // namespace
}  // namespace kymora
