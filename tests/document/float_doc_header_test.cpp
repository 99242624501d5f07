// The model of a recording that a transform writes: copied, with traces added, and copied samples.

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "support/native_builder.h"
#include "support/session_fixture.h"

namespace kymora {
namespace {

using test::MemoryDoc;

struct FloatDocHeader : test::SessionTest {
    std::unique_ptr<CFloatDoc> Open() {
        auto doc = std::make_unique<CFloatDoc>(session);
        return doc->OnOpenDocument(test::recordingPath) ? std::move(doc) : nullptr;
    }
    // Three traces with gaps of their own, and something of every kind that names a trace.
    std::unique_ptr<MemoryDoc> MakeSource() {
        auto doc = MemoryDoc::MakeWithRuns(session, {{1, 2}, {10, 20, 30}, {100}},
                                           {{2, 2}, {1, 1, 2}, {0, 3, 1}}, 0.5);
        for (int t = 0; t < 3; ++t) {
            TraceSettings& trace = doc->traces[static_cast<size_t>(t)];
            trace.traceLabel = "L" + std::to_string(t);
            trace.traceUnits = "U" + std::to_string(t);
            trace.axisTop = 10.0 * (t + 1);
            trace.traceColour = static_cast<uint32_t>(100 + t);
            trace.traceGain = 2.0;
            CAnnotation note;
            note.m_strLabel = "note " + std::to_string(t);
            note.m_nTrace = t;
            doc->traceAnnotations[static_cast<size_t>(t)] = {note};
            doc->eventChannels[static_cast<size_t>(t)].parentTrace = t;
            ScaleBar bar;
            bar.m_nTrace = t;
            doc->scaleBars[1].list.push_back(bar);
        }
        doc->traces[1].axisLabel = "current";
        CEventChan& channel = doc->eventChannels[7];
        channel.detectionMethod = methodThreshold;
        channel.detection.templateTrace = 2;
        channel.channelLocked = true;
        doc->grid.gridRows = 3;
        doc->grid.gridCells = {0, 1, 2};
        doc->markers = {{1.5, "m"}};
        doc->fileComment = "comment";
        doc->historyLog = "history";
        return doc;
    }
    // Writes the model with the samples of `of`, one source for each trace of the model.
    void Write(const CFloatDoc& model, CDataDoc& source, const std::vector<int>& of) {
        files.Put(test::recordingPath, {});
        const auto file = files.Open(test::recordingPath, OpenMode::readWrite);
        CArchive archive(*file, CArchive::Mode::store);
        WriteHead(archive, model);
        for (const int trace : of) source.WriteTraceData(archive, trace);
        WriteTail(archive, model, model.fileComment);
        archive.Close();
    }
};

TEST_F(FloatDocHeader, CopiesTheWholeModelAndOwnsIt) {
    const auto source = MakeSource();
    source->markersLocked = true;
    auto copy = std::make_unique<CFloatDoc>(session);
    copy->CopyHeader(*source);
    EXPECT_TRUE(copy->hasGaps);
    EXPECT_FALSE(copy->noData);
    EXPECT_TRUE(copy->markersLocked);
    for (const CEventChan& channel : copy->eventChannels) ASSERT_EQ(channel.ownerDoc, copy.get());
    EXPECT_FALSE(copy->AddEvent(7, {1, 2})) << "the lock came along";
    Write(*copy, *source, {0, 1, 2});

    const auto read = Open();
    ASSERT_TRUE(read) << host.LastMessage();
    EXPECT_EQ(read->sampleInterval, 0.5);
    for (size_t t = 0; t < 3; ++t) {
        EXPECT_EQ(read->validRuns[t], source->validRuns[t]);
        EXPECT_EQ(read->traces[t].traceLabel, source->traces[t].traceLabel);
        EXPECT_EQ(read->traceAnnotations[t], source->traceAnnotations[t]);
        EXPECT_EQ(SamplesOf(*read, static_cast<int>(t)), SamplesOf(*source, static_cast<int>(t)));
    }
    EXPECT_EQ(SamplesOf(*read, 1), (std::vector<float>{5, 0, 10, 15})) << "halved by the gain of 2 once";
    EXPECT_EQ(read->grid, source->grid);
    EXPECT_EQ(read->scaleBars, source->scaleBars);
    EXPECT_EQ(read->markers, source->markers);
    EXPECT_EQ(read->view, source->view);
    EXPECT_EQ(read->historyLog, "history");
    EXPECT_EQ(read->eventChannels[7].detection, source->eventChannels[7].detection);
}

TEST_F(FloatDocHeader, CopiesEpisodesOfAnOldVersionAsTheCurrentOne) {
    test::NativeRecipe recipe;
    recipe.version = 30;
    recipe.episodic = 3;
    recipe.channelA = {{0, 2}, {5, 7}};
    files.Put(test::recordingPath, test::BuildNative(recipe).file.data);
    const auto source = Open();
    ASSERT_TRUE(source);
    CFloatDoc copy(session);
    copy.CopyHeader(*source);
    EXPECT_EQ(copy.fileVersion, 48);
    EXPECT_TRUE(copy.episodic);
    EXPECT_EQ(copy.episodicStored, 3);
    EXPECT_EQ(copy.ShortestSection(), 5);
    EXPECT_FALSE(copy.hasGaps);
}

TEST_F(FloatDocHeader, AddsTracesAndShiftsAllThatNamesOne) {
    const auto source = MakeSource();
    CFloatDoc model(session);
    model.CopyHeader(*source);
    const std::vector<uint8_t> flags{1, 0, 1};
    model.AddTraces(flags);
    Write(model, *source, {0, 0, 1, 2, 2});

    const auto read = Open();
    ASSERT_TRUE(read) << host.LastMessage();
    ASSERT_EQ(read->traceCount, 5);
    const std::vector<size_t> sourceOf{0, 0, 1, 2, 2};
    const std::vector<std::string> labels{"L0", "L0 *", "L1", "L2", "L2 *"};
    const std::vector<std::string> axes{"Ax 1", "Ax 2", "current", "Ax 4", "Ax 5"};
    for (size_t t = 0; t < 5; ++t) {
        SCOPED_TRACE(t);
        const TraceSettings& was = source->traces[sourceOf[t]];
        const TraceSettings& is = read->traces[t];
        EXPECT_EQ(is.traceLabel, labels[t]);
        EXPECT_EQ(is.axisLabel, axes[t]);
        EXPECT_EQ(is.traceUnits, was.traceUnits);
        EXPECT_EQ(is.axisTop, was.axisTop);
        EXPECT_EQ(is.traceColour, was.traceColour);
        EXPECT_EQ(is.traceOrder, static_cast<int32_t>(t));
        EXPECT_EQ(read->validRuns[t], source->validRuns[sourceOf[t]]);
        EXPECT_EQ(SamplesOf(*read, static_cast<int>(t)), SamplesOf(*source, static_cast<int>(sourceOf[t])));
    }
    // What names a trace went with it: 0, 1, 2 are 0, 2, 3 now.
    const std::vector<int> now{0, 2, 3};
    for (size_t t = 0; t < 3; ++t) {
        const auto& notes = read->traceAnnotations[static_cast<size_t>(now[t])];
        ASSERT_EQ(notes.size(), 1u);
        EXPECT_EQ(notes[0].m_strLabel, "note " + std::to_string(t));
        EXPECT_EQ(notes[0].m_nTrace, now[t]);
        EXPECT_EQ(model.traceAnnotations[static_cast<size_t>(now[t])][0].m_nTrace, now[t]);
        EXPECT_EQ(read->eventChannels[t].parentTrace, now[t]);
        EXPECT_EQ(read->scaleBars[1].list[t].m_nTrace, now[t]);
    }
    EXPECT_TRUE(read->traceAnnotations[1].empty());
    EXPECT_TRUE(read->traceAnnotations[4].empty());
    EXPECT_EQ(read->eventChannels[3].parentTrace, -1);
    EXPECT_EQ(read->eventChannels[7].detection.templateTrace, 3);
    EXPECT_EQ(read->grid.gridRows, 5);
    EXPECT_EQ(read->grid.gridCells, (std::vector<int32_t>{0, 1, 2, 3, 4}));
}

// Axis k keeps its range, its label and its traces, whatever number it has afterwards.
TEST_F(FloatDocHeader, AnAddedTraceStandsBehindItsSourceOnPermutedAndSharedAxes) {
    const auto source = MakeSource();
    for (size_t t = 0; t < 3; ++t) source->traces[t].traceOrder = 2 - static_cast<int32_t>(t);
    source->traces[2].traceVisible = 0;
    CFloatDoc permuted(session);
    permuted.CopyHeader(*source);
    // Trace 1, on axis 1.
    permuted.AddTraces(std::vector<uint8_t>{0, 1, 0});
    const auto column = [](const CFloatDoc& doc, auto field) {
        std::vector<int> values;
        for (int t = 0; t < doc.traceCount; ++t)
            values.push_back(static_cast<int>(doc.traces[static_cast<size_t>(t)].*field));
        return values;
    };
    EXPECT_EQ(column(permuted, &TraceSettings::traceOrder), (std::vector<int>{3, 1, 2, 0}));
    EXPECT_EQ(column(permuted, &TraceSettings::axisTop), (std::vector<int>{10, 20, 20, 30}));
    EXPECT_EQ(column(permuted, &TraceSettings::traceVisible), (std::vector<int>{1, 1, 1, 0}));
    EXPECT_EQ(permuted.traces[2].traceLabel, "L1 *");
    EXPECT_EQ(permuted.traces[2].axisLabel, "current");

    // Trace 0, on the last axis: the new axis comes after all others though the trace does not.
    CFloatDoc last(session);
    last.CopyHeader(*source);
    last.AddTraces(std::vector<uint8_t>{1, 0, 0});
    EXPECT_EQ(column(last, &TraceSettings::traceOrder), (std::vector<int>{2, 3, 1, 0}));
    EXPECT_EQ(column(last, &TraceSettings::axisTop), (std::vector<int>{10, 20, 30, 30}));
    EXPECT_EQ(last.traces[3].axisLabel, "Ax 4");
    EXPECT_EQ(column(last, &TraceSettings::traceColour), (std::vector<int>{100, 100, 101, 102}));

    // All on axis 0, and one on an axis that does not exist and thus on its own.
    for (TraceSettings& trace : source->traces) trace.traceOrder = 0;
    source->traces[1].traceOrder = 77;
    CFloatDoc shared(session);
    shared.CopyHeader(*source);
    shared.AddTraces(std::vector<uint8_t>{1, 0, 0});
    EXPECT_EQ(column(shared, &TraceSettings::traceOrder), (std::vector<int>{0, 1, 2, 0}));
}

TEST_F(FloatDocHeader, AnAddedTraceTakesACellWhereItsSourceHasOne) {
    const auto source = MakeSource();
    const auto cells = [&](std::vector<int32_t> before, int rows, std::vector<uint8_t> flags) {
        source->grid.gridRows = rows;
        source->grid.gridColumns = static_cast<int32_t>(before.size()) / rows;
        source->grid.gridCells = std::move(before);
        CFloatDoc model(session);
        model.CopyHeader(*source);
        model.AddTraces(flags);
        EXPECT_EQ(model.grid.gridCells.size(),
                  static_cast<size_t>(model.grid.gridRows) * static_cast<size_t>(model.grid.gridColumns));
        return model.grid.gridCells;
    };
    using Cells = std::vector<int32_t>;
    EXPECT_EQ(cells({0}, 1, {1, 0, 0}), (Cells{0})) << "nobody has laid it out";
    EXPECT_EQ(cells({0, 1, 2, -1}, 2, {1, 0, 0}), (Cells{0, 1, 2, 3}));
    EXPECT_EQ(cells({-1, 2, 1, 0}, 2, {0, 1, 0}), (Cells{2, 3, 1, 0}));
    EXPECT_EQ(cells({2, 1}, 1, {0, 1, 1}), (Cells{3, 1, 4, 2}));
    EXPECT_EQ(cells({2, 1}, 1, {1, 0, 0}), (Cells{3, 2})) << "its source is in no cell";
}

TEST_F(FloatDocHeader, ARecordingGrowsToAllTraces) {
    const auto source = MemoryDoc::Make(session, std::vector<std::vector<float>>(64, {1, 2}));
    source->traces[63].traceLabel = "last";
    source->traceAnnotations[127].push_back({});  // of a trace that does not exist
    CFloatDoc model(session);
    model.CopyHeader(*source);
    model.AddTraces(std::vector<uint8_t>(128, 1));
    EXPECT_EQ(model.traceCount, 128);
    EXPECT_EQ(model.traces[127].traceLabel, "last *");
    EXPECT_EQ(model.traces[127].traceOrder, 127);
    EXPECT_EQ(model.GetTraceLength(127), 2);
    EXPECT_TRUE(model.traceAnnotations[127].empty());
    EXPECT_FALSE(model.hasGaps);
}

// Several pieces, each with its step of the progress; what the source has lost is told.
TEST_F(FloatDocHeader, CopiesSamplesInPiecesThatCanBeCancelled) {
    test::NativeRecipe recipe;
    recipe.runs = {{2'500'000}, {3}};
    files.Put(test::recordingPath, test::BuildNative(recipe).file.data);
    const auto source = Open();
    ASSERT_TRUE(source);
    WriteNativeFile(*source, "/copy.kymr-dat");
    EXPECT_EQ(host.progress.back().updates, (std::vector<uint64_t>{2'097'152, 2'500'000, 2'500'003}));
    EXPECT_EQ(host.progress.back().parts, (std::vector<std::string>{"trace 1 of 2", "trace 2 of 2"}));
    CFloatDoc copy(session);
    ASSERT_TRUE(copy.OnOpenDocument("/copy.kymr-dat"));
    const auto samples = SamplesOf(copy, 0);
    for (size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(samples[i], test::BuiltSample(0, static_cast<int64_t>(i)));

    host.cancelAtCall = 1;
    EXPECT_THROW(WriteNativeFile(*source, "/cancelled.kymr-dat"), Cancelled);
    host.cancelAtCall = 0;
    files.Open(test::recordingPath, OpenMode::readWrite)->Truncate(2'000'000);
    EXPECT_THROW(WriteNativeFile(*source, "/short.kymr-dat"), FileError);
    EXPECT_EQ(files.Count(), 2u);
}

}  // namespace
}  // namespace kymora
