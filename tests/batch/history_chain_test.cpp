// A history as a list: what the list makes of the source is what the operations had made.

#include "batch/history_chain.h"

#include <gtest/gtest.h>

#include "batch/chain_run.h"
#include "catalogue/operations.h"
#include "document/native_writer.h"
#include "import/open_document.h"
#include "support/memory_doc.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using Settings = std::vector<std::pair<const char*, const char*>>;

class SilentWatcher : public ChainWatcher {
  public:
    bool Update(double, std::string_view) override { return true; }
};

class HistoryChainTest : public ViewTest {
  protected:
    // The second half is quieter, and what is seen is neither.
    std::unique_ptr<CDataDoc> Source() {
        std::vector<float> samples(4000);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] =
                static_cast<float>((i < 2000 ? 4.0 : 1.0) * std::sin(i * 0.7) + (i % 500 > 490 ? 9 : 0));
        auto doc = MemoryDoc::Make(session, {samples, samples}, 0.5);
        doc->view.viewStart = 300.25;
        doc->view.viewEnd = 1500.0;
        return doc;
    }
    void SetUp() override { WriteNativeFile(*Source(), "/a.kymr-dat"); }

    // As a window does it: with a person, and without a batch.
    void Do(const char* name, const Settings& settings) {
        const auto doc = OpenDocument(session, "/a.kymr-dat", OpenFor::editing);
        const auto block = FindOperation(name)->make();
        block->CheckChangeDoc(doc.get());
        for (const auto& [key, value] : settings) {
            ParamList params = block->Params();
            ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
        }
        if (block->WhatItAffects() == Affects::traces) {
            ASSERT_TRUE(block->WriteFile(session, "/a.kymr-dat", false).isDone);
        } else {
            ASSERT_TRUE(block->Run()) << host.LastMessage();
            ASSERT_TRUE(doc->OnSaveDocument());
        }
    }
    HistoryChain Chain() {
        const auto doc = OpenDocument(session, "/a.kymr-dat", OpenFor::reading);
        return ChainOfHistory(ReadHistory(doc->historyLog, doc->Steps()));
    }
    // Samples and events of a recording.
    std::pair<std::vector<float>, std::vector<CEventKM>> Made(const char* path) {
        const auto doc = OpenDocument(session, path, OpenFor::reading);
        std::pair<std::vector<float>, std::vector<CEventKM>> made;
        for (int t = 0; t < doc->traceCount; ++t)
            for (const float value : SamplesOf(*doc, t)) made.first.push_back(value);
        for (const CEventChan& channel : doc->eventChannels)
            made.second.insert(made.second.end(), channel.Events().begin(), channel.Events().end());
        return made;
    }
};

TEST_F(HistoryChainTest, TheListMakesTheRecordingAgain) {
    struct Case {
        const char* what;
        std::vector<std::pair<const char*, Settings>> operations;
        std::optional<uint64_t> seed{};
    };
    const Settings level = {{"thresholdSource", "0"}, {"onPos", "3.123456789"}, {"destination", "d"}};
    const auto with = [&](Settings more) {
        Settings all = level;
        all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    for (const Case& one : {
             Case{"more digits than the text has",
                  {{"CGenSmooth", {{"type", "3"}, {"cutoff", "40.00000123"}, {"addMode", "0"}}},
                   {"CGenSmooth", {{"halfWindow", "3"}, {"traces", "2"}}},
                   {"CEventThreshold", level}}},
             {"what was seen", {{"CEventThreshold", with({{"region", "1"}})}}},
             {"statistics of what was seen",
              {{"CEventThreshold", {{"thresholdSource", "2"}, {"statsSource", "1"}, {"destination", "d"}}}}},
             {"the least active window in it",
              {{"CEventThreshold", {{"thresholdSource", "1"}, {"statsSource", "4"}, {"destination", "d"}}}}},
             {"levels of the stretch shown",
              {{"CSpikeDetectThresh", {{"source", "2"}, {"multiplier", "2"}, {"destination", "e"}}}}},
             {"random draws", {{"CArbitraryArith", {{"expression", "x1 + rndn(0, 0.1)"}}}}, 42},
         }) {
        WriteNativeFile(*Source(), "/a.kymr-dat");
        session.Seed(42);
        for (const auto& [name, settings] : one.operations) Do(name, settings);
        const HistoryChain chain = Chain();
        EXPECT_EQ(chain.leftOut.size() + chain.otherDraws.size(), 0u) << one.what;
        ASSERT_EQ(chain.list.Count(), one.operations.size()) << one.what;
        EXPECT_EQ(chain.seed, one.seed) << one.what;
        // The source is seen elsewhere by now, and the list travels by a file.
        const auto source = Source();
        source->view.viewStart = 0.0;
        source->view.viewEnd = 100.0;
        WriteNativeFile(*source, "/again.kymr-dat");
        CMultiBatch list;
        files.Put("/list.kymr-batch", chain.list.Record());
        ASSERT_TRUE(LoadMultiBatch(session, list, "/list.kymr-batch")) << host.LastMessage();
        Session like(host, files);
        like.Seed(one.seed.value_or(0));
        SilentWatcher watcher;
        const ChainReport report =
            RunChain({list, like}, PlanChain(files, list, {"/again.kymr-dat"}).files[0], files, watcher);
        ASSERT_TRUE(report.IsDone()) << one.what << ": " << ProcessErrors(report);
        EXPECT_EQ(Made("/again.kymr-dat"), Made("/a.kymr-dat")) << one.what;
        EXPECT_TRUE(files.Has("/again.kymr-dat.steps")) << "beside the result, by the batch";
    }
}

TEST_F(HistoryChainTest, WhatCannotBeDoneAgainIsNamed) {
    const HistoryStep good = [&] {
        Do("CEventThreshold", {{"onPos", "3"}, {"destination", "d"}});
        return OpenDocument(session, "/a.kymr-dat", OpenFor::reading)->Steps().at(0);
    }();
    const auto with = [&](std::vector<std::byte> settings,
                          HistoryStep::Draws draws = HistoryStep::Draws::none, uint64_t seed = 0) {
        HistoryStep step = good;
        step.settings = std::move(settings);
        step.draws = draws;
        step.seed = seed;
        return step;
    };
    const auto bytes = [](const CBatchBaseDlg& block) {
        return const_cast<CBatchBaseDlg&>(block).Settings();
    };
    using Draws = HistoryStep::Draws;
    struct Case {
        HistorySteps steps;
        size_t items;
        const char* leftOut;
        const char* otherDraws;
    };
    for (const Case& one :
         {Case{{good}, 1, "", ""},
          {{}, 0, "Entry 1, \"Threshold Event\": it is no operation", ""},
          {{with({})}, 0, "view or the clipboard", ""},
          {{with({good.settings.begin(), good.settings.end() - 9})}, 0, "are damaged", ""},
          {{with({std::byte{3}})}, 0, "does not have", ""},
          {{with(bytes(*FindOperation("CGeneralHist")->make()))}, 0, "cannot stand in a list", ""},
          {{with(good.settings, Draws::fromSeed, 3), with(good.settings, Draws::fromSeed, 3)}, 2, "", ""},
          {{with(good.settings, Draws::fromSeed, 3), with(good.settings, Draws::fromSeed, 4)},
           2,
           "",
           "Entry 2"},
          {{with(good.settings, Draws::furtherOn, 3)}, 1, "", "cannot be given again"}}) {
        std::string history;
        for (size_t i = 0; i < std::max<size_t>(1, one.steps.size()); ++i) history += good.entry;
        const HistoryChain chain = ChainOfHistory(ReadHistory(history, one.steps));
        EXPECT_EQ(chain.list.Count(), one.items);
        const auto told = [](const std::vector<std::string>& texts) { return texts.empty() ? "" : texts[0]; };
        EXPECT_NE(told(chain.leftOut).find(one.leftOut), std::string::npos) << told(chain.leftOut);
        EXPECT_EQ(chain.leftOut.empty(), *one.leftOut == '\0');
        EXPECT_NE(told(chain.otherDraws).find(one.otherDraws), std::string::npos) << told(chain.otherDraws);
        EXPECT_EQ(chain.otherDraws.empty(), *one.otherDraws == '\0');
    }
}

}  // namespace
}  // namespace kymora::test
