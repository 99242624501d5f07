// Random and regular point processes, by themselves and as an operation.

#include "eventedit/random_process.h"

#include <fmt/format.h>

#include <cmath>
#include <numeric>

#include "eventedit/event_edit_fixture.h"
#include "eventedit/event_outlier_detect.h"
#include "eventedit/insert_random_point_process.h"

namespace kymora::test {
namespace {

TEST(RandomProcessTest, RegularOnsets) {
    struct Case {
        const char* what;
        double interval, start;
        int64_t length, most;
        std::vector<int32_t> onsets;
    };
    const Case cases[] = {
        {"to the end, exclusive", 10, 0, 40, 99, {0, 10, 20, 30}},
        {"so many", 10, 5, 40, 2, {5, 15}},
        {"rounded each by itself, without drift", 2.5, 0.4, 12, 99, {0, 3, 5, 8, 10}},
        {"no two in one sample", 1.0, 0.5, 4, 99, {1, 2, 3}},
        {"beyond the end", 10, 40, 40, 99, {}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        std::mt19937 random(1);
        RandomProcess process;
        process.law = IntervalLaw::regular;
        process.mean = one.interval;
        process.start = one.start;
        EXPECT_EQ(DrawOnsets(process, one.length, one.most, random), one.onsets);
    }
}

struct Moments {
    double mean = 0.0, sd = 0.0, least = 0.0;
};
Moments IntervalsOf(const std::vector<int32_t>& onsets) {
    Moments found{0.0, 0.0, 1e30};
    double squares = 0.0;
    const auto count = static_cast<double>(onsets.size() - 1);
    for (size_t i = 1; i < onsets.size(); ++i) {
        const double interval = onsets[i] - onsets[i - 1];
        found.mean += interval / count;
        squares += interval * interval / count;
        found.least = std::min(found.least, interval);
    }
    found.sd = std::sqrt(squares - found.mean * found.mean);
    return found;
}

TEST(RandomProcessTest, IntervalsFollowTheirLaw) {
    struct Case {
        const char* what;
        RandomProcess process;
        double mean, sd, least;
    };
    const auto law = [](IntervalLaw which, double mean) {
        RandomProcess process;
        process.law = which;
        process.mean = mean;
        return process;
    };
    RandomProcess gamma = law(IntervalLaw::gamma, 1000), gaussian = law(IntervalLaw::gaussian, 1000),
                  uniform = law(IntervalLaw::uniform, 0), dead = law(IntervalLaw::poisson, 1000),
                  gammaDead = law(IntervalLaw::gamma, 1000), uniformDead;
    gamma.shape = 4.0;
    gaussian.sd = 50.0;
    uniform.minimum = 200.0;
    uniform.maximum = 800.0;
    dead.deadTime = 400.0;
    gammaDead.deadTime = 1000.0;  // shape 1: what is left is distributed as the whole
    uniformDead = uniform;
    uniformDead.deadTime = 500.0;
    const Case cases[] = {
        {"Poisson", law(IntervalLaw::poisson, 1000), 1000, 1000, 0},
        {"gamma", gamma, 1000, 500, 0},
        {"Gaussian", gaussian, 1000, 50, 0},
        {"uniform", uniform, 500, 600 / std::sqrt(12.0), 199},
        {"Poisson with a dead time", dead, 1400, 1000, 399},
        {"gamma with a dead time", gammaDead, 2000, 1000, 999},
        {"uniform with a dead time", uniformDead, 650, 300 / std::sqrt(12.0), 499},
    };
    constexpr int count = 20000;
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        std::mt19937 random(9);
        const auto onsets = DrawOnsets(one.process, INT32_MAX, count, random);
        ASSERT_EQ(onsets.size(), static_cast<size_t>(count));
        const Moments found = IntervalsOf(onsets);
        EXPECT_NEAR(found.mean, one.mean, 5 * one.sd / std::sqrt(count));
        EXPECT_NEAR(found.sd / one.sd, 1.0, 0.04);
        EXPECT_GE(found.least, one.least);
    }
}

// Intervals about as long as a sample: no two events in one sample, and the rate stays.
TEST(RandomProcessTest, ShortIntervals) {
    RandomProcess process;
    process.law = IntervalLaw::gaussian;
    process.mean = 2.0;
    process.sd = 5.0;  // half of the draws are drawn again
    std::mt19937 random(2);
    const auto onsets = DrawOnsets(process, 100000, 1 << 20, random);
    EXPECT_TRUE(std::adjacent_find(onsets.begin(), onsets.end(), std::greater_equal<>()) == onsets.end());
    EXPECT_LT(onsets.back(), 100000);
    process.law = IntervalLaw::poisson;
    EXPECT_NEAR(static_cast<double>(DrawOnsets(process, 1000000, 1 << 20, random).size()), 5e5, 4000);
}

TEST(RandomProcessTest, FirstEvents) {
    struct Case {
        StartRule rule;
        double mean, least, greatest;  // of the first event
    };
    const Case cases[] = {{StartRule::fixed, 500, 500, 500},
                          {StartRule::expectation, 500, 440, 560},
                          {StartRule::uniform, 250, 0, 500}};
    for (const Case& one : cases) {
        RandomProcess process;
        process.law = IntervalLaw::gaussian;
        process.mean = 100;
        process.sd = 10;
        process.rule = one.rule;
        process.start = 500;
        std::mt19937 random(4);
        double sum = 0.0;
        for (int i = 0; i < 1000; ++i) {
            const int32_t first = DrawOnsets(process, 100000, 1, random).front();
            EXPECT_GE(first, one.least);
            EXPECT_LE(first, one.greatest);
            sum += first;
        }
        EXPECT_NEAR(sum / 1000, one.mean, 15);
    }
    // What would lie before the stretch is passed over, and is none of so many.
    RandomProcess early;
    early.mean = 1000;
    early.rule = StartRule::expectation;
    std::mt19937 random(4);
    for (int i = 0; i < 100; ++i) {
        const auto onsets = DrawOnsets(early, 1000000, 3, random);
        ASSERT_EQ(onsets.size(), 3u);
        EXPECT_GE(onsets.front(), 0);
    }
}

// --- the operation ---

class InsertProcessTest : public EventEditTest {
  protected:
    std::string Report() const {
        const size_t at = doc->historyLog.rfind("Insert regular-random point process\r\n");
        return doc->historyLog.substr(doc->historyLog.find("\r\n", at) + 2);
    }
};

TEST_F(InsertProcessTest, Reports) {
    struct Case {
        Settings settings;
        const char* report;  // behind the destination
    };
    const Case cases[] = {
        {{},
         "Whole file\r\nDistribution type: Poisson, mean = 100.000000\r\nStart at fixed time 0.000000\r\n"},
        {{{"distribution", "1"},
          {"mean", "5"},
          {"startRule", "1"},
          {"deadTime", "2"},
          {"region", "2"},
          {"regionEnd", "50"}},
         "User time: start = 0.000000, end = 50.000000\r\nDistribution type: Gamma, mean = 5.000000, shape = "
         "2.000000\r\n"
         "Dead time: 2.000000\r\nStart time expectation relative to 0.000000\r\n"},
        {{{"distribution", "2"}, {"startRule", "2"}, {"startTime", "3"}, {"countMode", "0"}, {"count", "1"}},
         "Fixed number: 1\r\nWhole file\r\nDistribution type: Gaussian, mean = 100.000000, s.d. = "
         "10.000000\r\n"
         "Start time uniform random 0 - 3.000000\r\n"},
        {{{"distribution", "3"}, {"channelCount", "2"}},
         "Number of channels: 2\r\nWhole file\r\nDistribution type: Uniform\r\nInterval: minimum = "
         "50.000000, maximum = "
         "150.000000\r\nStart at fixed time 0.000000\r\n"},
        {{{"distribution", "4"}, {"mean", "10"}, {"startTime", "5"}},
         "Whole file\r\nDistribution type: Regular, interval = 10.000000, start time = 5.000000\r\nStart at "
         "fixed time "
         "5.000000\r\n"},
    };
    for (const Case& one : cases) {
        CEventInsertRandomPointProcess insert;
        Settings settings = one.settings;
        settings.emplace_back("destination", "d");
        ASSERT_EQ(Run(insert, settings), "");
        EXPECT_EQ(Report(), "Destination event channel: d\r\n" + std::string(one.report) + "\r\n");
    }
    EXPECT_EQ(Found(3), (Spans{{10, 11}, {30, 31}, {50, 51}, {70, 71}, {90, 91}}));
    EXPECT_EQ(Chan(3).GetDetectionMethodName(), std::string("point process"));
    EXPECT_EQ(Chan(3).parentTrace, -1);
}

TEST_F(InsertProcessTest, Refusals) {
    Chan(5).channelLocked = true;
    struct Case {
        Settings settings;
        std::string says;
    };
    const Case cases[] = {
        {{{"distribution", "3"}, {"minimum", "150"}}, uniformOrderText},
        {{{"mean", "0.4"}}, "The mean interval must be at least one sample (0.5 ms)."},
        {{{"distribution", "1"}, {"deadTime", "101"}}, longDeadTimeText},
        {{{"distribution", "3"}, {"deadTime", "150"}}, longDeadTimeText},
        {{{"destination", "d"}, {"channelCount", "3"}}, lockedChannelText},
        {{{"destination", "998"}, {"channelCount", "2"}}, noSuchChannelText},
        {{{"startTime", "50"}}, lateStartText},
        {{{"countMode", "0"}, {"count", "0"}}, "\"Fixed number\" must be a whole number from 1 to 20000000."},
        {{{"region", "2"}, {"regionStart", "60"}, {"regionEnd", "70"}}, emptyRegionText},
    };
    for (const Case& one : cases) {
        CEventInsertRandomPointProcess insert;
        insert.CheckChangeDoc(doc.get());
        for (const auto& [key, text] : one.settings) {
            ParamList params = insert.Params();
            Field& field = *params.Find(key);
            field.Parse(text);
            field.Commit();
        }
        host.Forget();
        EXPECT_FALSE(insert.Run());
        EXPECT_EQ(host.LastMessage(), one.says);
        EXPECT_FALSE(doc->Undo().CanUndo());
    }
    // The interval that a refusal names is long enough, whatever its digits leave out.
    for (const double interval : {0.5, 1000.0 / 30303.0, 1.0 / 3.0, 1000.0 / 24414.0625}) {
        doc = MemoryDoc::MakeEmpty(session, 1000, interval);
        CEventInsertRandomPointProcess shortest;
        EXPECT_EQ(Run(shortest, {{"mean", fmt::format("{:.9g}", interval)}, {"distribution", "regular"}}),
                  "");
        EXPECT_EQ(Found(0).size(), 1000u);
    }
    doc = MemoryDoc::MakeEmpty(session, 2000000000, 0.5);
    CEventInsertRandomPointProcess many;
    EXPECT_EQ(Run(many, {{"mean", "1"}}), fmt::format(tooManyPointsText, 1000000000, 20000000));
    CEventOutlierDetect stub;
    EXPECT_EQ(Run(stub, {}), "Routine not written yet");
}

// The seed gives all channels, each of which continues the draws of the one before.
TEST_F(InsertProcessTest, SeveralChannelsOfOneSeed) {
    Fill(0, {{1, 2}});
    const auto run = [&](uint64_t seed, const char* channels) {
        session.Seed(seed);
        CEventInsertRandomPointProcess insert;
        insert.CheckChangeDoc(doc.get());
        EXPECT_EQ(insert.m_nDestination, 1) << "the first free channel";
        EXPECT_EQ(Run(insert, {{"mean", "5"}, {"channelCount", channels}, {"label", "chance"}}), "");
        const std::pair<Spans, Spans> found{Found(1), Found(2)};
        doc->Undo().Undo();
        EXPECT_TRUE(Found(1).empty() && Found(2).empty()) << "one step";
        return found;
    };
    const auto two = run(7, "2");
    EXPECT_FALSE(two.first.empty() || two.second.empty());
    EXPECT_NE(two.first, two.second);
    EXPECT_EQ(run(7, "2"), two);
    EXPECT_EQ(run(7, "1").first, two.first);
    EXPECT_NE(run(8, "2"), two);
}

TEST_F(InsertProcessTest, AFixedNumberEndsWithTheRegion) {
    CEventInsertRandomPointProcess insert;
    Set(insert,
        {{"countMode", "0"}, {"count", "6"}, {"distribution", "4"}, {"mean", "10"}, {"channelCount", "2"}});
    ASSERT_TRUE(insert.Run());
    EXPECT_EQ(host.LastMessage(),
              "The analysis region ends before 6 events: event channel a has 5, and 1 more fewer, too.");
    EXPECT_EQ(Found(1).size(), 5u);
}

}  // namespace
}  // namespace kymora::test
