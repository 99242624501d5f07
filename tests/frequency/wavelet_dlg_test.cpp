// Wavelets and spectrograms of recordings, as a user sets them.

#include <cmath>

#include "frequency/dwt_analysis.h"
#include "frequency/morlet_scalogram.h"
#include "frequency/sonogram.h"
#include "frequency/wavelet_denoise.h"
#include "support/operation_results.h"
#include "transforms/dialog_fixture.h"

namespace kymora::test {
namespace {

struct WaveletDlgTest : DialogTest {
    static std::string Refusal(CBatchBaseDlg& dialog) {
        RunMessages messages;
        dialog.SendMessagesTo(&messages);
        const bool isDone = dialog.Run();
        dialog.SendMessagesTo(nullptr);
        return isDone || messages.empty() ? "" : messages.back().text;
    }
    CWaveletDenoise denoise;
    CDWTAnalysis analysis;
    CSonogram sonogram;
    CMorletScalogram scalogram;
};

// --- de-noising ---

TEST_F(WaveletDlgTest, DenoiseLeavesOrTakesAll) {
    Set(denoise, {{"thresholdOrigin", "0"}, {"quantile", "0"}});
    for (const size_t count : {0u, 1u, 2u, 3u, 100u, 1000u}) {
        SCOPED_TRACE(count);
        const std::vector<float> run = NoiseRun(count);
        const auto same = Memory(denoise, run);
        ASSERT_TRUE(same.outcome.isDone);
        ASSERT_EQ(same.values.size(), count);
        for (size_t i = 0; i < count; ++i) EXPECT_NEAR(same.values[i], run[i], 1e-5);
        EXPECT_EQ(Stream(denoise, run).values, same.values);
    }
    Set(denoise, {{"shifts", "5"}});
    const std::vector<float> odd = NoiseRun(77);
    const auto shifted = Memory(denoise, odd);
    for (size_t i = 0; i < odd.size(); ++i) EXPECT_NEAR(shifted.values[i], odd[i], 1e-5);
    // Without details, and without the smooth values, nothing is left.
    Set(denoise, {{"quantile", "100"}, {"zeroBands", "r"}});
    for (const float value : Memory(denoise, NoiseRun(1000)).values) EXPECT_EQ(value, 0.0f);
    Set(denoise, {{"zeroBands", ""}});
    const std::vector<float> level(300, 4.0f);
    for (const float value : Memory(denoise, level).values) EXPECT_NEAR(value, 4.0f, 1e-5);
}

TEST_F(WaveletDlgTest, DenoiseFindsTheSignal) {
    // Steps of 0 and 10 under noise with an s.d. of 1 (a sum of uniform values).
    std::mt19937 random(3);
    std::vector<float> truth(4096), noisy(4096);
    for (size_t i = 0; i < truth.size(); ++i) {
        double noise = -6.0;
        for (int k = 0; k < 12; ++k) noise += static_cast<double>(random()) / 4294967296.0;
        truth[i] = i / 700 % 2 == 0 ? 0.0f : 10.0f;
        noisy[i] = truth[i] + static_cast<float>(noise);
    }
    const auto error = [&](const std::vector<float>& values) {
        double sum = 0.0;
        for (size_t i = 0; i < values.size(); ++i) sum += std::pow(double(values[i]) - truth[i], 2);
        return std::sqrt(sum / static_cast<double>(values.size()));
    };
    // The soft rule takes the threshold off the steps, too.
    for (const auto& [method, most] : {std::pair("0", 0.45), {"1", 0.65}, {"2", 0.45}}) {
        Set(denoise, {{"thresholdMethod", method}, {"wavelet", "0"}});
        EXPECT_LT(error(Memory(denoise, noisy).values), most) << method;
    }
    const double alone = error(Memory(denoise, noisy).values);
    Set(denoise, {{"shifts", "16"}});
    EXPECT_LT(error(Memory(denoise, noisy).values), 0.95 * alone);
    Set(denoise, {{"shifts", "1"}});
    EXPECT_TRUE(Report(denoise).find("De-noise with DWT transform parameters:\r\n") == 0);
    EXPECT_TRUE(
        Report(denoise).ends_with("Wavelet type: Daub-4\r\nThreshold method: SCAD\r\nThreshold origin: "
                                  "universal (internal noise s.d. estimate)\r\n"))
        << Report(denoise);
    Set(denoise, {{"thresholdOrigin", "0"}, {"quantile", "30"}});
    EXPECT_TRUE(Report(denoise).ends_with("Threshold origin: quantile = 30 %\r\n"));
    for (const char* wrong : {"-1", "101"})
        EXPECT_NE(denoise.Params().Find("quantile")->SetFromText(wrong), "");
}

// --- the view of coefficients ---

TEST_F(WaveletDlgTest, BandsOfAStretch) {
    analysis.CheckChangeDoc(doc.get());
    Set(analysis, {{"region", "0"}, {"wavelet", "0"}});
    ASSERT_TRUE(analysis.Run());
    // 1000 samples in 1024: inputs of 1024 down to 4 values are 9 levels.
    const auto bands = RowsOf(analysis.Results().at(0));
    ASSERT_EQ(bands.size(), 10u);
    EXPECT_EQ(std::get<std::string>(bands[0][0]), "d1");
    EXPECT_EQ(std::get<double>(bands[0][1]), 500.0);
    EXPECT_EQ(std::get<double>(bands[0][2]), 1000.0);
    EXPECT_EQ(std::get<std::string>(bands[9][0]), "r9");
    const auto label = [&](size_t row) {
        return std::get<std::string>(RowsOf(analysis.Results().at(1))[row][4]);
    };
    EXPECT_EQ(label(0), "d1,0");
    EXPECT_EQ(label(501), "d2,1") << "500 of the 512 begin before the end";
    EXPECT_EQ(label(RowsOf(analysis.Results().at(1)).size() - 1), "r9,1");
    EXPECT_EQ(analysis.GetGraph()->panes[1].layers[0].name,
              "log relative power\n\n(squared DWT coefficient)");
    EXPECT_EQ(analysis.GetGraph()->panes[0].y.unit, "mV") << "of a trace without a unit";
    // A cell of the picture tells its coefficients: 1,000 cells of as many samples, of d1 two for each.
    const GraphLayer matrix = analysis.GetGraph()->panes[1].layers[0];
    ASSERT_EQ(matrix.told.names.size(), 10u * 1000u);
    const auto cell = [&](size_t band, size_t at) { return band * 1000 + at; };
    EXPECT_EQ(matrix.told.names[cell(0, 7)], "d1,3");
    EXPECT_EQ(matrix.told.names[cell(1, 7)], "d2,1");
    EXPECT_EQ(matrix.told.names[cell(9, 999)], "r9,1");
    EXPECT_EQ(matrix.told.unit, "mV²");
    const double coefficient = std::get<float>(RowsOf(analysis.Results().at(1))[3][3]);
    EXPECT_FLOAT_EQ(matrix.told.values[cell(0, 7)], static_cast<float>(coefficient * coefficient));
    // Orthonormal: the powers add up to the squares of the extended run.
    std::vector<float> extended = SamplesOf(*doc);
    extended.resize(1024);
    ExtendByMirroring(extended, 1000);
    double squares = 0.0, powers = 0.0;
    for (const float value : extended) squares += double{value} * value;
    for (const auto& band : bands) powers += std::get<double>(band[4]);
    EXPECT_NEAR(powers, squares, 1e-5 * squares);
    EXPECT_TRUE(ResultText(analysis).starts_with(
        "d1: frequency range 500.00 - 1000.00 Hz\r\nstart time\tend time\tpower\r\n0.00\t1.00\t"));
    Set(analysis, {{"zeroBands", "1 d2, r"}});
    ASSERT_TRUE(analysis.Run());
    for (const size_t band : {0u, 1u, 9u})
        EXPECT_EQ(std::get<double>(RowsOf(analysis.Results().at(0))[band][4]), 0.0);
    EXPECT_GT(std::get<double>(RowsOf(analysis.Results().at(0))[2][4]), 0.0);
    for (const char* wrong : {"0", "x", "40", "1-3"}) {
        Set(analysis, {{"zeroBands", wrong}});
        EXPECT_NE(Refusal(analysis), "") << wrong;
    }
}

// 4096 samples in 1,024 cells: of d1 two coefficients stand in each.
TEST_F(WaveletDlgTest, ACellOfSeveralCoefficientsTellsTheLargest) {
    SetDoc({NoiseRun(4096)});
    analysis.CheckChangeDoc(doc.get());
    Set(analysis, {{"region", "0"}, {"logPower", "0"}});
    ASSERT_TRUE(analysis.Run());
    const GraphLayer matrix = analysis.GetGraph()->panes[1].layers[0];
    EXPECT_EQ(matrix.told.names[5], "d1,10 to 11");
    EXPECT_EQ(matrix.told.names[1024 + 5], "d2,5");
    const ResultRows rows = RowsOf(analysis.Results().at(1));
    const double one = std::get<float>(rows[10][3]), other = std::get<float>(rows[11][3]);
    EXPECT_FLOAT_EQ(matrix.told.values[5], static_cast<float>(std::max(one * one, other * other)));
    EXPECT_EQ(matrix.told.values[5], static_cast<float>(matrix.y[5]));
}

// One that is not a number spoils two coefficients of d1 with a filter of four values; they become 0, too.
TEST_F(WaveletDlgTest, ANotANumberInABandThatIsSetToZeroIsChanged) {
    std::vector<float> run(64, 0.0f);
    run[20] = NAN;
    SetDoc({run});
    analysis.CheckChangeDoc(doc.get());
    Set(analysis, {{"region", "0"}, {"wavelet", "0"}, {"zeroBands", "1"}});
    ASSERT_TRUE(analysis.Run());
    const Result bands = analysis.Results().at(0);
    EXPECT_EQ(bands.values.back(), (std::pair<std::string, ResultValue>("zeroed", int64_t{2})));
    EXPECT_EQ(std::get<double>(RowsOf(bands)[0][4]), 0.0) << "no power is left";
}

TEST_F(WaveletDlgTest, GapsAndFewSamples) {
    doc = MemoryDoc::MakeWithRuns(session, {NoiseRun(700)}, {{300, 100, 400}}, 0.5);
    analysis.CheckChangeDoc(doc.get());
    Set(analysis, {{"region", "0"}});
    ASSERT_TRUE(analysis.Run());
    EXPECT_EQ(std::get<double>(RowsOf(analysis.Results().at(1))[0][1]), 200.0)
        << "the longest part begins there";
    SetDoc({{1, 2, 3}});
    analysis.CheckChangeDoc(doc.get());
    ASSERT_TRUE(analysis.Run());
    EXPECT_EQ(RowsOf(analysis.Results().at(0)).size(), 1u);
}

// --- spectrograms ---

TEST_F(WaveletDlgTest, ColumnsAreSpectra) {
    sonogram.CheckChangeDoc(doc.get());
    Set(sonogram, {{"startTime", "50"},
                   {"columns", "3"},
                   {"averagesPerColumn", "2"},
                   {"bins", "32"},
                   {"overlapShift", "2"}});
    EXPECT_FALSE(sonogram.m_bFollowView);
    ASSERT_TRUE(sonogram.Run());
    // Segments of 64 begin every 16 samples, columns every 32.
    const std::vector<float> samples = SamplesOf(*doc);
    const auto rows = RowsOf(sonogram.Results().at(0));
    ASSERT_EQ(rows.size(), 3u);
    for (size_t column = 0; column < 3; ++column) {
        CSpectrumEstimator estimator({32, 2000.0});
        for (const size_t at : {0u, 16u})
            estimator.AddSegment(std::span(samples).subspan(100 + 32 * column + at, 64));
        EXPECT_EQ(std::get<double>(rows[column][0]), 50.0 + 16.0 * static_cast<double>(column));
        ASSERT_EQ(rows[column].size(), 34u);
        for (size_t i = 0; i <= 32; ++i)
            EXPECT_EQ(std::get<float>(rows[column][i + 1]), static_cast<float>(estimator.Result()[i]));
    }
    Set(sonogram, {{"columns", "60"}});
    EXPECT_EQ(Refusal(sonogram), "There are not enough selected data for sonogram analysis. Abandoning.");
    Set(sonogram, {{"averagesPerColumn", "1000000000"}});
    EXPECT_EQ(Refusal(sonogram),
              "The number of averages has got ridiculous. Reduce specified end time (or contact author).");
    // Four samples have no eighth; a quarter of them is the least step.
    Set(sonogram, {{"bins", "2"}, {"overlapShift", "3"}, {"averagesPerColumn", "1"}, {"columns", "0"}});
    EXPECT_EQ(Refusal(sonogram),
              "Segments that overlap by 87.5 % need 4 bins or more. Choose more bins, or less overlap.");
    for (const auto& [bins, shift] : {std::pair("2", "2"), {"4", "3"}}) {
        Set(sonogram, {{"bins", bins}, {"overlapShift", shift}});
        EXPECT_TRUE(sonogram.Run());
    }
    Set(sonogram, {{"bins", "48"}});
    EXPECT_EQ(Refusal(sonogram), "Bin number of frequency intervals must be power of 2");
}

TEST_F(WaveletDlgTest, GapsAreEmptyColumns) {
    doc = MemoryDoc::MakeWithRuns(session, {NoiseRun(900)}, {{300, 100, 600}}, 0.5);
    sonogram.CheckChangeDoc(doc.get());
    Set(sonogram, {{"startTime", "0"}, {"overlapShift", "0"}, {"surface", "1"}});
    ASSERT_TRUE(sonogram.Run());
    // Seven columns of 128 samples; 256 to 383 and 384 to 511 meet the gap from 300 to 399.
    const auto rows = RowsOf(sonogram.Results().at(0));
    ASSERT_EQ(rows.size(), 7u);
    for (size_t column = 0; column < 7; ++column)
        EXPECT_EQ(std::isnan(std::get<float>(rows[column][1])), column == 2 || column == 3) << column;
    EXPECT_EQ(sonogram.GetGraph()->panes.size(), 2u);
}

// --- scalograms ---

TEST_F(WaveletDlgTest, ScalogramOfTheLongestPart) {
    std::vector<float> sine(5000);
    for (size_t i = 0; i < sine.size(); ++i)
        sine[i] = 2.0f * std::sin(static_cast<float>(2 * M_PI * 0.05) * static_cast<float>(i % 100));
    doc = MemoryDoc::MakeWithRuns(session, {sine}, {{1000, 50, 4000}}, 0.5);
    scalogram.CheckChangeDoc(doc.get());
    Set(scalogram, {{"region", "0"}, {"lowest", "25"}, {"highest", "400"}, {"voices", "4"}});
    ASSERT_TRUE(scalogram.Run());
    const auto rows = RowsOf(scalogram.Results().at(0));
    ASSERT_EQ(rows.size(), 1000u);
    // 25 to 400 Hz, four to an octave; 100 Hz is the ninth.
    ASSERT_EQ(rows[0].size(), 1u + 17u);
    EXPECT_EQ(std::get<double>(rows[0][0]), 525.0);
    EXPECT_EQ(std::get<double>(rows[999][0]), 525.0 + 999.0 * 2.0);
    EXPECT_NEAR(std::get<float>(rows[500][9]), 2.0, 1e-3);
    EXPECT_LT(std::get<float>(rows[500][13]), 1e-3);
    Set(scalogram, {{"highest", "1000"}});
    EXPECT_NE(Refusal(scalogram), "");
}

}  // namespace
}  // namespace kymora::test
