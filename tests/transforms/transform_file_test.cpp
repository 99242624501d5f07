#include <gtest/gtest.h>

#include "document/native_writer.h"
#include "import/open_document.h"
#include "support/faulty_file_system.h"
#include "support/opposite_transform.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

using Samples = std::vector<float>;

// Three traces with all that hangs on them.
std::unique_ptr<MemoryDoc> ThreeTraces(Session& session) {
    auto doc = MemoryDoc::Make(session, {{1, 2, 3, 4}, {10, 20, 30, 40}, {5, 6, 7, 8}}, 0.5);
    for (size_t t = 0; t < 3; ++t) doc->traces[t].traceLabel = std::string(1, static_cast<char>('a' + t));
    doc->traces[1].traceUnits = "mV";
    doc->fileComment = "cell 7";
    doc->historyLog = "START\r\n\r\n";
    for (int channel = 0; channel < 3; ++channel) {
        doc->AddEvent(channel, {1, 2});
        doc->eventChannels[static_cast<size_t>(channel)].parentTrace = channel;
        doc->eventChannels[static_cast<size_t>(channel)].SetEventExtra({{1.0f, 2.0f, 3.0f}});
    }
    CAnnotation note;
    note.m_nTrace = 2;
    note.m_strLabel = "spike";
    doc->traceAnnotations[2].push_back(note);
    return doc;
}

class TransformFileTest : public SessionTest {
  protected:
    WrittenFile Run(CDataDoc& doc, COpposite& dialog, const std::filesystem::path& target = "/out.kymr-dat") {
        dialog.CheckChangeDoc(&doc);
        return dialog.WriteFile(doc.GetSession(), target, dialog.m_bNewFile);
    }
    std::unique_ptr<CDataDoc> Opened(const std::filesystem::path& path = "/out.kymr-dat") {
        return OpenDocument(session, path, OpenFor::reading);
    }
};

TEST_F(TransformFileTest, ReplacesTheChosenTraceAndKeepsAllElse) {
    const auto doc = ThreeTraces(session);
    struct : COpposite {
        bool ChangesScale() const override { return true; }
    } dialog;
    dialog.m_strTraceList = "2";
    dialog.m_nAddMode = CTransformTraceDlg::replaceTraces;
    dialog.m_strComment = "; turned\nround";
    ASSERT_TRUE(Run(*doc, dialog).isDone);
    EXPECT_EQ(files.Count(), 2u) << "with its steps; no temporary file stays";

    const auto made = Opened();
    ASSERT_TRUE(made);
    EXPECT_EQ(made->traceCount, 3);
    EXPECT_EQ(SamplesOf(*made, 0), (Samples{1, 2, 3, 4}));
    EXPECT_EQ(SamplesOf(*made, 1), (Samples{-10, -20, -30, -40}));
    EXPECT_EQ(SamplesOf(*made, 2), (Samples{5, 6, 7, 8}));
    EXPECT_EQ(made->traces[1].traceLabel, "b; Opposite");
    EXPECT_EQ(dialog.ResultLabel("b; Opposite"), "b; Opposite") << "named once";
    EXPECT_EQ(made->traces[2].traceLabel, "c");
    EXPECT_EQ(made->traces[1].traceAutoscale, 1) << "its values have another range";
    EXPECT_EQ(made->fileComment, "cell 7; turned\r\nround");
    EXPECT_EQ(made->historyLog, "START\r\n\r\nOpposite transform parameters:\r\nTrace list: 2\r\n"
                                "Replace trace mode\r\n\r\n");
    EXPECT_EQ(made->GetParentTrace(2), 2);
    EXPECT_TRUE(made->eventChannels[1].EventExtra().empty()) << "measured of samples that are gone";
    EXPECT_EQ(made->eventChannels[2].EventExtra().size(), 1u);
}

TEST_F(TransformFileTest, AddsResultsBehindTheirTracesAndMovesWhatFollows) {
    const auto doc = ThreeTraces(session);
    COpposite dialog;
    dialog.m_strTraceList = "1,3";
    dialog.m_bNewFile = true;
    host.progress.clear();
    ASSERT_TRUE(Run(*doc, dialog).isDone);
    ASSERT_FALSE(host.progress.empty());
    EXPECT_EQ(host.progress[0].parts,
              (std::vector<std::string>{"", "trace 1 of 3", "trace 2 of 3", "trace 3 of 3"}));
    const auto made = Opened();
    ASSERT_TRUE(made);
    ASSERT_EQ(made->traceCount, 5);
    const std::vector<Samples> expected = {
        {1, 2, 3, 4}, {-1, -2, -3, -4}, {10, 20, 30, 40}, {5, 6, 7, 8}, {-5, -6, -7, -8}};
    const std::vector<std::string> labels = {"a", "a *; Opposite", "b", "c", "c *; Opposite"};
    for (size_t t = 0; t < 5; ++t) {
        EXPECT_EQ(SamplesOf(*made, static_cast<int>(t)), expected[t]) << t;
        EXPECT_EQ(made->traces[t].traceLabel, labels[t]);
    }
    EXPECT_EQ(made->traces[2].traceUnits, "mV");
    EXPECT_EQ(made->GetParentTrace(0), 0);
    EXPECT_EQ(made->GetParentTrace(1), 2);
    EXPECT_EQ(made->GetParentTrace(2), 3);
    EXPECT_EQ(made->eventChannels[2].EventExtra().size(), 1u) << "its trace is what it was";
    EXPECT_EQ(made->traceAnnotations[3].size(), 1u);
    EXPECT_TRUE(made->traceAnnotations[2].empty());
    EXPECT_NE(made->historyLog.find("Source file: "), std::string::npos);
}

TEST_F(TransformFileTest, RunsEndAtGapsAndAtEpisodes) {
    // 3 valid, 2 gap, 0 valid, 1 gap, 4 valid.
    const auto gaps = MemoryDoc::MakeWithRuns(session, {{1, 2, 3, 4, 5, 6, 7}}, {{3, 2, 0, 1, 4}});
    const auto episodes = MemoryDoc::Make(session, {{1, 2, 3, 4, 5}});
    episodes->episodic = true;
    for (const int32_t start : {0, 2, 3}) episodes->AddEvent(0, {start, start + 1});
    const auto empty = MemoryDoc::MakeEmpty(session, 100);
    const struct {
        const char* name;
        CDataDoc& doc;
        bool splits;
        std::vector<RunSeen> seen;
        Samples made;
    } cases[] = {
        {"gaps",
         *gaps,
         true,
         {{0, 0, 3, true, {}}, {0, 6, 4, true, {}}},
         {-1, -2, -3, 0, 0, 0, -4, -5, -6, -7}},
        {"gaps joined",
         *gaps,
         false,
         {{0, 0, 7, true, {3, 2, 0, 1, 4}}},
         {-1, -2, -3, 0, 0, 0, -4, -5, -6, -7}},
        {"episodes",
         *episodes,
         true,
         {{0, 0, 2, true, {}}, {0, 2, 1, true, {}}, {0, 3, 2, true, {}}},
         {-1, -2, -3, -4, -5}},
        {"a run without samples reaches no kernel", *empty, true, {}, Samples(100)},
    };
    for (const auto& [name, doc, splits, seen, made] : cases) {
        SCOPED_TRACE(name);
        COpposite dialog;
        dialog.m_nAddMode = CTransformTraceDlg::replaceTraces;
        dialog.splits = splits;
        ASSERT_TRUE(Run(doc, dialog).isDone);
        EXPECT_EQ(dialog.seen, seen);
        EXPECT_EQ(SamplesOf(*Opened(), 0), made);
    }
}

TEST_F(TransformFileTest, RunsAboveTheLimitStream) {
    for (const int64_t length : {longestRunInMemory, longestRunInMemory + 1}) {
        const auto doc = MemoryDoc::Generate(session, 1, length,
                                             [](int, int64_t i) { return static_cast<float>(i % 1000); });
        COpposite dialog;
        dialog.m_nAddMode = CTransformTraceDlg::replaceTraces;
        ASSERT_TRUE(Run(*doc, dialog).isDone);
        ASSERT_EQ(dialog.seen.size(), 1u);
        EXPECT_EQ(dialog.seen[0].inMemory, length == longestRunInMemory);
        const auto made = Opened();
        uint8_t valid = 0;
        EXPECT_EQ(made->GetLength(), length);
        EXPECT_EQ(made->ReadAt(0, 123456, valid), -456.0);
        EXPECT_EQ(made->ReadAt(0, static_cast<int32_t>(length - 1), valid),
                  -static_cast<double>((length - 1) % 1000));
    }
}

TEST_F(TransformFileTest, RefusesTracesThatDoNotExistOrHaveNoRoom) {
    const auto doc = ThreeTraces(session);
    for (const auto& [list, words] :
         {std::pair("", "The list is empty or only contains out-of-range values."),
          {"2-4", "The selected data trace does not exist"}}) {
        COpposite dialog;
        dialog.m_strTraceList = list;
        EXPECT_FALSE(Run(*doc, dialog).isDone);
        EXPECT_EQ(host.LastMessage(), words);
    }
    EXPECT_EQ(files.Count(), 0u);

    const auto many = MemoryDoc::Make(session, std::vector<Samples>(128, Samples{1, 2}));
    COpposite dialog;
    dialog.m_strTraceList = "128";
    EXPECT_FALSE(Run(*many, dialog).isDone);
    EXPECT_EQ(host.LastMessage(),
              "Cannot handle more than 128 traces: process in stages or replace not add traces");
    dialog.m_nAddMode = CTransformTraceDlg::replaceTraces;
    EXPECT_TRUE(Run(*many, dialog).isDone);
    const auto fewer = MemoryDoc::Make(session, std::vector<Samples>(127, Samples{1, 2}));
    COpposite adding;
    EXPECT_TRUE(Run(*fewer, adding).isDone) << "128 there may be";
}

// --- what a failure leaves ---

class TransformSwapTest : public TransformFileTest {
  protected:
    void SetUp() override {
        TransformFileTest::SetUp();
        WriteNativeFile(*ThreeTraces(session), path);
        before = files.Bytes(path);
    }
    // Whether the source is as it was and nothing else is there.
    bool IsUntouched() { return files.Count() == 1 && files.Bytes(path) == before; }

    const std::filesystem::path path = "/rec.kymr-dat";
    std::vector<std::byte> before;
};

TEST_F(TransformSwapTest, KernelsAndUsersEndItWithoutATrace) {
    const auto doc = OpenDocument(session, path);
    COpposite silent;
    silent.m_strTraceList = "1-3";
    silent.failsAtRun = 3;
    EXPECT_FALSE(Run(*doc, silent, path).isDone);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_TRUE(IsUntouched());

    COpposite speaking;
    speaking.failsAtRun = 1;
    speaking.message = "No.";
    EXPECT_FALSE(Run(*doc, speaking, path).isDone);
    EXPECT_EQ(host.messages.back().text, "No.");
    EXPECT_TRUE(IsUntouched());

    const auto large =
        MemoryDoc::Generate(session, 2, 200000, [](int, int64_t i) { return static_cast<float>(i); });
    for (const uint64_t call : {1u, 2u, 5u}) {
        host.cancelAtCall = call;
        COpposite dialog;
        EXPECT_THROW(Run(*large, dialog, path), Cancelled) << call;
        EXPECT_TRUE(IsUntouched()) << call;
    }
}

// The source is opened through a disk that fills up at each of many levels.
TEST_F(TransformSwapTest, FullDisksLeaveTheOldFile) {
    for (size_t room = 0; room < before.size(); room += 37) {
        files = {};
        files.Put(path, before);
        FaultyFileSystem disk(files);
        disk.freeBytes = static_cast<int64_t>(room);
        Session its(host, disk);
        const auto doc = OpenDocument(its, path);
        COpposite dialog;
        dialog.m_strTraceList = "1-3";
        EXPECT_FALSE(Run(*doc, dialog, path).isDone);
        EXPECT_TRUE(IsUntouched()) << room;
        EXPECT_NE(host.LastMessage().find("disk full"), std::string::npos);
    }
}

// Another program replaces the recording while its transform is made: that version stays.
TEST_F(TransformSwapTest, AVersionThatOthersPutThereIsNotReplaced) {
    const std::vector<std::byte> theirs(7);
    for (const bool foldersFail : {false, true})
        for (const int64_t at : {0, 1}) {  // before the work, or when it is about to take its place
            files = {};
            files.Put(path, before);
            FaultyFileSystem disk(files);
            Session its(host, disk);
            const auto doc = OpenDocument(its, path);
            if (at == 0) files.Put(path, theirs);
            disk.beforeLink = [&] {
                if (at > 0) files.Put(path, theirs);
            };
            disk.foldersFail = foldersFail;
            COpposite dialog;
            dialog.CheckChangeDoc(doc.get());
            EXPECT_FALSE(dialog.WriteFile(its, path, false).isDone);
            EXPECT_NE(host.LastMessage().find("The result was kept as"), std::string::npos);
            EXPECT_EQ(files.Bytes(path), theirs);
            EXPECT_EQ(files.Count(), 2u);
        }
}

// The new file is in its place: nobody may be told that the old one still is.
TEST_F(TransformSwapTest, WhatFailsBehindTheRenameIsToldAsSuch) {
    FaultyFileSystem disk(files);
    Session its(host, disk);
    const auto doc = OpenDocument(its, path);
    disk.foldersFail = true;
    COpposite dialog;
    dialog.CheckChangeDoc(doc.get());
    EXPECT_TRUE(dialog.WriteFile(its, path, false).isDone);
    EXPECT_EQ(host.messages.back().text, "The transform was done.\nfolder not synced");
    EXPECT_NE(files.Bytes(path), before);
    EXPECT_EQ(files.Count(), 1u);
}

TEST_F(TransformFileTest, TellsOfResultsThatAreNoNumbers) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinite = INFINITY;
    const auto doc = MemoryDoc::Make(session, {{1, nan, 3, infinite}, {1, 2, 3, 4}});
    COpposite dialog;
    dialog.m_strTraceList = "1-2";
    EXPECT_TRUE(Run(*doc, dialog).isDone);
    EXPECT_EQ(host.LastMessage(), "Trace 1: 2 of the 4 samples of the result are infinite or not a number.");
}

TEST_F(TransformFileTest, PreviewsAStretchWithoutAWord) {
    const auto doc = MemoryDoc::MakeWithRuns(session, {{1, 2, 3, 4}}, {{2, 2, 2}});
    COpposite dialog;
    dialog.CheckChangeDoc(doc.get());
    PreviewData data;
    data.start = 1;
    data.count = 4;
    dialog.OnNeedData(data);
    EXPECT_EQ(data.raw, (Samples{2, 0, 0, 3})) << "gaps are zeros";
    EXPECT_EQ(data.transformed, (Samples{-2, 0, 0, -3}));
    dialog.failsAtRun = 2;
    dialog.message = "No.";
    dialog.OnNeedData(data);
    EXPECT_FALSE(data.isTransformed);
    EXPECT_EQ(data.transformed, data.raw);
    EXPECT_EQ(data.message, "No.");
    EXPECT_TRUE(host.messages.empty());
    dialog.m_strTraceList = "1-";
    EXPECT_EQ(dialog.PreviewTrace(), 0);
}

}  // namespace
}  // namespace kymora::test
