// Time constants of stretches and after events.

#include <cmath>
#include <random>

#include "fitting/fit_time_const_base.h"
#include "support/operation_results.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class TimeConstantTest : public SessionTest {
  protected:
    std::string Said() const {
        std::string all;
        for (const auto& message : host.messages) all += message.text + "\n";
        return all;
    }
    // At 100, 300 and 500 ms a fall of 8, 10 and 12 mV with 20 ms; an event at each, and one at 690 ms.
    std::unique_ptr<MemoryDoc> Falls(std::vector<uint32_t> runs = {1400}) {
        std::vector<float> samples(1400, -60.0f);
        for (int k = 0; k < 3; ++k)
            for (size_t i = 0; i < 300; ++i)
                samples[200 + 400 * static_cast<size_t>(k) + i] =
                    -60.0f -
                    (8.0f + 2.0f * static_cast<float>(k)) * (1.0f - std::exp(-static_cast<float>(i) / 40.0f));
        samples.resize(runs.size() == 1 ? 1400 : runs[0] + runs[2]);
        auto doc = MemoryDoc::MakeWithRuns(session, {samples}, {std::move(runs)}, 0.5);
        for (const int on : {200, 600, 1000, 1380}) {
            CEventKM event;
            event.onPosition = on;
            event.offPosition = on + 10;
            doc->eventChannels[0].AppendLoaded(std::move(event));
        }
        return doc;
    }
};

TEST_F(TimeConstantTest, OneStretchFromItsStartOn) {
    const auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "fitStart", "300");
    SetParameter(fit, "fitEnd", "440");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.02);
    EXPECT_NEAR(fit.m_dV0, -60.0, 0.01);
    EXPECT_NEAR(fit.m_dVInf, -70.0, 0.01);
    EXPECT_TRUE(ResultText(fit).starts_with("id\tstart V\tend V\ttau\trms\titer\r\n0\t-60.00"))
        << ResultText(fit);
    // A line that is dragged sets the time to average; one that is typed begins the fit there.
    SetParameter(fit, "endAvg", "420");
    EXPECT_EQ(fit.m_dAvgTime, 20.0);
    SetParameter(fit, "tau", "50");
    EXPECT_FALSE(fit.m_bStartFromData);
    ASSERT_TRUE(fit.Run());
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.02);
    SetParameter(fit, "avgTime", "1000");
    ASSERT_TRUE(fit.Run());
    EXPECT_EQ(host.LastMessage(), averageTooLongText);
    SetParameter(fit, "fitEnd", "300");
    EXPECT_FALSE(fit.Run());
}

TEST_F(TimeConstantTest, EventsAreAveragedOrFittedOneByOne) {
    const auto doc = Falls();
    CTimeConstLog fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "channel1", "a");
    SetParameter(fit, "fitEnd", "140");
    SetParameter(fit, "averages", "9");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_EQ(fit.m_nAverages, 4);
    EXPECT_NE(Said().find("Insufficient events: reducing number to average"), std::string::npos);
    EXPECT_EQ(host.LastMessage(), "Event 4 is skipped: its segment leaves the recording.");
    EXPECT_NEAR(fit.m_dVInf, -70.0, 0.02) << "of the mean of 8, 10 and 12 mV";
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.05);

    SetParameter(fit, "batch", "1");
    SetParameter(fit, "startEvent", "2");
    ASSERT_TRUE(fit.Run());
    const std::string text = ResultText(fit);
    EXPECT_NE(text.find("\r\n2\t-60.0"), std::string::npos) << text;
    EXPECT_NE(text.find("\r\n3\t-60.0"), std::string::npos) << text;
    EXPECT_EQ(text.find("\r\n1\t"), std::string::npos);
    SetParameter(fit, "startEvent", "7");
    ASSERT_TRUE(fit.Run());
    EXPECT_EQ(fit.m_nStartEvent, 1);
    EXPECT_EQ(fit.GetGraph()->panes.size(), 2u);
}

TEST_F(TimeConstantTest, TheOrderOfAnEndAndItsFixingIsAllOne) {
    const std::vector<std::pair<const char*, const char*>> orders[] = {{{"v0", "-35"}, {"fixV0", "1"}},
                                                                       {{"fixV0", "1"}, {"v0", "-35"}}};
    for (const auto& order : orders) {
        CFitTimeConst fit;
        for (const auto& [key, value] : order) SetParameter(fit, key, value);
        EXPECT_TRUE(fit.m_bStartFromData) << "tau and V(inf) come from the data";
        SetParameter(fit, "vInf", "-60");
        EXPECT_FALSE(fit.m_bStartFromData) << "a start of the user's own";
        SetParameter(fit, "startFromData", "1");
        EXPECT_TRUE(fit.m_bStartFromData);
    }
}

TEST_F(TimeConstantTest, TheSettingsThatWereUsedDoItAgain) {
    const auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "fitStart", "300");
    SetParameter(fit, "fitEnd", "440");
    ASSERT_TRUE(fit.Run());
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.02) << "the window goes on with what was found";
    CFitTimeConst again;
    again.TakeSettings(fit.UsedSettings());
    EXPECT_NEAR(again.m_dTau, 140.0 / 3, 1e-9) << "a third of the time of the fit";
    EXPECT_NEAR(again.m_dV0, -60.0, 1.5);
    again.CheckChangeDoc(doc.get());
    again.m_bStartFromData = false;
    ASSERT_TRUE(again.Run());
    EXPECT_EQ(ResultText(again), ResultText(fit));
}

TEST_F(TimeConstantTest, TheLastSampleTakesPartAndAMeanHasTheFirstEventThatDoes) {
    auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "fitStart", "300");
    SetParameter(fit, "fitEnd", "440");
    ASSERT_TRUE(fit.Run());
    const auto layers = fit.GetGraph()->panes[1].layers;
    EXPECT_EQ(layers.front().x.size(), 281u);
    EXPECT_EQ(layers.front().x.back(), 440.0);
    // The segment of the first event, at 100 ms, would begin before the recording.
    CTimeConstLog log;
    log.CheckChangeDoc(doc.get());
    SetParameter(log, "channel1", "a");
    SetParameter(log, "fitStart", "-150");
    SetParameter(log, "fitEnd", "100");
    SetParameter(log, "averages", "3");
    ASSERT_TRUE(log.Run()) << host.LastMessage();
    EXPECT_NE(ResultText(log).find("\r\n2\t"), std::string::npos) << ResultText(log);
}

TEST_F(TimeConstantTest, AnEventBesideAGapIsSkipped) {
    const auto doc = Falls({700, 100, 600});
    CTimeConstLog fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "channel1", "a");
    SetParameter(fit, "fitEnd", "140");
    SetParameter(fit, "batch", "1");
    ASSERT_TRUE(fit.Run());
    EXPECT_NE(Said().find("Event 2 is skipped: there is a gap or the boundary of an episode"),
              std::string::npos);
}

// Of a segment of 100 ms at every 0.1 ms.
TEST_F(TimeConstantTest, ATimeConstantThatTheSegmentDoesNotTellIsToldSo) {
    const auto fall = [](double tau, double size) {
        return [=](double t) { return size * std::exp(-t / tau); };
    };
    const struct {
        const char* name;
        std::function<double(double)> curve;
        double noise;
        const char *model, *fixVInf;
        bool isTold;
    } rows[] = {{"a fall within the segment", fall(20, 8), 0.5, "0", "0", true},
                {"a fall that is longer than the segment", fall(300, 8), 0.001, "0", "0", true},
                {"the same in noise", fall(300, 8), 2.0, "0", "0", false},
                {"noise", [](double) { return 0.0; }, 0.5, "0", "0", false},
                {"a straight line", [](double t) { return 0.1 * t; }, 0.01, "0", "0", false},
                {"a slow fall to a value that is known", fall(3000, 8), 0.01, "0", "1", true},
                {"the same without that", fall(3000, 8), 0.01, "0", "0", false},
                {"two exponentials of one", fall(20, 8), 0.5, "1", "0", false},
                {"noise along a cable", [](double) { return 0.0; }, 0.5, "2", "0", false}};
    for (const auto& [name, curve, noise, model, fixVInf, isTold] : rows) {
        SCOPED_TRACE(name);
        std::mt19937 random(7);
        std::normal_distribution<double> normal(0.0, noise);
        std::vector<float> samples;
        for (int i = 0; i <= 1000; ++i)
            samples.push_back(static_cast<float>(curve(0.1 * i) + normal(random)));
        const auto doc = MemoryDoc::Make(session, {samples}, 0.1);
        CFitTimeConst fit;
        fit.CheckChangeDoc(doc.get());
        SetParameter(fit, "model", model);
        SetParameter(fit, "fixVInf", fixVInf);
        host.messages.clear();
        ASSERT_TRUE(fit.Run()) << host.LastMessage();
        EXPECT_EQ(Said().find("does not tell the time constant") == std::string::npos, isTold) << Said();
        EXPECT_EQ(ResultText(fit).find("Time constant not told by the segment: 0\r\n") == std::string::npos,
                  isTold);
        const auto row = RowsOf(fit, fit.Title()).at(0);
        EXPECT_EQ(row[11], ResultValue(std::string(isTold ? "yes" : "no")));
        EXPECT_TRUE(std::holds_alternative<double>(row[3])) << "a number all the same";
    }
}

// The variance of one parameter alone is that of the residuals over the sum of the squared derivatives.
TEST_F(TimeConstantTest, TheErrorOfATimeConstant) {
    const auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    for (const auto& [key, value] :
         {std::pair("fitStart", "300"), std::pair("fitEnd", "440"), std::pair("v0", "-60"),
          std::pair("fixV0", "1"), std::pair("vInf", "-71"), std::pair("fixVInf", "1")})
        SetParameter(fit, key, value);
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    const auto row = RowsOf(fit, fit.Title()).at(0);
    const double tau = std::get<double>(row[3]);
    double squares = 0.0, slopes = 0.0;
    for (int i = 0; i <= 280; ++i) {
        const double t = 0.5 * i;
        const double value = -60.0 - 10.0 * (1.0 - std::exp(-t / 20.0));
        squares += std::pow(value - (11.0 * std::exp(-t / tau) - 71.0), 2);
        slopes += std::pow(11.0 * std::exp(-t / tau) * t / (tau * tau), 2);
    }
    EXPECT_NEAR(std::get<double>(row[4]), std::sqrt(squares / 280 / slopes), 1e-3 * std::get<double>(row[4]));
}

TEST_F(TimeConstantTest, SegmentsOfABatchThatDoNotTellAreListed) {
    const auto doc = Falls();
    std::vector<float> samples = SamplesOf(*doc);
    std::mt19937 random(3);
    std::normal_distribution<float> normal(0.0f, 0.1f);
    for (float& value : samples) value += normal(random);
    auto noisy = MemoryDoc::Make(session, {samples}, 0.5);
    for (const int on : {20, 200, 600, 1000}) {
        CEventKM event;
        event.onPosition = on;
        event.offPosition = on + 10;
        noisy->eventChannels[0].AppendLoaded(std::move(event));
    }
    CTimeConstLog fit;
    fit.CheckChangeDoc(noisy.get());
    SetParameter(fit, "channel1", "a");
    SetParameter(fit, "fitEnd", "80");
    SetParameter(fit, "batch", "1");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_NE(Said().find("1 of 4 segments do not tell the time constant: "), std::string::npos) << Said();
    EXPECT_TRUE(ResultText(fit).ends_with("\r\nTime constant not told by the segment: 1\r\n"))
        << ResultText(fit);
    EXPECT_EQ(fit.Results().front().values.back(),
              (std::pair<std::string, ResultValue>("notTold", int64_t{1})));
}

// n ln(RSS / n) + 2 k, and k ln n, of 281 points and 3 parameters, or 2 where one is fixed.
TEST_F(TimeConstantTest, TheCriteriaStandBesideTheModel) {
    const auto doc = Falls();
    CFitTimeConst fit;
    const auto note = [&](const char* key) { return fit.Params().Find(key)->shown(); };
    fit.CheckChangeDoc(doc.get());
    EXPECT_EQ(note("aic"), "") << "nothing is fitted";
    SetParameter(fit, "fitStart", "290");
    SetParameter(fit, "fitEnd", "430");
    for (const char* fixes : {"0", "1"}) {
        SetParameter(fit, "vInf", "-70");
        SetParameter(fit, "fixVInf", fixes);
        SetParameter(fit, "startFromData", "1");
        ASSERT_TRUE(fit.Run()) << host.LastMessage();
        const auto samples = SamplesOf(*doc);
        double squares = 0.0;
        for (size_t i = 0; i <= 280; ++i) {
            const double curve =
                (fit.m_dV0 - fit.m_dVInf) * std::exp(-0.5 * static_cast<double>(i) / fit.m_dTau) +
                fit.m_dVInf;
            squares += std::pow(samples[580 + i] - curve, 2);
        }
        const double parameters = *fixes == '0' ? 3.0 : 2.0, n = 281.0;
        const double deviance = n * std::log(squares / n);
        EXPECT_NEAR(std::stod(note("aic")), deviance + 2.0 * parameters, 0.02);
        EXPECT_NEAR(std::stod(note("bic")), deviance + parameters * std::log(n), 0.02);
        EXPECT_NE(ResultText(fit).find("AIC = " + note("aic") + "\r\nBIC = " + note("bic")),
                  std::string::npos);
    }
}

}  // namespace
}  // namespace kymora::test
