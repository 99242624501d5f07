// Curve fits as a user runs them.

#include "fitting/curve_fit.h"

#include <fmt/format.h>

#include <cmath>

#include "document/blank_doc.h"
#include "document/float_doc.h"
#include "fitting/curve_fit_gen.h"
#include "fitting/ready_equations.h"
#include "fitting/remove_exp_drift.h"
#include "fitting/robust_fit_gen.h"
#include "import/open_document.h"
#include "support/operation_results.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

TEST(FitEquationTest, RefusesWhatCannotBeFitted) {
    const struct {
        const char *equation, *fault;
    } rows[] = {{"", needsTimeText},
                {"a + b", needsTimeText},
                {"t", needsParameterText},
                {"b * t", needsParameterText},
                {"a + c * t", skippedLettersText},
                {"a + b*t + h", skippedLettersText},
                {"exp(t) + erf(t)", needsParameterText},
                {"a + rndn(0, 1) * t", drawsRandomText},
                {"a * T", "The equation cannot be used. Unexpected token \"T\" found at position 4."}};
    for (const auto& [text, fault] : rows) EXPECT_EQ(FitEquation('t').ParseEquation(text), fault) << text;
    FitEquation taken('t');
    EXPECT_EQ(taken.ParseEquation("a + 1e-3*t + cbrt(t)*gamma(2) + exp(-t)*_e"), "");
    EXPECT_EQ(taken.Parameters(), 1) << "no letter of a name or of a number is a parameter";
    EXPECT_EQ(taken.ParseEquation(std::string(9000, '(') + "a*t" + std::string(9000, ')')), "");
    EXPECT_EQ(taken.Evaluate(std::vector<double>{3.0}, 2.0), 6.0);
}

TEST(ReadyEquationTest, GuessesLeadToTheFit) {
    const struct {
        const char* name;
        std::vector<double> truth;
    } rows[] = {{"line", {2, -3}},
                {"exponential", {1, 4, 15}},
                {"two exponentials", {1, 4, 4, 3, 30}},
                {"alpha function", {1, -5, 9}},
                {"Boltzmann", {-1, 3, 45, 4}},
                {"Hill", {0.5, 6, 30, 2.5}},
                {"Gaussian", {1, 8, 40, 7}}};
    ASSERT_EQ(std::size(rows), ReadyEquations().size());
    for (size_t n = 0; n < std::size(rows); ++n) {
        const ReadyEquation& ready = ReadyEquations()[n];
        ASSERT_STREQ(ready.name, rows[n].name);
        FitEquation equation('x');
        ASSERT_EQ(equation.ParseEquation(ready.Of('x')), "") << ready.name;
        std::vector<double> x, y;
        for (int i = 1; i <= 200; ++i) {
            x.push_back(i * 0.5);
            y.push_back(equation.Evaluate(rows[n].truth, x.back()));
        }
        std::vector<double> parameters = ready.guess(x, y);
        ASSERT_EQ(parameters.size(), rows[n].truth.size());
        EquationModel model(equation, x);
        FitControl control;
        control.mostIterations = 200;
        control.damps = true;
        CurveFitResult result;
        EXPECT_TRUE(FitCurve(model, y, control, parameters, result)) << ready.name;
        for (size_t k = 0; k < parameters.size(); ++k)
            EXPECT_NEAR(parameters[k], rows[n].truth[k], 1e-3 * std::fabs(rows[n].truth[k])) << ready.name;
        EXPECT_EQ(FindReadyEquation(ready.Of('t'), 't'), &ready);
    }
}

class CurveFitTest : public SessionTest {
  protected:
    // 100 samples of 0.5 ms: 2 + 0.25 t from the 20th one on.
    std::unique_ptr<MemoryDoc> Ramp() {
        std::vector<float> samples(100, 7.0f);
        for (size_t i = 20; i < 100; ++i) samples[i] = 2.0f + 0.125f * static_cast<float>(i - 20);
        return MemoryDoc::Make(session, {samples, samples}, 0.5);
    }
};

TEST_F(CurveFitTest, TimeBeginsAtTheRegionAndItsLastSampleTakesPart) {
    const auto doc = Ramp();
    CCurveFit fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "region", "2");
    SetParameter(fit, "regionEnd", "20");
    SetParameter(fit, "regionStart", "10");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_NEAR(fit.m_fit.m_dParam[0], 2.0, 1e-9);
    EXPECT_NEAR(fit.m_fit.m_dParam[1], 0.25, 1e-9);
    const auto results = fit.Results();
    EXPECT_EQ(results.front().values[1].second, ResultValue(int64_t{21})) << "10 to 20 ms";
    const std::string text = ResultText(fit);
    EXPECT_TRUE(text.starts_with("x\ty_raw\ty_fit\tresid (raw-fit)\tSEest\tY_fit Lo\tY_fit Hi\r\n"
                                 "0.00\t2.000\t2.000\t0.000\t"))
        << text;
    EXPECT_NE(text.find("Parameter Estimates...\r\np0 = 2.000000\t+/- "), std::string::npos);
    EXPECT_EQ(fit.m_fit.m_dParamSaved[0], 1.0);
    SetParameter(fit, "equation", "a + b*t^2");
    EXPECT_FALSE(fit.m_fit.HasFit());
}

TEST_F(CurveFitTest, LimitsHoldTheOthersAtTheirMinimum) {
    std::vector<float> line;
    double products = 0.0, squares = 0.0;
    for (int t = 0; t < 50; ++t) {
        line.push_back(-8.0f - 0.5f * static_cast<float>(t));
        products += t * double{line.back()};
        squares += t * t;
    }
    const auto doc = MemoryDoc::Make(session, {line}, 1.0);
    for (const char* damping : {"0", "1"}) {
        CCurveFit fit;
        fit.CheckChangeDoc(doc.get());
        for (const auto& [key, value] : {std::pair{"region", "0"}, {"equation", "a+b*t"}, {"limits", "a>0"}})
            SetParameter(fit, key, value);
        SetParameter(fit, "damping", damping);
        ASSERT_TRUE(fit.Run()) << host.LastMessage();
        EXPECT_EQ(fit.m_fit.m_dParam[0], 0.0);
        EXPECT_NEAR(fit.m_fit.m_dParam[1], products / squares, 1e-6) << "of a line through 0";
    }
}

TEST_F(CurveFitTest, AFitThatFailsPutsTheParametersOfItsIterationBack) {
    const auto doc = Ramp();
    CCurveFit fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "region", "0");
    SetParameter(fit, "equation", "a + b/t");
    SetParameter(fit, "a", "3");
    EXPECT_FALSE(fit.Run());
    EXPECT_EQ(host.LastMessage(), notConvergedText);
    EXPECT_EQ(fit.m_fit.m_dParam[0], 3.0);
    EXPECT_TRUE(fit.Results().empty());
    SetParameter(fit, "equation", "a*b*t");
    EXPECT_FALSE(fit.Run()) << "two parameters that say the same: a pivot of 0";
    EXPECT_EQ(host.LastMessage(), notConvergedText);
    SetParameter(fit, "dataSD", "0");
    EXPECT_FALSE(fit.Run());
    EXPECT_EQ(host.LastMessage(), "The SD of the data must be above 0.");
}

TEST_F(CurveFitTest, SubtractsWithinTheRegionInDoublePrecision) {
    const auto doc = Ramp();
    CCurveFit fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "region", "2");
    SetParameter(fit, "regionEnd", "20");
    SetParameter(fit, "regionStart", "10");
    SetParameter(fit, "subtract", "1");
    ASSERT_EQ(fit.WhatItAffects(), Affects::traces);
    ASSERT_TRUE(fit.WriteFile(session, "/made.kymr-dat", true).isDone) << host.LastMessage();
    const auto made = OpenRecording(session, "/made.kymr-dat", {}).document;
    ASSERT_TRUE(made);
    ASSERT_EQ(made->traceCount, 3) << "a trace was added";
    EXPECT_EQ(SamplesOf(*made, 0), SamplesOf(*doc, 0));
    const std::vector<float> left = SamplesOf(*made, 1), raw = SamplesOf(*doc, 0);
    for (size_t i = 0; i < left.size(); ++i)
        EXPECT_NEAR(left[i], i >= 20 && i <= 40 ? 0.0f : raw[i], 1e-6f) << i;
    EXPECT_EQ(made->fileComment, "Subtracted fitted curve");
    EXPECT_EQ(made->traces[1].traceLabel, "Subtracted fitted curve");

    // Noise has the spread that was asked for, and is the same for one seed.
    const auto noisy = [&](const char* path) {
        session.Seed(5);
        SetParameter(fit, "addMode", "0");
        SetParameter(fit, "addNoise", "1");
        SetParameter(fit, "noiseSD", "0.5");
        EXPECT_TRUE(fit.WriteFile(session, path, true).isDone);
        return SamplesOf(*OpenRecording(session, path, {}).document, 0);
    };
    const auto first = noisy("/a.kymr-dat"), second = noisy("/b.kymr-dat");
    EXPECT_EQ(first, second);
    double squares = 0.0;
    for (size_t i = 20; i <= 40; ++i) squares += double{first[i]} * first[i];
    EXPECT_NEAR(std::sqrt(squares / 21), 0.5, 0.25);
    EXPECT_EQ(first[41], raw[41]);
}

TEST_F(CurveFitTest, ASampleThatIsNoNumberAndAGap) {
    std::vector<float> samples(50, 1.0f);
    for (size_t i = 0; i < 50; ++i) samples[i] = static_cast<float>(i);
    samples[30] = NAN;
    const auto bad = MemoryDoc::Make(session, {samples}, 2.0);
    CCurveFit fit;
    fit.CheckChangeDoc(bad.get());
    SetParameter(fit, "region", "0");
    EXPECT_FALSE(fit.Run());
    EXPECT_EQ(host.LastMessage(),
              "Trace 1: the sample at 60 ms is no finite number. Choose a region without it.");
    // Ten samples, a gap of ten, ten samples that go on as if the gap had held them.
    std::vector<float> stored;
    for (int i = 0; i < 10; ++i) stored.push_back(static_cast<float>(i));
    for (int i = 20; i < 30; ++i) stored.push_back(static_cast<float>(i));
    const auto gap = MemoryDoc::MakeWithRuns(session, {stored}, {{10, 10, 10}});
    fit.CheckChangeDoc(gap.get());
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_NEAR(fit.m_fit.m_dParam[1], 1.0, 1e-9);
}

TEST_F(CurveFitTest, EachEventHasAFitOfItsOwn) {
    const auto doc = Ramp();
    for (const auto& [on, off] : {std::pair(20, 40), std::pair(50, 51), std::pair(60, 100)}) {
        CEventKM event;
        event.onPosition = on;
        event.offPosition = off;
        doc->eventChannels[1].AppendLoaded(std::move(event));
    }
    CCurveFit fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "eachEvent", "1");
    SetParameter(fit, "channel1", "b");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    const ResultRows rows = RowsOf(fit.Results().front());
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_NEAR(std::get<double>(rows[0][1]), 2.0, 1e-6) << "t is 0 at the onset";
    EXPECT_NEAR(std::get<double>(rows[2][1]), 7.0, 1e-6);
    EXPECT_NEAR(std::get<double>(rows[2][2]), 0.25, 1e-6);
    EXPECT_EQ(rows[1].back(), ResultValue(std::string("failed"))) << "of one sample";
    EXPECT_NE(ResultText(fit).find("\r\n2 failed to converge; skipping.\r\n3\t7.0"), std::string::npos)
        << ResultText(fit);
    EXPECT_EQ(fit.m_fit.m_dParam[0], 1.0) << "the starts stay";
    SetParameter(fit, "subtract", "1");
    EXPECT_NE(fit.Validate(), "");
}

TEST_F(CurveFitTest, TablesOfManyKinds) {
    const struct {
        const char* text;
        int columnX, columnY;
        std::vector<double> x, y;
        const char* fault;
    } rows[] = {{"time\tV\n1\t2\n3\t4\n", 0, 0, {1, 3}, {2, 4}, ""},
                {"x;y\n1,5;2\n2,5;3\n", 0, 0, {1.5, 2.5}, {2, 3}, ""},
                {"x,y\n1.5,2\n\n2.5,3", 0, 0, {1.5, 2.5}, {2, 3}, ""},
                {"cell a 1 2 3\ncell b 4 5 6\n", 0, 0, {1, 4}, {2, 5}, ""},
                {"1 2 3\n4 5 6\n", 3, 1, {3, 6}, {1, 4}, ""},
                {"1 2\n3 x\n", 0, 0, {}, {}, "Row 2: \"x\" is no number that can be fitted."},
                {"1 abc\n3 4\n5 6\n", 0, 0, {}, {}, "Row 1: \"abc\" is no number that can be fitted."},
                {"x y\n7\n3 4\n", 0, 0, {}, {}, "Row 2 has no number in column 2."},
                {"t\tTrace 1\n3\t4\n", 0, 0, {3}, {4}, ""},
                {"Trace 1\tTrace 2\n1\t2\n2\t3\n", 0, 0, {1, 2}, {2, 3}, ""},
                {"Column 1 Column 2\n1 2 5 6\n", 0, 0, {1}, {2}, ""},
                {"1 2\n3\n", 0, 0, {}, {}, "Row 2 has no number in column 2."},
                {"1 2\n3 nan\n", 0, 0, {}, {}, "Row 2: \"nan\" is no number that can be fitted."},
                {"1 2\n", 1, 5, {}, {}, "Row 1 has no number in column 5."},
                {"", 0, 0, {}, {}, "The table has no row with two numbers."}};
    for (const auto& [text, columnX, columnY, x, y, fault] : rows) {
        TextReader reader{std::string_view(text)};
        const XYTable table = ReadXYTable(reader, columnX, columnY, '.');
        EXPECT_EQ(table.fault, fault) << text;
        if (*fault != '\0') continue;
        EXPECT_EQ(table.x, x) << text;
        EXPECT_EQ(table.y, y) << text;
    }
    std::string many;
    for (size_t i = 0; i <= mostTableRows; ++i) many += "1 2\n";
    TextReader reader{std::string_view(many)};
    EXPECT_EQ(ReadXYTable(reader, 0, 0, '.').fault, "The table has more than 100000 rows.");
    XYTable table{{3, 1, 3, 2}, {1, 2, 3, 4}, {}};
    EXPECT_TRUE(SortByX(table));
    EXPECT_EQ(table.y, (std::vector<double>{2, 4, 1, 3})) << "equal X stay in their order";
    EXPECT_FALSE(SortByX(table));
}

TEST_F(CurveFitTest, FitsOfATable) {
    BlankDoc blank(session);
    CCurveFitGen fit;
    fit.CheckChangeDoc(&blank);
    PutText("/t.txt", "x y\n2 5\n0 1\n1 3\n");
    SetParameter(fit, "file", "/t.txt");
    SetParameter(fit, "equation", "a + b*x");
    SetParameter(fit, "sort", "1");
    SetParameter(fit, "decimals", "1");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_EQ(host.LastMessage(), sortedText);
    EXPECT_NE(ResultText(fit).find("\r\n0.0\t1.0\t1.0\t"), std::string::npos) << ResultText(fit);
    EXPECT_NEAR(fit.m_fit.m_dParam[1], 2.0, 1e-9);
    SetParameter(fit, "file", "/none.txt");
    EXPECT_FALSE(fit.Run());

    CRobustFitGen robust;
    robust.CheckChangeDoc(&blank);
    SetParameter(robust, "points", "0 1\n1 3\n2 5\n3 7\n4 100\n5 11\n6 13\n");
    SetParameter(robust, "degree", "1");
    SetParameter(robust, "iterations", "5");
    ASSERT_TRUE(robust.Run()) << host.LastMessage();
    EXPECT_TRUE(ResultText(robust).starts_with("1\r\n2\r\nx\ty_raw\ty_fit\r\n")) << ResultText(robust);
    SetParameter(robust, "degree", "7");
    EXPECT_FALSE(robust.Run());
    // A smooth has the digits of the table, which samples do not have.
    SetParameter(robust, "points", "0 1e9\n1 1000000001\n2 1000000002\n3 1000000003\n4 1000000004\n");
    SetParameter(robust, "type", "0");
    SetParameter(robust, "degree", "1");
    SetParameter(robust, "halfWindow", "1");
    ASSERT_TRUE(robust.Run()) << host.LastMessage();
    const ResultRows rows = RowsOf(robust, "points");
    EXPECT_NEAR(std::get<double>(rows[3][2]), 1000000003.0, 1e-3);
}

TEST_F(CurveFitTest, WithoutDataTheGraphSaysSo) {
    CCurveFit fit;
    EXPECT_EQ(fit.GetGraph()->panes[0].title, "no data file");
    const auto doc = Ramp();
    fit.CheckChangeDoc(doc.get());
    EXPECT_EQ(fit.GetGraph()->panes[0].title, "");
    BlankDoc blank(session);
    CCurveFitGen table;
    table.CheckChangeDoc(&blank);
    EXPECT_EQ(table.GetGraph()->panes[0].title, "no data file");
    SetParameter(table, "points", "1 2\n3 4\n");
    EXPECT_EQ(table.GetGraph()->panes[0].title, "");
}

TEST_F(CurveFitTest, ADriftIsTakenOutOfTheTraces) {
    std::vector<float> one, two;
    for (int i = 0; i < 2000; ++i) {
        const float wiggle = 0.05f * static_cast<float>(i % 7 - 3);
        one.push_back(3.0f + 7.0f * std::exp(-static_cast<float>(i) / 300.0f) + wiggle);
        two.push_back(1.0f + 4.0f * std::exp(-static_cast<float>(i) / 60.0f) +
                      6.0f * std::exp(-static_cast<float>(i) / 700.0f) + wiggle);
    }
    const auto doc = MemoryDoc::Make(session, {one, two});
    CRemoveExpDrift drift;
    drift.CheckChangeDoc(doc.get());
    SetParameter(drift, "traces", "1-2");
    SetParameter(drift, "addMode", "0");
    for (const char* method : {"0", "1"}) {
        SetParameter(drift, "method", method);
        ASSERT_TRUE(drift.WriteFile(session, "/d.kymr-dat", true).isDone) << host.LastMessage();
        const auto made = OpenRecording(session, "/d.kymr-dat", {}).document;
        for (int trace = 0; trace < 2; ++trace) {
            const auto samples = SamplesOf(*made, trace);
            const float first = trace == 0 ? one[0] : two[0];
            for (size_t i = 0; i < samples.size(); ++i)
                ASSERT_NEAR(samples[i], first, *method == '0' ? 1.5f : 0.25f) << trace << " " << i;
        }
    }
    EXPECT_NE(ResultText(drift).find("exp 1\r\n2\t"), std::string::npos)
        << "the first trace has one" << ResultText(drift);
    EXPECT_NE(ResultText(drift).find(
                  "\r\nRemove Exponential Drift: subtract\r\nFit Start time\t0.000000\tFit End time\t"),
              std::string::npos);
    std::string params;
    drift.GetParamText(params);
    EXPECT_EQ(params.find("Remove Exponential Drift: "), 0u) << params;
    EXPECT_NE(ResultText(drift).find("Trace 2: double exponential\r\n\tV0 = "), std::string::npos);
    std::vector<float> spoilt = one;
    spoilt[700] = NAN;
    const auto mixed = MemoryDoc::Make(session, {spoilt, one});
    drift.CheckChangeDoc(mixed.get());
    EXPECT_TRUE(drift.WriteFile(session, "/d.kymr-dat", true).isDone) << host.LastMessage();
    EXPECT_EQ(OpenRecording(session, "/d.kymr-dat", {}).document->traceCount, 2);
    EXPECT_NE(ResultText(drift).find("Trace 1: left as it is\r\nTrace 2: single"), std::string::npos);
    for (float& value : one) value -= 5.0f;
    const auto crossing = MemoryDoc::Make(session, {one});
    drift.CheckChangeDoc(crossing.get());
    SetParameter(drift, "traces", "1");
    SetParameter(drift, "method", "0");
    EXPECT_FALSE(drift.WriteFile(session, "/d.kymr-dat", true).isDone) << "nothing is divided by 0";
    // A fit of a few samples at the end, whose curve is without end at the beginning.
    std::vector<float> late(2000, 5.0f);
    for (int i = 0; i < 20; ++i)
        late[1980 + static_cast<size_t>(i)] = 5.0f + 10.0f * std::exp(-static_cast<float>(i));
    const auto steep = MemoryDoc::Make(session, {late});
    drift.CheckChangeDoc(steep.get());
    SetParameter(drift, "method", "1");
    SetParameter(drift, "fitStart", std::to_string(1980 * steep->sampleInterval));
    EXPECT_FALSE(drift.WriteFile(session, "/d.kymr-dat", true).isDone);
    const auto longest = MemoryDoc::Generate(session, 1, 99'999, [](int, int64_t) { return 1.0f; });
    drift.CheckChangeDoc(longest.get());
    EXPECT_EQ(drift.Validate(), "");
    const auto longer = MemoryDoc::Generate(session, 1, 100'000, [](int, int64_t) { return 1.0f; });
    drift.CheckChangeDoc(longer.get());
    EXPECT_NE(drift.Validate(), "");
}

// The first trace falls with one time constant, the second one with two; the third is all alike, so that the
// residuals are 0 and no logarithm of them is a number.
TEST_F(CurveFitTest, TheLogAndTheTableOfADrift) {
    std::vector<std::vector<float>> traces(3);
    for (int i = 0; i < 1000; ++i) {
        const float wiggle = 0.05f * static_cast<float>(i % 7 - 3);
        const auto t = static_cast<float>(i);
        traces[0].push_back(3.0f + 7.0f * std::exp(-t / 150.0f) + wiggle);
        traces[1].push_back(1.0f + 4.0f * std::exp(-t / 30.0f) + 6.0f * std::exp(-t / 300.0f) + wiggle);
        traces[2].push_back(5.0f);
    }
    const auto doc = MemoryDoc::Make(session, traces);
    CRemoveExpDrift drift;
    drift.CheckChangeDoc(doc.get());
    SetParameter(drift, "traces", "1-3");
    ASSERT_TRUE(drift.WriteFile(session, "/d.kymr-dat", true).isDone) << host.LastMessage();
    const ResultRows rows = RowsOf(drift, drift.Title());
    ASSERT_EQ(rows.size(), 3u);
    const auto number = [&](size_t row, size_t column) { return std::get<double>(rows[row][column]); };
    const auto whole = [&](size_t row, size_t column) { return std::get<int64_t>(rows[row][column]); };
    std::string log = "Trace\tBIC 1\titer\tBIC 2\titer\ttransform\r\n";
    for (size_t row = 0; row < 2; ++row) {
        const auto models = static_cast<int64_t>(row) + 1;
        EXPECT_EQ(whole(row, 0), models) << "the trace";
        EXPECT_EQ(whole(row, 1), models) << "exponentials";
        EXPECT_EQ(number(row, 7) < number(row, 8), row == 0) << "the lower criterion is chosen";
        log += fmt::format("{}", models);
        for (const size_t k : {0u, 1u}) {
            EXPECT_GE(whole(row, 9 + k), 3);
            EXPECT_LE(whole(row, 9 + k), 1000);
            log += fmt::format("\t{:.2f}\t{}{}", number(row, 7 + k), whole(row, 9 + k) < 1000 ? "" : "max ",
                               whole(row, 9 + k));
        }
        log += fmt::format("\texp {}\r\n", models);
    }
    EXPECT_TRUE(ResultText(drift).starts_with(log)) << ResultText(drift) << log;
    EXPECT_NE(std::ranges::find_if(host.log, [&](const auto& text) { return text.starts_with(log); }),
              host.log.end());
    // n ln(RSS / n) + 3 ln n of the first trace, with the curve that is told.
    double squares = 0.0;
    for (size_t i = 0; i < 1000; ++i)
        squares += std::pow(
            traces[0][i] - ((number(0, 2) - number(0, 3)) * std::exp(-static_cast<double>(i) / number(0, 4)) +
                            number(0, 3)),
            2);
    EXPECT_NEAR(number(0, 7), 1000 * std::log(squares / 1000) + 3 * std::log(1000.0), 0.01);
    EXPECT_TRUE(rows[2][7].index() != 1 || std::isfinite(std::get<double>(rows[2][7])));
}

TEST_F(CurveFitTest, AnInterruptEndsTheRemovalOfADriftAsAWhole) {
    std::vector<float> samples;
    for (int i = 0; i < 500; ++i) samples.push_back(std::exp(-static_cast<float>(i) / 50.0f));
    const auto doc = MemoryDoc::Make(session, {samples, samples});
    CRemoveExpDrift drift;
    drift.CheckChangeDoc(doc.get());
    SetParameter(drift, "traces", "1-2");
    host.cancelAtDone = 1;  // behind the first trace
    EXPECT_THROW((void)drift.WriteFile(session, "/d.kymr-dat", true), Cancelled);
    EXPECT_FALSE(files.Has("/d.kymr-dat"));
    EXPECT_EQ(host.progress.front().parts.size(), 1u) << "the second trace is not begun";
}

}  // namespace
}  // namespace kymora::test
