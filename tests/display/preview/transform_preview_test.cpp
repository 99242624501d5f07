#include "display/preview/transform_preview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/recording_device.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

// Gives what the test says, and the positions of the samples as raw data otherwise.
class ScriptedHost : public CPreviewHost {
  public:
    void OnNeedData(PreviewData& data) override {
        ++calls;
        data.raw.assign(static_cast<size_t>(data.count), 0.0f);
        for (size_t i = 0; i < data.raw.size(); ++i)
            data.raw[i] = raw.empty() ? static_cast<float>(data.start) + static_cast<float>(i) : raw.at(i);
        data.transformed = data.raw;
        for (float& value : data.transformed) value = value * factor + offset;
        if (!results.empty()) {
            data.transformed = results;
            data.firstResult += firstResult;
            data.resultStep = resultStep;
        }
        data.isTransformed = message.empty();
        data.message = message;
    }
    int PreviewTrace() const override { return trace; }
    std::string ResultUnits(const std::string&) const override { return "V"; }

    std::vector<float> raw, results;
    double firstResult = 0.0, resultStep = 1.0;
    float factor = 1.0f, offset = 0.0f;
    std::string message;
    int trace = 0, calls = 0;
};

class SeenView : public DocumentView {
  public:
    DisplaySettings GetDisplaySettings() const override { return settings; }
    void OnUpdate(UpdateHint) override {}
    DisplaySettings settings;
};

class TransformPreviewTest : public ::testing::Test {
  protected:
    // 1,000 samples of 2 ms; the view shows 200 to 400 ms, samples 100 to 200.
    void SetUp() override {
        Make(1000);
        view.settings.view.viewStart = 200.0;
        view.settings.view.viewEnd = 400.0;
        view.settings.view.scrollStepPercent = 20;
        session.options.expandContractFocus = 1;
    }
    void Make(int64_t length) {
        doc = MemoryDoc::Generate(
            session, 3, length, [](int, int64_t) { return 0.0f; }, 2.0);
        doc->traces[0].traceLabel = "EMG";
        doc->traces[1].traceLabel.clear();
    }
    CTransformPreview Open() {
        CTransformPreview preview(source, *doc, &view);
        preview.Refresh();
        return preview;
    }
    static std::pair<int64_t, int64_t> Stretch(const CTransformPreview& preview) {
        return {preview.Start(), preview.Length()};
    }
    using Pair = std::pair<int64_t, int64_t>;
    static constexpr uint32_t black = 0, red = Rgb(216, 0, 0);
    // The pixels that a trace reaches: its highest and its lowest row in each column.
    static std::map<int, std::pair<int, int>> Rows(const RecordingDevice& device, uint32_t colour) {
        std::map<int, std::pair<int, int>> rows;
        for (const DrawnLine& line : device.LinesOf(colour))
            for (const Point& point : line.points) {
                const auto [at, isNew] = rows.emplace(point.x, std::pair(point.y, point.y));
                at->second.first = std::min(at->second.first, point.y);
                at->second.second = std::max(at->second.second, point.y);
            }
        return rows;
    }

    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    std::unique_ptr<MemoryDoc> doc;
    SeenView view;
    ScriptedHost source;
};

TEST_F(TransformPreviewTest, BeginsWithTheStretchOfTheView) {
    CTransformPreview preview = Open();
    EXPECT_EQ(Stretch(preview), Pair(100, 100));
    EXPECT_EQ(preview.Status(), "Trace 1 (EMG), 200 to 398 ms");
    // The first sample that is seen lies behind the edge; a stretch beyond the end is moved into the
    // recording.
    view.settings.view.viewStart = 200.5;
    EXPECT_EQ(Open().Start(), 101);
    view.settings.view = {.viewStart = 1950.0, .viewEnd = 2150.0, .timeUnit = 1};
    source.trace = 1;
    CTransformPreview atEnd = Open();
    EXPECT_EQ(Stretch(atEnd), Pair(900, 100));
    EXPECT_EQ(atEnd.Status(), "Trace 2, 1.8 to 1.998 s");
}

TEST_F(TransformPreviewTest, CommandsMoveItsOwnStretch) {
    CTransformPreview preview = Open();
    const auto after = [&](std::string_view id) {
        EXPECT_TRUE(preview.RunCommand(id)) << id;
        return Stretch(preview);
    };
    EXPECT_EQ(after("right-page"), Pair(200, 100));
    EXPECT_EQ(after("right-percent"), Pair(220, 100));
    EXPECT_EQ(after("left-percent"), Pair(200, 100));
    EXPECT_EQ(after("left-page"), Pair(100, 100));
    EXPECT_EQ(after("end"), Pair(900, 100));
    EXPECT_EQ(after("right-percent"), Pair(900, 100)) << "there is no more";
    EXPECT_EQ(after("left-percent"), Pair(880, 100));
    EXPECT_EQ(after("start"), Pair(0, 100));
    EXPECT_EQ(after("expand"), Pair(0, 50));
    EXPECT_EQ(after("compress"), Pair(0, 100));
    session.options.expandContractFocus = 0;
    after("right-page");
    EXPECT_EQ(after("expand"), Pair(125, 50)) << "about the middle";
    EXPECT_EQ(after("compress"), Pair(100, 100));
    for (int i = 0; i < 9; ++i) after("compress");
    EXPECT_EQ(Stretch(preview), Pair(0, 1000)) << "all there is";
    for (int i = 0; i < 20; ++i) after("expand");
    EXPECT_EQ(preview.Length(), 2);
    EXPECT_EQ(after("right-percent").second, 2);
    EXPECT_EQ(preview.Data().raw[0], static_cast<float>(preview.Start())) << "each step asks for its data";
    EXPECT_FALSE(preview.RunCommand("undo"));
    EXPECT_FALSE(preview.RunCommand(""));
    const int calls = source.calls;
    after("increase-gain");
    EXPECT_EQ(source.calls, calls) << "the gain needs no data";
}

TEST_F(TransformPreviewTest, LongStretchesAreCutAndSaySo) {
    Make(12'000'000);
    view.settings.view = {.viewStart = 0.0, .viewEnd = 24e6};
    CTransformPreview preview = Open();
    EXPECT_EQ(preview.Length(), longestRunInMemory);
    const std::string words = "(a preview shows no more than 5000000 samples)";
    EXPECT_TRUE(preview.Status().ends_with(words)) << preview.Status();
    preview.Refresh();
    EXPECT_TRUE(preview.Status().ends_with(words)) << "still";
    preview.RunCommand("expand");
    EXPECT_EQ(Stretch(preview), Pair(0, 2'500'000));
    EXPECT_EQ(preview.Status(), "Trace 1 (EMG), 0 to 4999998 ms");
    preview.RunCommand("compress");
    EXPECT_EQ(preview.Status().find(words), std::string::npos) << "that was what was asked for";
    preview.RunCommand("compress");
    EXPECT_EQ(Stretch(preview), Pair(0, longestRunInMemory));
    EXPECT_TRUE(preview.Status().ends_with(words));
}

TEST_F(TransformPreviewTest, ScalesFollowTheDataUntilTheGainIsChosen) {
    source.factor = 10.0f;
    CTransformPreview preview = Open();
    // 100 to 199 and 1000 to 1990, with a twentieth above and below.
    EXPECT_EQ(preview.RawScale(), (PreviewScale{100 - 4.95, 199 + 4.95}));
    EXPECT_DOUBLE_EQ(preview.TransformedScale().high, 1990 + 49.5);
    preview.m_bEqualScale = true;
    EXPECT_EQ(preview.TransformedScale(), preview.RawScale());
    preview.m_bEqualScale = false;
    source.factor = 20.0f;
    preview.Refresh();
    EXPECT_DOUBLE_EQ(preview.TransformedScale().high, 3980 + 99);

    preview.RunCommand("increase-gain");
    EXPECT_DOUBLE_EQ(preview.RawScale().Middle(), 149.5);
    EXPECT_DOUBLE_EQ(preview.RawScale().high - preview.RawScale().low, 108.9 / 2);
    EXPECT_DOUBLE_EQ(preview.TransformedScale().Middle(), 2990.0);
    const PreviewScale chosen = preview.RawScale();
    preview.RunCommand("right-page");
    EXPECT_EQ(preview.RawScale(), chosen);
    preview.RunCommand("decrease-gain");
    EXPECT_DOUBLE_EQ(preview.RawScale().high - preview.RawScale().low, 108.9);
    preview.RunCommand("autoscale");
    EXPECT_DOUBLE_EQ(preview.RawScale().low, 200 - 4.95);
    preview.RunCommand("increase-gain");
    source.trace = 1;
    preview.Refresh();
    EXPECT_DOUBLE_EQ(preview.RawScale().low, 200 - 4.95) << "another trace has a range of its own";
    for (int i = 0; i < 3000; ++i) preview.RunCommand(i < 1500 ? "increase-gain" : "decrease-gain");
    EXPECT_LT(preview.RawScale().low, preview.RawScale().high);
    EXPECT_TRUE(std::isfinite(preview.RawScale().high));

    const float inf = INFINITY;
    EXPECT_EQ(FittingScale(std::vector{NAN, inf, -inf}), PreviewScale{});
    EXPECT_EQ(FittingScale(std::vector{4.0f, NAN, 4.0f}), (PreviewScale{2.0, 6.0}));
    EXPECT_EQ(FittingScale(std::vector{0.0f}), (PreviewScale{-1.0, 1.0}));
}

// Fewer or more results than samples stand where they belong, and a hole stays one.
TEST_F(TransformPreviewTest, ResultsStandAtTheirOwnPlaces) {
    source.results = {1.0f, 2.0f, NAN, 3.0f};
    source.firstResult = 19.0;
    source.resultStep = 20.0;
    CTransformPreview preview = Open();
    RecordingDevice device;
    preview.Draw(device, {600, 400});
    const int left = Rows(device, black).begin()->first, right = Rows(device, black).rbegin()->first;
    const auto rows = Rows(device, red);
    const auto placeOf = [&](int sample) { return left + std::lround((right - left) * sample / 99.0); };
    EXPECT_EQ(rows.begin()->first, placeOf(19));
    EXPECT_EQ(rows.rbegin()->first, placeOf(39)) << "up to the hole";
    ASSERT_EQ(device.ellipses.size(), 1u) << "alone, it can be seen";
    EXPECT_EQ((device.ellipses[0].rect.left + device.ellipses[0].rect.right) / 2, placeOf(79));
}

TEST_F(TransformPreviewTest, ItChoosesTheTraceOfATransformOfAllTraces) {
    EXPECT_FALSE(Open().ChoosesTrace());
    source.trace = everyTrace;
    CTransformPreview preview = Open();
    EXPECT_TRUE(preview.ChoosesTrace());
    EXPECT_EQ(preview.Data().trace, 0);
    preview.ChooseTrace(2);
    EXPECT_EQ(preview.Data().trace, 2);
    preview.RunCommand("right-page");
    EXPECT_EQ(preview.Data().trace, 2);
}

TEST_F(TransformPreviewTest, PanesHaveTheirNamesTracesAndLimits) {
    source.factor = 10.0f;
    doc->traces[0].traceUnits = "mV";
    CTransformPreview preview = Open();
    RecordingDevice two;
    preview.Draw(two, {600, 400});
    EXPECT_TRUE(two.Wrote("Data (mV)") && two.Wrote("Trnsf (V)"));
    EXPECT_FALSE(two.Wrote("Dat+Trn"));
    EXPECT_TRUE(two.Wrote("95.05") && two.Wrote("2040") && two.Wrote("950.5"));
    EXPECT_TRUE(two.Wrote("200") && two.Wrote("398") && two.Wrote("time (ms)"));
    const auto rawRows = Rows(two, black), transformedRows = Rows(two, red);
    // Both rise over the whole width, the raw trace in the upper half.
    EXPECT_EQ(rawRows.begin()->first, transformedRows.begin()->first);
    EXPECT_EQ(rawRows.rbegin()->first, 600 - 10);
    EXPECT_LT(rawRows.begin()->second.second, transformedRows.rbegin()->second.first);
    EXPECT_GT(rawRows.begin()->second.first, rawRows.rbegin()->second.second);

    preview.m_bSuperimpose = true;
    RecordingDevice one;
    preview.Draw(one, {600, 400});
    EXPECT_TRUE(one.Wrote("Dat+Trn") && one.Wrote("2040")) << "the red limits too";
    EXPECT_FALSE(one.Wrote("Data") || one.Wrote("Trnsf"));
    EXPECT_EQ(Rows(one, black), Rows(one, red)) << "each in its own scale they are alike";
    preview.m_bEqualScale = true;
    RecordingDevice equal;
    preview.Draw(equal, {600, 400});
    EXPECT_FALSE(equal.Wrote("2040"));
    EXPECT_LT(Rows(equal, red).begin()->second.second, Rows(equal, black).rbegin()->second.first);
}

TEST_F(TransformPreviewTest, EverySpikeShowsAndHolesBreakTheLine) {
    Make(100000);
    view.settings.view = {.viewStart = 0.0, .viewEnd = 200000.0};
    source.raw.assign(100000, 0.0f);
    source.raw[33333] = 100.0f;
    source.raw[66666] = -100.0f;
    CTransformPreview preview = Open();
    RecordingDevice dense;
    preview.Draw(dense, {600, 400});
    const auto rows = Rows(dense, black);
    EXPECT_EQ(rows.size(), 600u - 10 - 70 + 1) << "a column each";
    int least = 400, most = 0;
    for (const auto& [x, row] : rows) {
        least = std::min(least, row.first);
        most = std::max(most, row.second);
    }
    const int middle = rows.begin()->second.first;
    EXPECT_GT(middle - least, 50);
    EXPECT_GT(most - middle, 50);

    view.settings.view = {.viewStart = 0.0, .viewEnd = 12.0};
    source.raw = {1.0f, 2.0f, NAN, 3.0f, NAN, 4.0f};
    CTransformPreview few = Open();
    RecordingDevice sparse;
    few.Draw(sparse, {600, 400});
    ASSERT_EQ(sparse.LinesOf(black).size(), 1u);
    EXPECT_EQ(sparse.LinesOf(black)[0].points.size(), 4u) << "lowest and highest of two samples";
    EXPECT_EQ(std::count_if(sparse.ellipses.begin(), sparse.ellipses.end(),
                            [](const DrawnShape& shape) { return shape.colour == black; }),
              2)
        << "samples without neighbours";
    for (const Extent size : {Extent{0, 0}, Extent{90, 30}, Extent{120, 60}}) {
        RecordingDevice tiny;
        few.Draw(tiny, size);
    }
}

TEST_F(TransformPreviewTest, MessagesAndTheTraceAreTheHosts) {
    source.message = "The data range is very close to 0.";
    CTransformPreview preview = Open();
    EXPECT_EQ(preview.Message(), source.message);
    source.message.clear();
    source.trace = 2;
    preview.RunCommand("right-page");
    EXPECT_EQ(preview.Data().trace, 0) << "only a change of the settings changes the trace";
    EXPECT_EQ(preview.Message(), "");
    preview.Refresh();
    EXPECT_EQ(preview.Data().trace, 2);
}

TEST_F(TransformPreviewTest, WhatIsRefusedHasNoTrace) {
    class Refusing : public ScriptedHost {
        void OnNeedData(PreviewData& data) override {
            ScriptedHost::OnNeedData(data);
            data.isRefused = isRefused;
        }

      public:
        bool isRefused = true;
    } refusing;
    CTransformPreview preview(refusing, *doc, &view);
    for (const bool isRefused : {true, false, true}) {
        refusing.isRefused = isRefused;
        preview.Refresh();
        EXPECT_EQ(preview.Data().transformed.empty(), isRefused);
        EXPECT_EQ(preview.TransformedScale(), preview.RawScale());
        for (const bool isOver : {false, true}) {
            preview.m_bSuperimpose = isOver;
            RecordingDevice device;
            preview.Draw(device, {400, 300});
        }
    }
}

TEST_F(TransformPreviewTest, WithoutAViewThereIsNothingToSee) {
    CTransformPreview preview(source, *doc, nullptr);
    preview.Refresh();
    EXPECT_EQ(source.calls, 0);
    EXPECT_EQ(preview.Status(), "No active view");
    EXPECT_EQ(preview.Message(), "");
    EXPECT_TRUE(preview.RunCommand("right-page"));
    EXPECT_EQ(preview.Message(), "Navigation is not available in this preview.");
    RecordingDevice device;
    preview.Draw(device, {600, 400});
    EXPECT_TRUE(device.Wrote("No active view"));
    // A recording of events only.
    const auto empty = MemoryDoc::MakeEmpty(session, 0);
    CTransformPreview nothing(source, *empty, &view);
    nothing.Refresh();
    nothing.RunCommand("compress");
    nothing.RunCommand("end");
    EXPECT_EQ(nothing.Length(), 0);
    nothing.Draw(device, {600, 400});
}

}  // namespace
}  // namespace kymora::test
