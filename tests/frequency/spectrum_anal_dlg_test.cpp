// Spectra of recordings, as a user sets them.

#include "frequency/spectrum_anal_dlg.h"

#include <cmath>
#include <random>

#include "support/operation_results.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

struct SpectrumTest : SessionTest {
    std::unique_ptr<MemoryDoc> doc;
    CSpectrumAnalDlg dialog;

    static std::vector<float> Noise(size_t count, unsigned seed) {
        std::mt19937 random(seed);
        std::vector<float> values(count);
        for (float& value : values) value = static_cast<float>(static_cast<int32_t>(random())) * 1e-9f;
        return values;
    }
    void Open(std::unique_ptr<MemoryDoc> opened) {
        dialog.CheckChangeDoc(nullptr);
        doc = std::move(opened);
        dialog.CheckChangeDoc(doc.get());
        dialog.m_nRegionMode = regionWholeFile;
    }
    void OpenNoise(size_t samples) {
        Open(MemoryDoc::Make(session, {Noise(samples, 1), Noise(samples, 2)}, 0.5));
    }
    void Set(const char* key, const char* value) {
        ParamList params = dialog.Params();
        ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
    }
    ResultValue Value(const char* name) {
        const std::vector<Result> results = dialog.Results();
        for (const auto& [key, value] : results.at(0).values)
            if (key == name) return value;
        return {};
    }
    std::vector<double> Powers(size_t column = 2) {
        std::vector<double> powers;
        dialog.Results().at(0).rows([&](auto row) {
            powers.push_back(std::get<double>(row[column]));
            return true;
        });
        return powers;
    }
    std::string Refusal() {
        RunMessages messages;
        dialog.SendMessagesTo(&messages);
        const bool isDone = dialog.Run();
        dialog.SendMessagesTo(nullptr);
        return isDone || messages.empty() ? "" : messages.back().text;
    }
};

TEST_F(SpectrumTest, SegmentsThatFit) {
    const struct {
        size_t samples;
        int log2Bins, shift;
        int64_t averages;  // 0: refused
        int64_t bins;
    } cases[] = {{0, 6, 1, 0, 0},     {1, 6, 1, 0, 0},        {127, 6, 1, 0, 0},     {128, 6, 0, 1, 64},
                 {129, 6, 3, 1, 64},  {143, 6, 3, 1, 64},     {144, 6, 3, 2, 64},    {192, 6, 1, 2, 64},
                 {200, 20, 0, 1, 64}, {2048, 20, 3, 1, 1024}, {2047, 10, 2, 4, 512}, {2000, 7, 3, 55, 128}};
    for (const auto& [samples, log2Bins, shift, averages, bins] : cases) {
        SCOPED_TRACE(testing::Message() << samples << " " << log2Bins << " " << shift);
        OpenNoise(samples);
        dialog.m_nLog2Bins = log2Bins;
        dialog.m_nOverlapShift = shift;
        if (averages == 0) {
            EXPECT_NE(Refusal(), "");
            continue;
        }
        ASSERT_TRUE(dialog.Run());
        EXPECT_EQ(std::get<int64_t>(Value("averages")), averages);
        EXPECT_EQ(std::get<int64_t>(Value("bins")), bins);
        EXPECT_EQ(std::get<float>(Value("resolution")), static_cast<float>(1000.0 / double(bins)));
        const int64_t length = 2 * bins, step = length >> shift;
        EXPECT_EQ(std::get<double>(Value("timeNeeded")), 0.5 * double(averages * step + length - step));
        EXPECT_EQ(Powers().size(), static_cast<size_t>(bins) + 1);
    }
    OpenNoise(127);
    dialog.m_nRegionMode = regionWholeFile;
    EXPECT_EQ(
        Refusal(),
        "There are not enough data displayed for spectral analysis with the minimum frequency resolution "
        "(65 bins).\nIncrease the viewport duration to at least 64 ms.");
}

TEST_F(SpectrumTest, GapsLeaveSegmentsOut) {
    // 600 samples, of which 250 to 299 are a gap: of the segments at 0, 128, 256 and 384 two stay.
    Open(MemoryDoc::MakeWithRuns(session, {Noise(550, 1), Noise(600, 2)}, {{250, 50, 300}, {600}}));
    dialog.m_nOverlapShift = 0;
    for (const int mode : {0, 2}) {
        dialog.m_nMode = mode;
        ASSERT_TRUE(dialog.Run());
        EXPECT_EQ(std::get<int64_t>(Value("averages")), 2);
    }
    std::vector<float> stored(600);
    doc->ReadBlock(0, 0, stored);
    CSpectrumEstimator estimator({64, 1000.0});
    for (const size_t at : {0u, 384u}) estimator.AddSegment(std::span(stored).subspan(at, 128));
    dialog.m_nMode = 0;
    ASSERT_TRUE(dialog.Run());
    EXPECT_EQ(Powers(), estimator.Result());
    dialog.m_nLog2Bins = 8;
    EXPECT_EQ(Refusal(),
              "Every segment meets a gap or the boundary of an episode. Choose another region, or fewer "
              "frequency bins.");
}

TEST_F(SpectrumTest, NotANumberIsNamed) {
    auto samples = Noise(1000, 1);
    samples[300] = NAN;
    Open(MemoryDoc::Make(session, {Noise(1000, 2), samples}, 0.5));
    EXPECT_TRUE(dialog.Run());
    Set("traceA", "2");
    EXPECT_EQ(Refusal(), "The sample of trace 2 at 150 ms is not a number. Choose a region without it.");
    // No segment reaches it.
    Set("region", "2");
    Set("regionEnd", "145");
    EXPECT_TRUE(dialog.Run());
}

TEST_F(SpectrumTest, WishedAverages) {
    OpenNoise(10'000);
    Set("log2Bins", "7");
    Set("targetAverages", "8");
    // (8 x 128 + 128) samples of 0.5 ms
    EXPECT_EQ(dialog.m_nRegionMode, int32_t{regionUserSet});
    EXPECT_EQ(dialog.m_dRegionEnd, 576.0);
    ASSERT_TRUE(dialog.Run());
    EXPECT_EQ(std::get<int64_t>(Value("averages")), 8);
    Set("regionEnd", "4000");
    ASSERT_TRUE(dialog.Run());
    EXPECT_GT(std::get<int64_t>(Value("averages")), 8) << "the wish is no limit";
    Set("targetAverages", "100");
    EXPECT_EQ(Refusal(), "Not enough data for spectral analysis. Cancelling timebase expansion.");
    EXPECT_EQ(dialog.m_dRegionEnd, 4000.0);
    // A window asks why, and puts the value back.
    ParamList params = dialog.Params();
    Field& wish = *params.Find("targetAverages");
    EXPECT_EQ(wish.putBack(), "Not enough data for spectral analysis. Cancelling timebase expansion.");
    wish.number = 8;
    wish.store(wish);
    EXPECT_EQ(wish.putBack(), "");
    EXPECT_EQ(dialog.m_dRegionEnd, 4000.0);
    EXPECT_TRUE(dialog.Run());
    Set("targetAverages", "8");
    EXPECT_EQ(dialog.m_dRegionEnd, 576.0) << "the value is the same, and yet it acts";
    // So does the one that it has at first.
    CSpectrumAnalDlg fresh;
    fresh.CheckChangeDoc(doc.get());
    EXPECT_EQ(fresh.Params().Find("log2Bins")->SetFromText("12"), "");
    EXPECT_EQ(fresh.Params().Find("targetAverages")->SetFromText("4"), "");
    EXPECT_EQ(fresh.Validate(), "Not enough data for spectral analysis. Cancelling timebase expansion.");
    // A region that is set behind it is what is wanted.
    EXPECT_EQ(fresh.Params().Find("region")->SetFromText("0"), "");
    EXPECT_EQ(fresh.Validate(), "");
    // A user who is done with the field has the value before again.
    EXPECT_EQ(fresh.Params().Find("log2Bins")->SetFromText("7"), "");
    ParamList again = fresh.Params();
    EXPECT_NE(again.Find("targetAverages")->SetForGood("5000", again), "");
    EXPECT_EQ(fresh.m_nTargetAverages, 4);
    EXPECT_EQ(fresh.Validate(), "");
}

TEST_F(SpectrumTest, WishedAveragesWaitForTheRecording) {
    dialog.CheckChangeDoc(nullptr);
    Set("log2Bins", "7");
    Set("targetAverages", "8");
    const std::vector<std::byte> settings = dialog.Settings();
    OpenNoise(10'000);
    const auto run = [&](bool isAttended) {
        CSpectrumAnalDlg loaded;
        RunMessages messages;
        if (!isAttended) loaded.SendMessagesTo(&messages);
        loaded.TakeSettings(settings);
        loaded.CheckChangeDoc(doc.get());
        const bool isDone = loaded.Run();
        EXPECT_EQ(isDone, loaded.m_nRegionMode == regionUserSet);
        return isDone ? std::get<int64_t>(loaded.Results().at(0).values.at(0).second) : 0;
    };
    EXPECT_EQ(run(false), 8);
    EXPECT_EQ(run(true), 8);
    OpenNoise(1000);
    EXPECT_EQ(run(false), 0) << "8 averages take 1152 samples";
}

// One real value a segment at bins 0 and N: chi-squared with K degrees of freedom, and 2K at the others.
TEST_F(SpectrumTest, BandsOfConfidence) {
    OpenNoise(128 * 10);
    Set("overlapShift", "0");
    Set("confidence", "1");
    ASSERT_TRUE(dialog.Run());
    // The table's quantiles 0.025 and 0.975 for 10 and for 20 degrees.
    const double ends[2][2] = {{3.247, 20.483}, {9.591, 34.170}};
    for (const size_t bin : {0u, 1u, 63u, 64u}) {
        SCOPED_TRACE(bin);
        const bool isReal = bin == 0 || bin == 64;
        const double degrees = isReal ? 10.0 : 20.0, power = Powers()[bin];
        EXPECT_NEAR(Powers(3)[bin] / power, degrees / ends[isReal ? 0 : 1][1], 1e-3);
        EXPECT_NEAR(Powers(4)[bin] / power, degrees / ends[isReal ? 0 : 1][0], 1e-3);
    }
    // A coherence of one segment is 1 by itself; five tapers make one that tells something.
    Set("mode", "2");
    for (const auto& [samples, window, layers, columns] :
         {std::tuple(128 * 2, "1", 2u, 7u), {128, "1", 1u, 5u}, {128, "8", 2u, 7u}}) {
        SCOPED_TRACE(testing::Message() << samples << " " << window);
        OpenNoise(static_cast<size_t>(samples));
        Set("window", window);
        ASSERT_TRUE(dialog.Run());
        EXPECT_EQ(dialog.GetGraph()->panes[0].layers.size(), layers);
        EXPECT_EQ(dialog.Results().at(0).columns.size(), columns);
    }
}

TEST_F(SpectrumTest, CoherenceAndItsCriticalLevel) {
    OpenNoise(128 * 12);
    dialog.m_nOverlapShift = 0;
    Set("mode", "2");
    ASSERT_TRUE(dialog.Run());
    EXPECT_NEAR(std::get<double>(Value("critical")), 1.0 - std::pow(0.05, 0.2), 1e-9);
    EXPECT_EQ(dialog.GetGraph()->panes[0].lines.size(), 1u);
    Set("logY", "1");
    EXPECT_TRUE(dialog.GetGraph()->panes[0].lines.empty());
    Set("phase", "1");
    EXPECT_EQ(dialog.GetGraph()->panes.size(), 3u);
    OpenNoise(128 * 2);
    ASSERT_TRUE(dialog.Run());
    EXPECT_TRUE(std::holds_alternative<std::monostate>(Value("critical")));
}

TEST_F(SpectrumTest, BandAndText) {
    // A sine of 100 Hz with an amplitude of 2 mV at 2 kHz: bin 6.4 of 64.
    std::vector<float> sine(4096);
    for (size_t i = 0; i < sine.size(); ++i) sine[i] = 2.0f * std::sin(float(2 * M_PI * 0.05) * float(i));
    Open(MemoryDoc::Make(session, {sine}, 0.5));
    doc->traces[0].traceLabel = "hum";
    Set("window", "6");
    Set("band", "1");
    Set("bandLow", "40");
    Set("bandHigh", "160");
    ASSERT_TRUE(dialog.Run());
    EXPECT_NEAR(std::get<double>(Value("bandPower")), 2.0, 0.002);
    EXPECT_EQ(std::get<double>(Value("peakFrequency")), 93.75);
    Set("density", "1");
    ASSERT_TRUE(dialog.Run());
    EXPECT_NEAR(std::get<double>(Value("bandPower")), 2.0, 0.002);
    const std::string text = ResultText(dialog);
    EXPECT_TRUE(text.starts_with("Trace A: 1 hum\r\nBin\tHz\tPower (mean sq amp)\r\n  0\t0.00\t")) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 67);
}

TEST_F(SpectrumTest, CancelKeepsWhatThereIs) {
    Open(MemoryDoc::Generate(
        session, 1, 400'000, [](int, int64_t i) { return float(i % 17); }, 1.0));
    host.cancelAtCall = 1;
    ASSERT_TRUE(dialog.Run());
    EXPECT_EQ(std::get<int64_t>(Value("averages")), 100);
}

}  // namespace
}  // namespace kymora::test
