// A run whose job computes on another thread gives what a run here gives, or changes nothing.

#include "operations/job_worker.h"

#include <thread>

#include "detection/detect_spikes.h"
#include "detection/event_activity.h"
#include "detection/event_hill_analysis.h"
#include "detection/event_osc.h"
#include "detection/event_threshold.h"
#include "detection/spike_detect_thresh.h"
#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "import/open_document.h"
#include "support/bin_checks.h"
#include "support/run_program.h"
#include "support/test_host.h"
#include "support/test_operation.h"

namespace kymora::test {
namespace {

class JobWorkerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::mt19937 random{5};
        WriteNativeFile(*MakeNoise(session, {2, 200000, true}, random), path);
        doc = Open();
    }
    std::unique_ptr<CDataDoc> Open() {
        auto opened = OpenDocument(session, path, OpenFor::reading);
        EXPECT_TRUE(opened);
        opened->traces[1].traceGain = 2.0;  // not saved
        return opened;
    }
    // As Run does it, with the job on another thread; `meanwhile` happens before it is taken.
    bool RunApart(CBatchBaseDlg& operation, const std::function<void(JobWorker&)>& meanwhile = {}) {
        const auto job = operation.Prepare();
        if (!job) return false;
        JobWorker worker(*operation.Document(), *job, *JobWorker::SourceOf(*operation.Document()));
        if (meanwhile) meanwhile(worker);
        return operation.Conclude(*job, [&](JobContext& here) { worker.Take(here); });
    }
    static std::vector<CEventKM> Events(const CDataDoc& of) {
        std::vector<CEventKM> all;
        for (const CEventChan& chan : of.eventChannels)
            all.insert(all.end(), chan.Events().begin(), chan.Events().end());
        return all;
    }

    TempFolder temp;
    DiskFileSystem disk;
    TestHost host;
    Session session{host, disk};
    std::filesystem::path path = temp / "cell.kymr-dat";
    std::unique_ptr<CDataDoc> doc;
};

struct Road {
    const char* name;
    std::unique_ptr<CBatchBaseDlg> (*make)();
    std::vector<std::pair<const char*, const char*>> settings;
};

template <typename Operation>
std::unique_ptr<CBatchBaseDlg> Make() {
    return std::make_unique<Operation>();
}

TEST_F(JobWorkerTest, BothRoadsGiveTheSameEventsReportsAndResults) {
    const Road roads[] = {
        {"typed levels", Make<CEventThreshold>, {{"onPos", "30"}, {"trace", "2"}}},
        {"statistics of each trace",
         Make<CEventThreshold>,
         {{"thresholdSource", "2"}, {"statsSource", "0"}, {"onMultiplier", "1"}, {"allTraces", "1"}}},
        {"percentiles", Make<CEventThreshold>, {{"thresholdSource", "3"}, {"onsetDirection", "2"}}},
        {"least active window",
         Make<CEventThreshold>,
         {{"thresholdSource", "1"}, {"statsSource", "4"}, {"inactiveWindowDuration", "50"}}},
        {"outliers", Make<CDetectSpikes>, {{"noiseEnd", "5000"}, {"multiplier", "1"}, {"trace", "2"}}},
        {"spikes", Make<CSpikeDetectThresh>, {{"source", "1"}, {"multiplier", "1"}, {"appendParams", "1"}}},
        {"spikes of a series",
         Make<CSpikeDetectThresh>,
         {{"transform", "1"}, {"source", "3"}, {"alpha", "0.1"}, {"trace", "2"}}},
        {"hills", Make<CEventHillAnalysis>, {{"mergeBySd", "1"}, {"mergeMultiplier", "1"}, {"trace", "2"}}},
        {"activity", Make<CEventActivity>, {{"timeWindow", "20"}}},
        {"rhythm", Make<CEventOsc>, {{"slidingWindow", "50"}, {"step", "200"}, {"threshold", "0"}}},
    };
    for (const Road& road : roads) {
        SCOPED_TRACE(road.name);
        const auto other = Open();
        doc = Open();
        const auto here = road.make(), apart = road.make();
        for (CBatchBaseDlg* operation : {here.get(), apart.get()}) {
            operation->CheckChangeDoc(operation == here.get() ? doc.get() : other.get());
            for (const auto& [key, value] : road.settings) {
                ParamList params = operation->Params();
                if (Field* param = params.Find(key)) param->SetFromText(value);
            }
        }
        ASSERT_TRUE(here->Run()) << host.LastMessage();
        ASSERT_TRUE(RunApart(*apart)) << host.LastMessage();
        EXPECT_FALSE(Events(*doc).empty());
        EXPECT_EQ(Events(*other), Events(*doc));
        EXPECT_EQ(other->historyLog, doc->historyLog);
        EXPECT_EQ(apart->WrittenChannels(), here->WrittenChannels());
        EXPECT_EQ(apart->Settings(), here->Settings());
        for (const int channel : here->WrittenChannels())
            EXPECT_TRUE(other->eventChannels[static_cast<size_t>(channel)].HasSameSettings(
                doc->eventChannels[static_cast<size_t>(channel)]));
        EXPECT_EQ(other->Undo().UndoName(), doc->Undo().UndoName());
        EXPECT_EQ(apart->Results()[0].values, here->Results()[0].values);
    }
}

TEST_F(JobWorkerTest, WhatChangesMeanwhileIsNotWrittenOver) {
    struct Change {
        const char* name;
        std::function<void(CDataDoc&)> does;
        bool isRefused;
    };
    const Change changes[] = {
        {"nothing", [](CDataDoc&) {}, false},
        {"another channel",
         [](CDataDoc& of) {
             of.AddEvent(7, {1, 2, 0.0f});
         },
         false},
        {"the destination's events",
         [](CDataDoc& of) {
             of.AddEvent(5, {1, 2, 0.0f});
         },
         true},
        {"its settings", [](CDataDoc& of) { of.eventChannels[5].channelLocked = true; }, true},
        {"a gain", [](CDataDoc& of) { of.traces[1].traceGain = 3.0; }, true},
        {"the sample interval", [](CDataDoc& of) { of.sampleInterval *= 2.0; }, true},
        {"the file",
         [](CDataDoc& of) {
             std::filesystem::last_write_time(of.filePath, std::filesystem::file_time_type::clock::now() +
                                                               std::chrono::hours(1));
         },
         true},
    };
    for (const Change& change : changes) {
        SCOPED_TRACE(change.name);
        doc = Open();
        TestOperation operation;
        operation.CheckChangeDoc(doc.get());
        host.Forget();
        std::vector<CEventKM> before;
        const bool done = RunApart(operation, [&](JobWorker&) {
            change.does(*doc);
            before = Events(*doc);
        });
        EXPECT_EQ(done, !change.isRefused);
        EXPECT_EQ(Events(*doc) == before, change.isRefused);
        EXPECT_EQ(doc->historyLog.empty(), change.isRefused);
        EXPECT_EQ(host.LastMessage(), change.isRefused ? changedMeanwhileText : "");
    }
}

TEST_F(JobWorkerTest, CancellingAndFailuresLeaveEverythingAsItWas) {
    const auto waits = [](SampleReader&, JobContext& context) {
        ProgressScope progress(context, "Waiting", 10);
        for (;;) progress.At(3);
    };
    const auto fails = [](SampleReader&, JobContext& context) {
        context.Warn("A word.");
        throw FileError("The disk is gone.", 5);
    };
    for (const bool cancels : {true, false}) {
        TestOperation operation;
        operation.CheckChangeDoc(doc.get());
        if (cancels)
            operation.during = waits;
        else
            operation.during = fails;
        EXPECT_FALSE(RunApart(operation, [&](JobWorker& worker) {
            if (!cancels) return;
            while (worker.Now().done != 3) std::this_thread::yield();
            EXPECT_EQ(worker.Now().label, "Waiting");
            EXPECT_EQ(worker.Now().total, 10u);
            EXPECT_FALSE(worker.IsDone());
            worker.Cancel();
        }));
        EXPECT_TRUE(Events(*doc).empty());
        EXPECT_EQ(doc->historyLog, "");
        EXPECT_FALSE(doc->Undo().CanUndo());
    }
    ASSERT_EQ(host.messages.size(), 2u) << "nothing is said of what the user has cancelled";
    EXPECT_EQ(host.messages[0].text, "A word.");
    EXPECT_EQ(host.messages[1].text, "The disk is gone.");
    // A worker that is not wanted any more ends by itself.
    TestOperation operation;
    operation.CheckChangeDoc(doc.get());
    operation.during = waits;
    const auto job = operation.Prepare();
    const JobWorker worker(*doc, *job, *JobWorker::SourceOf(*doc));
}

// After a piece of work with a progress of its own, that of the whole is shown again.
// Works until it is cancelled, and keeps what it has done.
class EndlessJob : public OperationJob {
  public:
    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, "counting", 100);
        while (progress.GoesOn(50)) std::this_thread::yield();
        isTruncated = true;
    }
};

TEST_F(JobWorkerTest, ATruncatedResultIsTakenUnlessItIsDiscarded) {
    for (const bool discards : {false, true}) {
        EndlessJob job;
        JobWorker worker(*doc, job, *JobWorker::SourceOf(*doc));
        while (worker.Now().label.empty()) std::this_thread::yield();
        discards ? worker.Discard() : worker.Cancel();
        UnheardContext context;
        if (discards)
            EXPECT_THROW(worker.Take(context), Cancelled);
        else
            EXPECT_NO_THROW(worker.Take(context));
    }
}

TEST_F(JobWorkerTest, TheProgressAtWorkIsShownWithItsPart) {
    TestOperation operation;
    operation.CheckChangeDoc(doc.get());
    std::atomic<bool> isSeen = false;
    operation.during = [&](SampleReader&, JobContext& context) {
        ProgressScope whole(context, "Detecting", 10);
        whole.AtTrace(1, 2);
        ProgressScope(context, "Searching", 100).At(70);
        whole.AtTrace(2, 2);
        whole.At(5);
        while (!isSeen) std::this_thread::yield();
    };
    EXPECT_TRUE(RunApart(operation, [&](JobWorker& worker) {
        while (worker.Now().done != 5) std::this_thread::yield();
        const JobWorker::State state = worker.Now();
        isSeen = true;
        EXPECT_EQ(LabelWithPart(state.label, state.part), "Detecting, trace 2 of 2");
        EXPECT_EQ(state.total, 10u);
    }));
}

TEST_F(JobWorkerTest, WhereTheFileCannotBeOpenedAgainItIsDoneHere) {
    const auto ran = std::make_shared<std::thread::id>();
    TestOperation operation;
    operation.CheckChangeDoc(doc.get());
    operation.during = [ran](SampleReader&, JobContext&) { *ran = std::this_thread::get_id(); };
    const auto job = operation.Prepare();
    const auto source = JobWorker::SourceOf(*doc);
    ASSERT_TRUE(source);
    std::filesystem::rename(path, temp / "moved.kymr-dat");
    JobWorker worker(*doc, *job, *source);
    EXPECT_TRUE(operation.Conclude(*job, [&](JobContext& here) { worker.Take(here); }));
    EXPECT_EQ(*ran, std::this_thread::get_id());
    EXPECT_EQ(doc->GetNumEvents(5), 1);
    EXPECT_FALSE(JobWorker::SourceOf(*doc)) << "another program may have put something else there";
}

}  // namespace
}  // namespace kymora::test
