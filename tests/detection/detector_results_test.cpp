// What detectors tell as data is of the recording that they have analysed, and of no other.

#include <gtest/gtest.h>

#include "catalogue/operations.h"
#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

TEST(DetectorResults, BelongToTheRecordingThatWasAnalysed) {
    TestHost host;
    MemoryFileSystem files;
    Session session(host, files);
    std::vector<float> samples(2000);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = i % 2 == 0 ? 1.0f : -1.0f;
    samples[700] = samples[1500] = 50.0f;
    for (const char* name : {"CEventThreshold", "CDetectSpikes", "CSpikeDetectThresh"}) {
        SCOPED_TRACE(name);
        const auto doc = MemoryDoc::Make(session, {samples}, 0.1);
        const auto other = MemoryDoc::Make(session, {samples}, 0.1);
        const auto block = FindOperation(name)->make();
        block->CheckChangeDoc(doc.get());
        EXPECT_TRUE(block->Results().empty());
        for (const auto& [key, value] : {std::pair{"thresholdSource", "0"},
                                         {"onPos", "20"},
                                         {"source", "0"},
                                         {"upperThreshold", "20"},
                                         {"lowerThreshold", "-20"}})
            if (ParamList params = block->Params(); Field* param = params.Find(key))
                param->SetFromText(value);
        ASSERT_TRUE(block->Run()) << host.LastMessage();
        const std::vector<Result> results = block->Results();
        ASSERT_EQ(results.size(), 1u);
        EXPECT_EQ(results[0].values.back().second, ResultValue(int64_t{2}));
        ASSERT_EQ(block->WrittenChannels().size(), 1u);
        EXPECT_EQ(doc->GetNumEvents(block->WrittenChannels()[0]), 2);
        block->CheckChangeDoc(doc.get());
        EXPECT_EQ(block->Results().size(), 1u) << "told again of the same recording";
        block->CheckChangeDoc(other.get());
        EXPECT_TRUE(block->Results().empty());
    }
}

TEST(DetectorRuns, OverLongDataStopWhenTheyAreCancelled) {
    TestHost host;
    MemoryFileSystem files;
    Session session(host, files);
    const auto doc =
        MemoryDoc::Generate(session, 1, 6'000'000, [](int, int64_t i) { return static_cast<float>(i % 7); });
    host.cancelAtCall = 3;
    for (const char* name : {"CEventThreshold", "CDetectSpikes", "CSpikeDetectThresh"}) {
        SCOPED_TRACE(name);
        host.progress.clear();
        const auto block = FindOperation(name)->make();
        block->CheckChangeDoc(doc.get());
        EXPECT_FALSE(block->Run());
        ASSERT_EQ(host.progress.size(), 1u);
        EXPECT_EQ(host.progress[0].label, block->Title());
        EXPECT_EQ(host.progress[0].updates.size(), 3u);
        for (const CEventChan& chan : doc->eventChannels) EXPECT_EQ(chan.GetNumEvents(), 0);
        EXPECT_EQ(doc->historyLog, "");
        EXPECT_FALSE(doc->Undo().CanUndo());
        EXPECT_TRUE(host.WasSilent());
    }
}

TEST(DetectorRuns, OverAllTracesTellWhichOneIsAtHand) {
    TestHost host;
    MemoryFileSystem files;
    Session session(host, files);
    const auto doc =
        MemoryDoc::Generate(session, 2, 2'600'000, [](int, int64_t i) { return static_cast<float>(i % 7); });
    const auto block = FindOperation("CEventThreshold")->make();
    block->CheckChangeDoc(doc.get());
    ParamList params = block->Params();
    for (const auto& [key, value] : {std::pair{"onPos", "100"}, {"allTraces", "1"}})
        ASSERT_EQ(params.Find(key)->SetFromText(value), "");
    ASSERT_TRUE(block->Run());
    ASSERT_EQ(host.progress.size(), 1u);
    EXPECT_EQ(host.progress[0].parts, (std::vector<std::string>{"trace 1 of 2", "trace 2 of 2"}));
}

}  // namespace
}  // namespace kymora::test
