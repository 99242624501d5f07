// Files that another program goes on writing while they are open.

#include "import/reload.h"

#include <algorithm>
#include <cmath>

#include "document/native_writer.h"
#include "import/foreign_samples.h"
#include "import/reader_fixture.h"
#include "import/reload_events.h"
#include "import/stream_samples.h"
#include "support/memory_doc.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

class ReloadTest : public ReaderTest {
  protected:
    // Records of a second with ten samples and, as they come, annotations.
    static EdfBuilder Edf(int records) {
        EdfBuilder builder;
        builder.recordCount = records;
        builder.reserved = "EDF+C";
        builder.AddRamp("s", 10);
        Strings texts = {"+0||$+0.5|one|$", "+1||$", "+2||$+1.5|late|$", "+3||$+3.2|new|$"};
        texts.resize(static_cast<size_t>(records));
        return builder.AddAnnotations(texts);
    }
    // "on:label" of each event.
    static Strings Events(const CDataDoc& doc, int channel) {
        Strings all;
        for (const CEventKM& e : doc.eventChannels[static_cast<size_t>(channel)].Events())
            all.push_back(fmt::format("{}:{}", e.onPosition, e.eventLabel.View()));
        return all;
    }
    void WriteNative(int64_t samples, int event) {
        auto doc = MemoryDoc::Generate(session, 2, samples,
                                       [](int t, int64_t i) { return static_cast<float>(t + i % 97); });
        doc->AddEvent(2, {event, event + 1});
        WriteNativeFile(*doc, "/n.kymr-dat");
    }
};

TEST_F(ReloadTest, EveryKindOfFileGoesOn) {
    struct Case {
        FormatSample sample;
        size_t bytes, besideBytes;  // that are there at first
    };
    const FormatSample text = TextSample("x.csv", true, '.', 300);
    const auto line = std::find(text.bytes.begin() + 5000, text.bytes.end(), std::byte{'\n'}) + 1;
    for (const Case& each :
         {Case{NcsSample(), 16384 + 1044 * 40, 16384 + 1044 * 38}, Case{WavSample(1, 2, 2), 68 + 4 * 700, 0},
          Case{BinarySample<int16_t>("int16", 3, 700), 6 * 300, 0},
          Case{text, static_cast<size_t>(line - text.bytes.begin()), 0}}) {
        SCOPED_TRACE(each.sample.name);
        const std::string path = "/" + each.sample.name + "/" + each.sample.fileName;
        const auto put = [&](size_t bytes, size_t besideBytes) {
            const auto cut = [](std::vector<std::byte> all, size_t count) {
                all.resize(std::min(all.size(), count));
                return all;
            };
            files.Put(path, cut(each.sample.bytes, bytes));
            for (const auto& [name, all] : each.sample.beside)
                files.Put("/" + each.sample.name + "/" + name, cut(all, besideBytes));
        };
        put(each.bytes, each.besideBytes);
        request.settings = each.sample.settings;
        auto doc = Reopen(path.c_str());
        ASSERT_TRUE(doc);
        const int64_t before = doc->GetLength();
        host.Forget();
        EXPECT_EQ(ReloadDocument(*doc).state, ReloadState::unchanged);
        put(SIZE_MAX, SIZE_MAX);
        const ReloadResult result = ReloadDocument(*doc);
        EXPECT_EQ(result.state, ReloadState::grown) << result.text;
        EXPECT_TRUE(host.WasSilent()) << host.LastMessage();
        const auto& values = each.sample.values;
        ASSERT_EQ(doc->GetLength(), static_cast<int64_t>(values[0].size()));
        EXPECT_EQ(result.text,
                  fmt::format("Reload: {:.3f} s more",
                              static_cast<double>(doc->GetLength() - before) * doc->sampleInterval / 1e3));
        for (size_t t = 0; t < values.size(); ++t) {
            const auto read = All(*doc, static_cast<int>(t));
            for (size_t i = 0; i < read.size(); ++i)
                if (values[t][i] != inGap) {
                    ASSERT_NEAR(read[i], values[t][i], 1e-5 * std::fabs(values[t][i]) + 1e-6)
                        << t << " " << i;
                }
        }
    }
}

TEST_F(ReloadTest, EventsOfTheFileComeOnceAndThoseOfTheUserStay) {
    for (const bool isSaved : {false, true}) {
        SCOPED_TRACE(isSaved);
        files.Put("/x.edf", Edf(2).Build());
        if (files.Has("/x.kymr-hdr")) files.Remove("/x.kymr-hdr");
        auto doc = Reopen("/x.edf");
        ASSERT_TRUE(doc);
        EXPECT_EQ(Events(*doc, 1), Strings({"5:one"}));
        {
            UndoScope scope(*doc, "mine");
            EXPECT_TRUE(scope.AddEvent(1, {8, 9}));
            EXPECT_TRUE(scope.DeleteEvent(1, 0));
        }
        doc->traces[0].traceLabel = "tip";
        if (isSaved) {
            ASSERT_TRUE(doc->OnSaveDocument());
            doc = Reopen("/x.edf");
        }
        doc->eventChannels[1].channelLocked = true;
        const bool wasModified = doc->IsModified();
        files.Put("/x.edf", Edf(4).Build());
        host.Forget();
        const ReloadResult result = ReloadDocument(*doc);
        ASSERT_TRUE(result.text.starts_with("Reload: 2.000 s more, ")) << result.text;
        EXPECT_EQ(Events(*doc, 1), Strings({"8:", "15:late", "32:new"})) << "what was deleted stays away";
        EXPECT_EQ(All(*doc, 0)[39], 3.9f) << "stored 39, in steps of 0.1";
        EXPECT_TRUE(doc->eventChannels[1].channelLocked);
        EXPECT_EQ(doc->traces[0].traceLabel, "tip");
        EXPECT_TRUE(doc->IsModified()) << "with a side-car its next opening would not know them";
        EXPECT_EQ(ReloadDocument(*doc).text, "Reload: nothing new");
        EXPECT_EQ(doc->Undo().UndoName(), "Reload");
        EXPECT_TRUE(doc->Undo().Undo());
        EXPECT_EQ(Events(*doc, 1), Strings({"8:"}));
        EXPECT_EQ(doc->IsModified(), wasModified);
        if (!isSaved) {
            EXPECT_TRUE(doc->Undo().Undo());
            EXPECT_EQ(Events(*doc, 1), Strings({"5:one"}));
        }
        EXPECT_TRUE(doc->OnSaveDocument());
        EXPECT_TRUE(host.WasSilent()) << "the side-car describes the file as it is now";
    }
}

// What the end had cut goes on, a locked channel takes what is new, and a kind of its own does not go where
// the user has something.
TEST_F(ReloadTest, EventsThatGoOnAndKindsThatAreNew) {
    auto doc = MemoryDoc::Make(session, {std::vector<float>(1000)});
    auto fresh = MemoryDoc::Make(session, {std::vector<float>(2000)});
    fresh->eventChannels[0].channelLabel = "gate";
    fresh->eventChannels[1].channelLabel = "light";
    for (const auto& [on, off] : {std::pair{100, 120}, {900, 1300}, {1500, 1510}})
        fresh->AddEvent(0, {on, off});
    fresh->AddEvent(1, {1600, 1601});
    fresh->Facts().TakeChannels(fresh->eventChannels);
    const std::vector<CEventKM> told = {{100, 120}, {900, 1000}};
    doc->Facts().AddChannel(0, "gate", told);
    doc->AddEvent(0, {50, 60});  // the user's
    doc->AddEvent(0, told[1]);
    doc->eventChannels[0].SetEventExtra({{1, 2, 3}, {4, 5, 6}});
    doc->eventChannels[0].channelLocked = true;
    doc->AddEvent(1, {10, 11});
    FileEventGrowth growth(*doc, *fresh, doc->GetLength());
    EXPECT_EQ(growth.Count(), 2u);
    EXPECT_EQ(growth.LeftOut(), 0u);
    growth.Apply(*doc, false);
    EXPECT_FALSE(doc->IsModified());
    EXPECT_EQ(doc->eventChannels[0].Events(), (std::vector<CEventKM>{{50, 60}, {900, 1300}, {1500, 1510}}));
    using Table = std::vector<std::array<float, 3>>;
    EXPECT_EQ(doc->eventChannels[0].EventExtra(), (Table{{1, 2, 3}, {4, 5, 6}, {0, 0, 0}}));
    EXPECT_EQ(doc->GetNumEvents(1), 1);
    EXPECT_EQ(doc->GetOn(2, 0), 1600);
    EXPECT_EQ(doc->eventChannels[2].channelLabel, "light");
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(doc->eventChannels[0].Events(), (std::vector<CEventKM>{{50, 60}, {900, 1000}}));
    EXPECT_EQ(doc->eventChannels[0].EventExtra(), (Table{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(doc->eventChannels[2].channelLabel, "");
    EXPECT_TRUE(doc->Undo().Redo());
    EXPECT_EQ(doc->GetOff(0, 1), 1300);
}

struct Refusal {
    const char* name;
    std::function<void(MemoryFileSystem&, CDataDoc&)> change;
    const char* text;
};

struct LaterVersion : OtherVersion {
    bool Exchange(CDataDoc&) override { return false; }
};

TEST_F(ReloadTest, WhatIsNoGrowthIsRefusedAndChangesNothing) {
    const auto with = [](auto change) {
        return [change](MemoryFileSystem& to, CDataDoc&) {
            EdfBuilder builder = Edf(4);
            change(builder);
            to.Put("/x.edf", builder.Build());
        };
    };
    const Refusal refusals[] = {
        {"shorter", [](MemoryFileSystem& to, CDataDoc&) { to.Put("/x.edf", Edf(1).Build()); }, "is shorter"},
        {"gone", [](MemoryFileSystem& to, CDataDoc&) { to.Remove("/x.edf"); }, "not there any more"},
        {"cut in its header", [](MemoryFileSystem& to, CDataDoc&) { to.Bytes("/x.edf").resize(100); },
         "The recording is as it was"},
        {"label", with([](EdfBuilder& b) { b.signalRows[0].label = "t"; }), "other traces"},
        {"unit", with([](EdfBuilder& b) { b.signalRows[0].dimension = "mV"; }), "other traces"},
        {"interval", with([](EdfBuilder& b) { b.duration = "2"; }), "sample interval"},
        {"samples", with([](EdfBuilder& b) { b.signalRows[0].samples[3] = 77; }), "other samples"},
        {"clock",
         [](MemoryFileSystem& to, CDataDoc&) {
             to.Put("/x.edf", Edf(4).Build());
             to.Bytes("/x.edf")[8 + 80 + 80 + 8 + 1] = std::byte{'5'};
         },
         "another time of day"},
        {"at work", [](MemoryFileSystem&, CDataDoc& doc) { doc.operationsAtWork = 1; }, operationAtWorkText},
        {"transformed",
         [](MemoryFileSystem&, CDataDoc& doc) { doc.Undo().Before() = std::make_unique<LaterVersion>(); },
         "was written by a transform"},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.name);
        files.Put("/x.edf", Edf(2).Build());
        auto doc = Reopen("/x.edf");
        ASSERT_TRUE(doc);
        doc->AddEvent(4, {1, 2});
        doc->SetModifiedFlag();
        refusal.change(files, *doc);
        const ReloadResult result = ReloadDocument(*doc);
        EXPECT_EQ(result.state, ReloadState::refused);
        EXPECT_NE(result.text.find(refusal.text), std::string::npos) << result.text;
        EXPECT_EQ(doc->GetLength(), 20);
        EXPECT_EQ(Events(*doc, 1), Strings({"5:one"}));
        EXPECT_EQ(doc->GetNumEvents(4), 1);
        EXPECT_TRUE(doc->IsModified());
    }
}

TEST_F(ReloadTest, NativeFilesThatAnotherProgramWrote) {
    struct Case {
        const char* name;
        int64_t samples;
        int event;
        bool isModified;
        ReloadState state;
        const char* text;
    };
    const Case cases[] = {
        {"more samples", 1500, 50, true, ReloadState::grown, "Reload: 0.500 s more"},
        {"events", 1000, 60, false, ReloadState::grown,
         "events and settings as another program has saved them"},
        {"both", 1500, 60, false, ReloadState::grown, "0.500 s more, events and settings"},
        {"events, and some here", 1500, 60, true, ReloadState::refused, "one of the two would be lost"},
        {"shorter", 900, 50, false, ReloadState::refused, "is shorter"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        WriteNative(1000, 50);
        auto doc = Reopen("/n.kymr-dat");
        ASSERT_TRUE(doc);
        EXPECT_EQ(ReloadDocument(*doc).text, "Reload: nothing new");
        {
            UndoScope scope(*doc, "mine");
            EXPECT_TRUE(scope.AddEvent(3, {7, 8}));
        }
        if (!each.isModified) {
            EXPECT_TRUE(doc->OnSaveDocument());
        }
        WriteNative(each.samples, each.event);
        host.Forget();
        const ReloadResult result = ReloadDocument(*doc);
        EXPECT_EQ(result.state, each.state);
        EXPECT_NE(result.text.find(each.text), std::string::npos) << result.text;
        EXPECT_TRUE(host.WasSilent()) << host.LastMessage();
        const bool isTaken = each.state == ReloadState::grown;
        EXPECT_EQ(doc->GetLength(), isTaken ? each.samples : 1000);
        EXPECT_EQ(doc->GetOn(2, 0), isTaken ? each.event : 50);
        EXPECT_EQ(doc->IsModified(), each.isModified);
        const bool keepsOwn = each.isModified || !isTaken;
        EXPECT_EQ(doc->GetNumEvents(3), keepsOwn ? 1 : 0);
        EXPECT_EQ(doc->Undo().CanUndo(), keepsOwn) << "steps over events that are not there would be unsound";
        if (!isTaken) continue;
        EXPECT_EQ(All(*doc, 1).back(), static_cast<float>(1 + (each.samples - 1) % 97));
        doc->AddEvent(5, {1, 2});
        EXPECT_TRUE(doc->OnSaveDocument());
        EXPECT_TRUE(host.WasSilent()) << host.LastMessage();
        doc.reset();
        doc = Reopen("/n.kymr-dat");
        EXPECT_EQ(doc->GetLength(), each.samples);
        EXPECT_EQ(doc->GetNumEvents(5), 1);
    }
}

}  // namespace
}  // namespace kymora::test
