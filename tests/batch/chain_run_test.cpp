// To Do lists: their file, and one run of a list over a recording.

#include "batch/chain_run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "detection/event_threshold.h"
#include "document/native_writer.h"
#include "eventanalysis/event_list.h"
#include "host/memory_file_system.h"
#include "support/edf_builder.h"
#include "support/memory_doc.h"
#include "support/test_host.h"
#include "transforms/gen_smooth.h"
#include "transforms/unitary_transform.h"

namespace kymora::test {
namespace {

constexpr int found = 5;

class Watcher : public ChainWatcher {
  public:
    bool Update(double share, std::string_view part) override {
        parts.emplace_back(part);
        return share < cancelsAt;
    }
    bool TakeText(std::string_view piece) override {
        text += piece;
        return true;
    }
    double cancelsAt = 2.0;
    std::vector<std::string> parts;
    std::string text;
};

class ChainTest : public ::testing::Test {
  protected:
    void SetUp() override {
        WriteNative("/a.kymr-dat");
        files.Put("/c.edf", EdfBuilder().AddRamp("one", 10).Build());
        session.now = [] { return std::time_t{0}; };
    }
    void WriteNative(const std::filesystem::path& path) {
        std::vector<float> samples(1000, 0.0f);
        for (size_t i = 100; i < 1000; i += 100) samples[i] = samples[i + 1] = samples[i + 2] = 9.0f;
        WriteNativeFile(*MemoryDoc::Make(session, {samples, samples}), path);
    }
    static std::unique_ptr<CGenSmooth> Smooth() {
        auto smooth = std::make_unique<CGenSmooth>();
        smooth->m_nAddMode = CTransformTraceDlg::replaceTraces;
        return smooth;
    }
    static std::unique_ptr<CEventThreshold> Detect() {
        auto detect = std::make_unique<CEventThreshold>();
        ParamList params = detect->Params();
        EXPECT_EQ(params.Find("onPos")->SetFromText("2"), "");
        detect->m_nDestination = found;
        return detect;
    }
    static std::unique_ptr<CEventList> List() {
        auto list = std::make_unique<CEventList>();
        list->m_nChannel1 = found;
        return list;
    }
    ChainReport Run(const std::filesystem::path& file) {
        const RunPlan plan = PlanChain(files, list, {file});
        ChainSettings settings{list, session};
        return RunChain(settings, plan.files[0], files, watcher);
    }
    std::unique_ptr<CDataDoc> Open(const std::filesystem::path& path) {
        return OpenDocument(session, path, OpenFor::reading);
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    CMultiBatch list;
    Watcher watcher;
};

TEST_F(ChainTest, AListIsKeptAsItsVersionsSay) {
    list.Add(Smooth());
    list.Add(Detect());
    ASSERT_TRUE(SaveMultiBatch(session, list, "/list.kymr-batch"));
    CMultiBatch again;
    ASSERT_TRUE(LoadMultiBatch(session, again, "/list.kymr-batch"));
    EXPECT_EQ(again.Record(), list.Record());
    EXPECT_EQ(again.Name(1), "Threshold Event");

    // The first version has no class name.
    const auto bytes = list.Record();
    MemoryFile first;
    CArchive archive(first, CArchive::Mode::store);
    archive.Write<uint32_t>(1);
    archive.Write<int32_t>(1);
    archive.WriteString("CEventThreshold");
    archive.WriteRaw(Detect()->Settings());
    archive.Close();
    files.Put("/first.kymr-batch", first.Bytes());
    ASSERT_TRUE(LoadMultiBatch(session, again, "/first.kymr-batch"));
    EXPECT_EQ(again.Count(), 1u);
    EXPECT_EQ(again.Item(0).Settings(), Detect()->Settings());
    ASSERT_TRUE(LoadMultiBatch(session, again, "/list.kymr-batch"));

    struct Case {
        const char* file;
        std::vector<std::byte> bytes;
        const char* told;
    };
    auto later = bytes;
    later[0] = std::byte{3};
    std::vector<std::byte> foreign = Detect()->Settings();
    auto longer = bytes;
    longer.push_back(std::byte{0});
    for (const Case& wrong :
         {Case{"/cut.kymr-batch", {bytes.begin(), bytes.end() - 3}, "Nothing was loaded."},
          {"/later.kymr-batch", later, "later version"},
          {"/empty.kymr-batch", {}, ""},
          {"/config.kymr-batch", foreign, notMultiBatchText}}) {
        files.Put(wrong.file, wrong.bytes);
        host.messages.clear();
        EXPECT_FALSE(LoadMultiBatch(session, again, wrong.file)) << wrong.file;
        EXPECT_NE(host.LastMessage().find(wrong.told), std::string::npos) << host.LastMessage();
        ASSERT_EQ(host.messages.size(), 1u) << wrong.file;
        EXPECT_EQ(again.Record(), list.Record()) << "the list stays";
    }
    files.Put("/single.kymr-cfg", foreign);
    ASSERT_TRUE(LoadMultiBatch(session, again, "/single.kymr-cfg"));
    EXPECT_EQ(again.Count(), 1u);
}

// The same as the operations one after the other.
TEST_F(ChainTest, AChainIsItsOperationsInARow) {
    struct Case {
        const char *file, *target;
        bool writeNew;
    };
    for (const Case& one : {Case{"/a.kymr-dat", "/a_tr.kymr-dat", true},
                            {"/a.kymr-dat", "/a.kymr-dat", false},
                            {"/c.edf", "/c.kymr-dat", false},
                            {"/c.edf", "/c_tr.kymr-dat", true}}) {
        WriteNative("/a.kymr-dat");
        const auto foreign = files.Bytes("/c.edf");
        const size_t count = files.Count();
        const size_t made = !files.Has(one.target) + !files.Has(one.target + std::string(".steps"));
        list.m_bWriteNewFile = one.writeNew;
        watcher.text.clear();
        while (list.Count() > 0) list.Take(0);
        const bool isFast = one.file == std::string("/a.kymr-dat");
        auto smooth = Smooth();
        if (!isFast) smooth->m_dHalfWindowTime = 100.0;  // a sample
        list.Add(std::move(smooth));
        list.Add(Detect());
        if (isFast) list.Add(List());
        const ChainReport report = Run(one.file);
        ASSERT_TRUE(report.IsDone()) << ProcessErrors(report);
        EXPECT_EQ(report.output, one.target);
        EXPECT_EQ(report.steps.size(), list.Count());
        EXPECT_EQ(files.Count(), count + made) << "the result and its steps, nothing temporary";
        EXPECT_EQ(files.Bytes("/c.edf"), foreign);
        const auto doc = Open(one.target);
        ASSERT_TRUE(doc);
        const std::string history = doc->historyLog;
        EXPECT_LT(history.find("Smooth"), history.find("Threshold Event"));
        if (isFast) {
            EXPECT_EQ(watcher.text.find("Event parameters"), 0u) << watcher.text;
            EXPECT_EQ(doc->GetNumEvents(found), 9);
            EXPECT_EQ(history.find("Source file: /a.kymr-dat") != std::string::npos, one.writeNew) << history;
        }
        const auto record = nlohmann::json::parse(ChainRecord(report, "list", true));
        EXPECT_EQ(record["output"], one.target);
        EXPECT_EQ(record["operations"][1]["channels"][0]["number"], found);
        EXPECT_EQ(record["operations"].size(), list.Count());
    }
}

// A chain that begins with an operation on events makes the native file all the same; one that only lists
// makes none.
TEST_F(ChainTest, WhatNoTransformBegins) {
    list.m_bWriteNewFile = true;
    const auto doc = Open("/a.kymr-dat");
    doc->AddEvent(found, {1, 2});
    WriteNativeFile(*doc, "/a.kymr-dat");
    list.Add(List());
    EXPECT_TRUE(Run("/a.kymr-dat").IsDone());
    EXPECT_EQ(files.Count(), 2u);
    list.Take(0);
    list.Add(Detect());
    EXPECT_EQ(Run("/c.edf").output, "/c_tr.kymr-dat");
    const auto source = Open("/c.edf"), result = Open("/c_tr.kymr-dat");
    EXPECT_EQ(result->GetLength(), source->GetLength());
    EXPECT_EQ(result->traces[0].traceLabel, source->traces[0].traceLabel);
    EXPECT_EQ(result->historyLog.find("Threshold"), 0u) << "the change of form is no operation";
}

TEST_F(ChainTest, WhatFailsLeavesAllAsItWas) {
    list.Add(Smooth());
    list.Add(Detect());
    auto wrong = Smooth();
    wrong->m_strTraceList = "7";
    list.Add(std::move(wrong));
    for (const bool writeNew : {false, true}) {
        list.m_bWriteNewFile = writeNew;
        const auto before = files.Bytes("/a.kymr-dat");
        const ChainReport report = Run("/a.kymr-dat");
        EXPECT_EQ(report.outcome, Outcome::failed);
        EXPECT_EQ(report.steps.size(), 3u);
        EXPECT_NE(ProcessErrors(report).find("/a.kymr-dat\r\n\tSmooth: "), std::string::npos);
        EXPECT_EQ(files.Bytes("/a.kymr-dat"), before);
        EXPECT_EQ(files.Count(), 2u);
    }
    EXPECT_NE(ProcessErrors(Run("/none.kymr-dat")).find("There is no such file."), std::string::npos);
    files.Put("/torn.kymr-dat",
              {files.Bytes("/a.kymr-dat").begin(), files.Bytes("/a.kymr-dat").begin() + 90});
    EXPECT_NE(ProcessErrors(Run("/torn.kymr-dat")), "");
}

TEST_F(ChainTest, ACancelLeavesAllAsItWas) {
    for (int i = 0; i < 3; ++i) list.Add(Smooth());
    list.m_bWriteNewFile = true;
    for (const double at : {0.0, 0.3, 0.5, 0.6}) {
        watcher.cancelsAt = at;
        EXPECT_EQ(Run("/a.kymr-dat").outcome, Outcome::cancelled) << at;
        EXPECT_EQ(files.Count(), 2u);
    }
}

// Of the same draws, whatever ran before.
TEST_F(ChainTest, TheJournalTellsWhatIsDone) {
    list.Add(Smooth());
    const auto edited = [&](const char* path) {
        auto bytes = files.Bytes(path);
        bytes.back() ^= std::byte{1};
        files.Put(path, bytes);
    };
    BatchJournal journal("/nowhere/that/can/be/written/list.kymr-batch");
    EXPECT_TRUE(journal.Note({"w", "s", "/t", "r"}, true));
    EXPECT_FALSE(journal.Note({"w", "s", "/t", "r"}, true)) << "told once";

    const std::filesystem::path at = std::filesystem::temp_directory_path() / "kymora-chain-test.kymr-batch";
    struct Case {
        const char* what;
        bool writeNew;
        std::function<void()> then;
        bool isDoneBefore;
    };
    for (const Case& one : {Case{"unchanged", true, [] {}, true},
                            {"source edited", true, [&] { edited("/a.kymr-dat"); }, false},
                            {"result edited", true, [&] { edited("/a_tr.kymr-dat"); }, false},
                            {"result gone", true, [&] { files.Remove("/a_tr.kymr-dat"); }, false},
                            {"other settings", true, [&] { session.Seed(7); }, false},
                            {"in place", false, [] {}, true},
                            {"in place, edited", false, [&] { WriteNative("/a.kymr-dat"); }, false}}) {
        std::filesystem::remove(at.string() + ".journal");
        session.Seed(0);
        WriteNative("/a.kymr-dat");
        list.m_bWriteNewFile = one.writeNew;
        const auto run = [&] {
            BatchJournal kept(at);
            ChainSettings settings{list, session};
            settings.resumes = true;
            settings.journal = &kept;
            return RunChain(settings, PlanChain(files, list, {"/a.kymr-dat"}).files[0], files, watcher);
        };
        EXPECT_FALSE(run().wasDoneBefore) << one.what;
        one.then();
        EXPECT_EQ(run().wasDoneBefore, one.isDoneBefore) << one.what;
    }
    std::filesystem::remove(at.string() + ".journal");
}

}  // namespace
}  // namespace kymora::test
