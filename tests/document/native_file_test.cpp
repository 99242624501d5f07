// Native files of every version, built byte by byte, read and written again.

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "support/native_builder.h"
#include "support/session_fixture.h"

namespace kymora {
namespace {

using test::BuildNative;
using test::BuiltSample;
using test::NativeRecipe;

struct NativeFile : test::SessionTest {
    OpenTalk talk = OpenTalk::shows;

    std::unique_ptr<CFloatDoc> Open(OpenFor purpose = OpenFor::editing,
                                    const std::filesystem::path& p = test::recordingPath) {
        auto doc = std::make_unique<CFloatDoc>(session);
        if (!doc->OnOpenDocument(p, {purpose, talk})) return nullptr;
        return doc;
    }
    std::unique_ptr<CFloatDoc> doc;

    std::unique_ptr<CFloatDoc> OpenBuilt(const NativeRecipe& recipe) {
        files.Put(test::recordingPath, BuildNative(recipe).file.data);
        return Open();
    }
};

// What each version stores is read, and what it does not store takes its default.
TEST_F(NativeFile, EveryVersionReadsWhole) {
    for (int v = 1; v <= 48; ++v) {
        SCOPED_TRACE(v);
        host.Forget();
        session.options.expandContractFocus = 1;
        NativeRecipe recipe;
        recipe.version = v;
        const auto doc = OpenBuilt(recipe);
        ASSERT_TRUE(doc) << host.LastMessage();
        EXPECT_TRUE(host.messages.empty());
        EXPECT_EQ(doc->fileVersion, v);
        EXPECT_EQ(doc->fileComment, "comment");
        EXPECT_EQ(doc->historyLog, v >= 38 ? "history\r\n\r\n" : "");
        EXPECT_EQ(doc->sampleInterval, 0.5);
        EXPECT_EQ(doc->GetLength(), 10);
        EXPECT_EQ(doc->legacyEventCode, v < 18 ? 123 : 0);
        EXPECT_FALSE(doc->hasGaps);
        EXPECT_FALSE(doc->noData);

        const StoredView& view = doc->view;
        EXPECT_EQ(view.viewStart, 0.5);
        EXPECT_EQ(view.viewEnd, v >= 18 ? 4.5 : -1.0);
        EXPECT_EQ(view.axisGroupCount, v >= 25 ? 3 : 1);
        EXPECT_EQ(view.axisMode, v >= 25 ? 4 : 1);
        EXPECT_EQ(view.expandContractFocus, v >= 29 ? 0 : 1);
        EXPECT_EQ(session.options.expandContractFocus, v >= 29 ? 0 : 1);
        EXPECT_EQ(view.showEvents, v >= 29 ? 0 : 1);
        EXPECT_EQ(view.showEventLabels, v >= 46 ? 0 : 1);
        EXPECT_EQ(view.showScaleBars, v >= 29 ? 0 : 1);
        EXPECT_EQ(view.showTraceLabels, v >= 29 ? 0 : 1);
        EXPECT_EQ(view.showTraceIds, v >= 43 ? 0 : 1);
        EXPECT_EQ(view.scrollStepPercent, v >= 29 ? 35 : 20);
        EXPECT_EQ(view.showGrid, v >= 29 ? 0 : 1);
        EXPECT_EQ(view.showSlider, v >= 29 ? 0 : 1);
        EXPECT_EQ(view.dataDisplayFraction, v >= 29 ? 0.75f : 1.0f);
        EXPECT_EQ(view.timeUnit, v >= 36 ? 1 : 0);
        EXPECT_EQ(view.timebaseMode, v >= 43 ? 1 : 0);
        EXPECT_EQ(view.spareSetting, v >= 44 ? 77 : 0);
        EXPECT_EQ(view.vertAxisSigFigs, v >= 48 ? 2 : 3);
        EXPECT_EQ(view.formatOption, v >= 48 ? 6 : 1);
        EXPECT_EQ(view.showAnnotationFlag, v < 23);
        EXPECT_EQ(doc->grid.gridCells, v >= 39 ? (std::vector<int32_t>{0, -1}) : std::vector<int32_t>{0});
        EXPECT_EQ(doc->grid.gridSpareC, v >= 39 ? 13 : 0);

        const TraceSettings& second = doc->traces[1];
        EXPECT_EQ(second.traceAutoscale, 1);
        EXPECT_EQ(second.axisTop, 51.0);
        EXPECT_EQ(second.axisBottom, -51.0);
        EXPECT_EQ(second.traceOrder, v == 1 ? 1 : 0);
        EXPECT_EQ(second.traceLabel, v >= 4 ? "label" : "");
        EXPECT_EQ(second.traceUnits, v >= 39 ? "mV" : "");
        EXPECT_EQ(second.axisLabel, v >= 11 ? "axis" : "Ax 2");
        EXPECT_EQ(second.traceColour, v >= 13 ? 0x112233u : 0x008000u);
        EXPECT_EQ(second.traceVisible, v >= 25 ? 0 : 1);
        EXPECT_EQ(second.traceExtraB, v >= 48 ? 9 : 1);
        // Slots behind the last trace are reset, but for what the reader leaves.
        EXPECT_EQ(doc->traces[5].axisTop, 1000.0);
        EXPECT_EQ(doc->traces[5].traceOrder, 5);
        EXPECT_EQ(doc->traces[5].traceLabel, "");

        ASSERT_EQ(doc->markers.size(), v >= 3 ? 1u : 0u);
        if (v >= 3) {
            EXPECT_EQ(doc->markers[0], (CMarker{2.5, "mark"}));
        }
        ASSERT_EQ(doc->traceAnnotations[1].size(), v >= 6 ? 1u : 0u);
        if (v >= 6) {
            const CAnnotation& note = doc->traceAnnotations[1][0];
            EXPECT_EQ(note.m_strLabel, "note");
            EXPECT_EQ(note.m_fValue, 1.25f);
            EXPECT_EQ(note.m_nTrace, 1);
            EXPECT_EQ(note.m_logFont.FaceName(), "Arial");
            EXPECT_EQ(note.m_logFont.weight, 700);
            EXPECT_EQ(note.m_logFont.pitchAndFamily, 6);
        }
        const CEventChan& channel = doc->eventChannels[1];
        ASSERT_EQ(channel.GetNumEvents(), 3);
        EXPECT_EQ(channel.parentTrace, 1) << "held to the last trace";
        EXPECT_EQ(channel.Events()[2].onPosition, 8);
        EXPECT_EQ(channel.Events()[2].offPosition, 10);
        EXPECT_EQ(channel.Events()[2].eventValue, 1.5f);
        EXPECT_EQ(channel.GetDisplayPosition(), v >= 14  ? 0.25
                                                : v >= 7 ? 0.1
                                                         : CDataDoc::DefaultDisplayPosition(1));
        EXPECT_EQ(channel.channelDrawMode, v >= 29 && v <= 31 ? 5 : 2);
        EXPECT_EQ(doc->eventChannels[3].GetDisplayPosition(), CDataDoc::DefaultDisplayPosition(3));
        EXPECT_EQ(doc->scaleBars[0].list.size(), v >= 24 ? 1u : 0u);
        EXPECT_EQ(doc->scaleBars[1].single.m_fLength, v >= 26 ? 20.0f : 0.0f);

        for (int t = 0; t < 2; ++t)
            for (int i = 0; i < 10; ++i) {
                uint8_t valid = 0;
                EXPECT_EQ(doc->ReadAt(t, i, valid), BuiltSample(t, i));
                EXPECT_EQ(valid, 1);
            }
    }
}

// A file that is read and saved keeps its bytes: spare fields, unknown flags, what stands behind a face name,
// and text that is no valid UTF-16 included. The bytes are laid out by hand.
TEST_F(NativeFile, SavingWhatWasReadKeepsEveryByte) {
    NativeRecipe recipe;
    recipe.comment = {u'x', 0xD800, 0xDC01, 0xDC00};
    recipe.channelA = {{0, 4}, {4, 9}};
    const auto doc = OpenBuilt(recipe);
    ASSERT_TRUE(doc);
    ASSERT_TRUE(doc->OnSaveDocument());
    recipe.settled = true;
    const auto settled = BuildNative(recipe).file.data;
    const auto saved = files.Bytes(test::recordingPath);
    ASSERT_GE(saved.size(), settled.size()) << "nothing is cut off behind the guard string";
    const auto [expected, found] = std::mismatch(settled.begin(), settled.end(), saved.begin());
    EXPECT_EQ(expected, settled.end()) << "first difference at byte " << expected - settled.begin();
}

TEST_F(NativeFile, VersionsOutOfRangeAreToldAndEndClearly) {
    NativeRecipe recipe;
    auto bytes = BuildNative(recipe).file.data;
    bytes[0] = std::byte{49};
    files.Put(test::recordingPath, bytes);
    auto doc = Open();
    ASSERT_TRUE(doc);
    EXPECT_NE(host.LastMessage().find("is 49, which is greater than the current maximum file version (48)"),
              std::string::npos);
    ASSERT_TRUE(doc->OnSaveDocument());
    doc.reset();
    host.Forget();
    EXPECT_EQ(Open(OpenFor::reading)->fileVersion, 48);
    EXPECT_TRUE(host.messages.empty());

    bytes[0] = bytes[1] = std::byte{0xFF};
    files.Put(test::recordingPath, bytes);
    EXPECT_FALSE(Open());
    ASSERT_EQ(host.messages.size(), 2u);
    EXPECT_EQ(host.messages[0].text,
              "Problem: file version read as -1, which is not on the recognised list (1 - 48).");
    host.Forget();
    bytes[0] = bytes[1] = std::byte{0};
    files.Put(test::recordingPath, bytes);
    EXPECT_FALSE(Open());
    EXPECT_EQ(host.messages.size(), 1u);
}

// What another program cut off while the file was open is no run of zeros, in no layout.
TEST_F(NativeFile, SamplesThatAreLostWhileItIsOpenAreAnError) {
    for (const int v : {21, 48}) {
        SCOPED_TRACE(v);
        NativeRecipe recipe;
        recipe.version = v;
        const auto doc = OpenBuilt(recipe);
        ASSERT_TRUE(doc);
        std::vector<float> values(static_cast<size_t>(doc->GetLength()));
        EXPECT_NO_THROW(doc->ReadBlock(0, 0, values));
        const auto samplesAt = v == 48 ? doc->traceFileOffset[0] : static_cast<uint64_t>(doc->dataStart);
        files.Bytes(test::recordingPath).resize(samplesAt + 8);
        EXPECT_THROW(doc->ReadBlock(0, 0, values), FileError);
        EXPECT_THROW(SaveAs(*doc, "/copy.kymr-dat"), FileError);
        EXPECT_FALSE(files.Stamp("/copy.kymr-dat"));
    }
}

// A file cut off anywhere is refused with a message: never half read.
TEST_F(NativeFile, TruncationAnywhereIsRefused) {
    for (const int v : {5, 6, 12, 21, 22, 36, 48}) {
        NativeRecipe recipe;
        recipe.version = v;
        const auto whole = BuildNative(recipe).file.data;
        const size_t step = whole.size() > 20000 ? 211 : 7;
        for (size_t n = 0; n < whole.size(); n += n < 300 || n + 300 > whole.size() ? 1 : step) {
            host.Forget();
            files.Put(test::recordingPath, {whole.begin(), whole.begin() + static_cast<long>(n)});
            ASSERT_FALSE(Open()) << "version " << v << " cut to " << n;
            ASSERT_EQ(host.messages.size(), 1u);
        }
    }
}

TEST_F(NativeFile, SenselessHeadsAreRefused) {
    const auto refuse = [&](NativeRecipe recipe, const char* words) {
        host.Forget();
        EXPECT_FALSE(OpenBuilt(recipe));
        EXPECT_NE(host.LastMessage().find(words), std::string::npos) << host.LastMessage();
    };
    for (const double interval : {0.0, -1.0, std::nan(""), HUGE_VAL, -HUGE_VAL}) {
        NativeRecipe recipe;
        recipe.sampleInterval = interval;
        refuse(recipe, "sample interval");
    }
    for (const int count : {0, -1, 129, 0x7FFFFFFF}) {
        for (const int v : {21, 48}) {
            NativeRecipe recipe;
            recipe.version = v;
            recipe.traceCount = count;
            // The builder loops over traceCount in old versions; only the head matters here.
            if (v == 21) recipe.runs = {{0}, {0}};
            refuse(recipe, "traces");
        }
    }
    NativeRecipe longRuns;
    auto bytes = BuildNative(longRuns).file.data;
    for (size_t i = 16; i < 20; ++i) bytes[i] = std::byte{0xFF};
    files.Put(test::recordingPath, bytes);
    host.Forget();
    EXPECT_FALSE(Open());
    EXPECT_NE(host.LastMessage().find("too long"), std::string::npos);
}

// A damaged file is refused before its records are kept: what a few bytes each would take in memory never
// adds up.
TEST_F(NativeFile, DamagedFilesLeaveTheModelEmpty) {
    NativeRecipe recipe;
    const auto built = BuildNative(recipe);
    auto bytes = built.file.data;
    bytes.pop_back();  // cut within the guard string, the last thing of all
    files.Put(test::recordingPath, bytes);
    CFloatDoc doc(session);
    EXPECT_FALSE(doc.OnOpenDocument(test::recordingPath));
    EXPECT_TRUE(doc.markers.empty());
    EXPECT_TRUE(doc.fileComment.empty());
    EXPECT_EQ(doc.GetNumEvents(1), 0);
    EXPECT_TRUE(doc.scaleBars[0].list.empty());
    EXPECT_EQ(session.options.expandContractFocus, 1) << "nor does it change an option";
}

TEST_F(NativeFile, EpisodicFilesAreRepaired) {
    NativeRecipe recipe;
    recipe.episodic = 5;
    recipe.channelA = {{4, 6}};
    auto doc = OpenBuilt(recipe);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(doc->episodic);
    ASSERT_EQ(doc->GetNumEvents(0), 2);
    EXPECT_EQ(doc->eventChannels[0].Events()[0], (CEventKM{0, 2, 0.0f, 1, 0, "0: auto-insert"}));
    ASSERT_EQ(host.notices.size(), 2u - 1u);
    EXPECT_EQ(host.notices[0].key, "EpisodicNoStartBoundaryMark");
    EXPECT_EQ(doc->ShortestSection(), 4) << "from 0 to 4, and from 4 to the end at 10";

    doc.reset();
    host.Forget();
    recipe.channelA = {};
    doc = OpenBuilt(recipe);
    EXPECT_FALSE(doc->episodic);
    EXPECT_EQ(host.notices[0].key, "NoBoundaryMarkRemoveEpisodicFlag");

    doc.reset();
    host.Forget();
    recipe.channelA = {{0, 3}};
    doc = OpenBuilt(recipe);
    EXPECT_EQ(doc->GetNumEvents(0), 1);
    EXPECT_TRUE(host.notices.empty());
    EXPECT_EQ(doc->episodicStored, 5);
}

TEST_F(NativeFile, GapsDummyDataAndHighChannelsAreNoticed) {
    NativeRecipe recipe;
    const auto notices = [&](std::vector<std::vector<uint32_t>> runs) {
        recipe.runs = std::move(runs);
        host.Forget();
        doc.reset();
        doc = OpenBuilt(recipe);
        EXPECT_TRUE(doc);
        return host.notices.size();
    };
    EXPECT_EQ(notices({{4, 3, 5}, {4, 3, 5}}), 1u);
    EXPECT_TRUE(doc->hasGaps);
    EXPECT_EQ(notices({{4, 3, 5}, {4, 3, 5}}), 1u) << "silencing it is the host's";
    talk = OpenTalk::tells;
    EXPECT_EQ(notices({{4, 3, 5}, {4, 3, 5}}), 0u);
    talk = OpenTalk::shows;
    EXPECT_EQ(notices({{0, 500}, {0, 500}}), 0u);
    EXPECT_TRUE(doc->noData);
    EXPECT_EQ(doc->GetEndTime(), 499 * 0.5);
    notices({{10}, {9}});
    EXPECT_TRUE(doc->hasGaps) << "the traces' runs differ";

    doc->AddEvent(30, {1, 2});
    doc->OnSaveDocument();
    doc.reset();
    EXPECT_EQ(session.options.eventChannelMode, 26);
    Open();
    EXPECT_EQ(session.options.eventChannelMode, 999);
    EXPECT_TRUE(session.numbersForSession) << "what is kept is the user's choice";
}

// The file as an old program reads it holds all but what its version has no room for.
TEST_F(NativeFile, LegacyFilesHoldTheOldLayout) {
    NativeRecipe recipe;
    recipe.episodic = 1;
    recipe.channelA = {{0, 4}};
    const auto doc = OpenBuilt(recipe);
    ASSERT_TRUE(doc);
    WriteNativeFile(*doc, "/old.flt", legacyFileVersion);
    const auto old = Open(OpenFor::reading, "/old.flt");
    ASSERT_TRUE(old);
    EXPECT_EQ(old->fileVersion, 36);
    EXPECT_EQ(old->fileComment + old->historyLog, "comment");
    EXPECT_EQ(old->traces[0].traceLabel + old->traces[0].traceUnits, "label");
    EXPECT_TRUE(old->eventChannels[2].channelLocked);
    EXPECT_EQ(old->eventChannels[1].Events(), doc->eventChannels[1].Events());
    EXPECT_EQ(old->traceAnnotations[1], doc->traceAnnotations[1]);
    EXPECT_EQ(old->view.timeUnit, 1);
    EXPECT_EQ(old->view.spareSetting, 0);
    EXPECT_EQ(old->scaleBars[1].list[0].m_fLength, 5.0f);
    EXPECT_EQ(old->scaleBars[1].list[0].m_strUnits, "");
    EXPECT_EQ(SamplesOf(*old, 1), SamplesOf(*doc, 1));
}

TEST_F(NativeFile, ARangeWritesOnlyWhatLiesWithin) {
    NativeRecipe recipe;
    const auto doc = OpenBuilt(recipe);
    ASSERT_TRUE(doc);
    CEventChan& channel = doc->eventChannels[4];
    for (const auto& [on, off] :
         std::vector<std::pair<int, int>>{{0, 2}, {0, 3}, {1, 5}, {3, 4}, {4, 9}, {6, 8}, {8, 9}})
        channel.AddEvent(on, off);
    doc->markers = {{0.9, "before"}, {1.0, "first"}, {3.0, "last"}, {3.1, "behind"}};
    const auto before = doc->markers;

    MemoryFile tail;
    CArchive archive(tail, CArchive::Mode::store);
    WriteHead(archive, *doc);
    // The samples 2 to 6 of both traces, as a command that saves a section writes them.
    WriteTail(archive, *doc, "part", {2, 6});
    archive.Close();
    EXPECT_EQ(doc->markers, before);
    EXPECT_EQ(channel.GetNumEvents(), 7);

    // A recording without samples takes the tail, so that it can be read.
    auto bytes = tail.Bytes();
    for (const size_t run : {16, 22}) bytes[run] = std::byte{0};
    files.Put("/part.kymr-dat", bytes);
    const auto part = Open(OpenFor::reading, "/part.kymr-dat");
    ASSERT_TRUE(part) << host.LastMessage();
    EXPECT_EQ(part->fileComment, "part");
    EXPECT_EQ(part->markers, (std::vector<CMarker>{{0.0, "first"}, {2.0, "last"}}));
    EXPECT_EQ(part->view.viewEnd, 2.0);
    std::vector<std::pair<int, int>> kept;
    for (const CEventKM& e : part->eventChannels[4].Events()) kept.emplace_back(e.onPosition, e.offPosition);
    // By hand: (0,2) ends where the range starts; (1,5) crosses the start, (4,9) the end; (6,8) has nothing
    // left.
    EXPECT_EQ(kept, (std::vector<std::pair<int, int>>{{0, 1}, {0, 3}, {1, 2}, {2, 4}}));
}

TEST_F(NativeFile, DecliningTheDetailsFailsTheOpen) {
    host.acceptDetails = false;
    EXPECT_FALSE(OpenBuilt({}));
    ASSERT_EQ(host.details.size(), 1u);
    EXPECT_EQ(host.details[0].sampleCount, 10);
    EXPECT_EQ(host.details[0].durationMs, 5.0);
    EXPECT_TRUE(host.messages.empty());
    session.skipFileDetails = true;
    EXPECT_TRUE(OpenBuilt({}));
}

}  // namespace
}  // namespace kymora
