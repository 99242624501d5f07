// Recording files that were laid out byte by byte, whole and damaged.

#include <gtest/gtest.h>

#include <cmath>

#include "document/side_car.h"
#include "import/open_document.h"
#include "recording/km_rec_doc.h"
#include "recording/recording_recovery.h"
#include "support/recording_builder.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

constexpr const char* path = "/r.kymr-rec";

struct RecordingReader : SessionTest {
    std::unique_ptr<CDataDoc> Open(const std::vector<std::byte>& bytes) {
        files.Put(path, bytes);
        host.Forget();
        return OpenDocument(session, path, OpenFor::reading);
    }
};

TEST_F(RecordingReader, TheTailFillsTheModel) {
    for (const uint32_t type : {0u, 1u, 4u}) {
        SCOPED_TRACE(type);
        const auto doc = Open(BuildRecording({.type = type, .channelA = {{0, 1}, {5, 6}}}).file.data);
        ASSERT_TRUE(doc && host.WasSilent()) << host.LastMessage();
        EXPECT_EQ(doc->fileComment, "a comment");
        EXPECT_EQ(doc->view.viewStart, 0.5);
        EXPECT_EQ(doc->view.viewEnd, 4.5);
        EXPECT_EQ(doc->traces[1].axisTop, 6.0);
        EXPECT_EQ(doc->traces[0].axisLabel, "left nerve");
        EXPECT_EQ(doc->traces[1].axisLabel, "Ax 2");
        EXPECT_EQ(doc->traces[1].traceLabel, "label");
        EXPECT_EQ(doc->traces[1].traceVisible, type == 0 ? 1 : 0);
        EXPECT_EQ(doc->traces[0].traceUnits, type == 0 ? "" : "V");
        ASSERT_EQ(doc->markers.size(), 1u);
        EXPECT_EQ(doc->markers[0].m_strLabel, "mark");
        ASSERT_EQ(doc->traceAnnotations[0].size(), 1u);
        EXPECT_EQ(doc->traceAnnotations[0][0].m_dTime, 3.0);
        EXPECT_FALSE(doc->view.showAnnotationFlag);
        EXPECT_EQ(doc->GetNumEvents(1), 3);
        EXPECT_EQ(doc->GetOff(1, 2), 10);
        EXPECT_FALSE(doc->episodic) << "no event has the mark of an episode";
        EXPECT_EQ(dynamic_cast<CAcqDoc&>(*doc).m_timeStart, 1700000000);
    }
}

TEST_F(RecordingReader, GainsDivideAndChangesGoBesideTheFile) {
    const auto bytes =
        BuildRecording({.high = 8, .low = -8, .bits = 4, .gain = 2.0, .codes = {0, 15, 8, 1}}).file.data;
    const auto doc = Open(bytes);
    ASSERT_TRUE(doc);
    EXPECT_EQ(SamplesOf(*doc, 0), (std::vector<float>{-4.0f, 0.0f}));
    EXPECT_EQ(SamplesOf(*doc, 1), (std::vector<float>{3.5f, -3.5f}));
    doc->InsertMarker({0.75, "later"});
    EXPECT_TRUE(doc->OnSaveDocument());
    EXPECT_EQ(files.Bytes(path), bytes);
    const auto again = OpenDocument(session, path);
    ASSERT_EQ(again->markers.size(), 2u);
    EXPECT_EQ(SamplesOf(*again, 0), (std::vector<float>{-4.0f, 0.0f}));
}

TEST_F(RecordingReader, HeadsWithoutSenseAreRefusedByTheirText) {
    const double nan = std::nan("");
    const struct {
        RecordingRecipe recipe;
        const char* text;
    } wrong[] = {
        {{.version = 36}, "Problem: file version read as 36, which is not on recognised list for this type."},
        {{.version = 49}, "Problem: file version read as 49, which is not on recognised list for this type."},
        {{.recordingVersion = 0},
         "Problem: recording file version read as 0, which is not on recognised list for this type."},
        {{.type = 0, .recordingVersion = 2},
         "Problem: recording file version read as 2, which is not on recognised list for this type."},
        {{.type = 5}, "its type is 5"},
        {{.bits = 0}, "its resolution is 0 bits"},
        {{.bits = 17}, "its resolution is 17 bits"},
        {{.channels = 0, .codes = {}}, "it states 0 channels"},
        {{.channels = 17}, "it states 17 channels"},
        {{.channels = 0xFFFFFFFF}, "it states 4294967295 channels"},
        {{.interval = 0.0}, "its sample interval is 0"},
        {{.interval = nan}, "its sample interval is nan"},
        {{.gain = 0.0}, "the gain of channel 1 is 0"},
        {{.gain = nan}, "the gain of channel 1 is nan"},
        {{.high = 1, .low = 1}, "its converter goes from 1 to 1 volts"},
        {{.type = 0, .bits = 24}, "its samples have 24 bits"},
        {{.type = 0, .channels = 17}, "it states 17 channels"},
    };
    for (auto [recipe, text] : wrong) {
        if (recipe.channels == 0) recipe.tail = false, recipe.stated = 0;
        Bytes file;
        BuildRecordingHead(file, recipe);
        file.U32(0);
        EXPECT_FALSE(Open(file.data)) << text;
        EXPECT_NE(host.LastMessage().find(text), std::string::npos) << host.LastMessage();
    }
    files.Put("/r.dtx", BuildDtx({.version = 30}, true).data);
    EXPECT_FALSE(OpenDocument(session, "/r.dtx"));
    EXPECT_TRUE(host.LastMessage().starts_with("You are attempting to read a deprecated version"));
    CAcqDoc other(session);
    EXPECT_FALSE(other.OnOpenDocument("/r.dtx"));
    EXPECT_EQ(host.LastMessage(), "You must select a .kymr-rec file");
}

TEST_F(RecordingReader, WhatIsThereOpensWhereTheRestIsMissing) {
    const RecordingRecipe recipe;
    const BuiltRecording whole = BuildRecording(recipe);
    for (size_t length = 0; length < whole.tailAt + 400; ++length) {
        SCOPED_TRACE(length);
        const auto doc =
            Open({whole.file.data.begin(), whole.file.data.begin() + static_cast<std::ptrdiff_t>(length)});
        ASSERT_EQ(doc != nullptr, length >= whole.dataStart);
        ASSERT_EQ(host.messages.size(), 1u);
        if (!doc) continue;
        const size_t scans = (std::min(length, whole.tailAt) - whole.dataStart) / 4;
        ASSERT_EQ(doc->GetLength(), static_cast<int64_t>(scans));
        std::vector<float> expected;
        for (size_t i = 0; i < scans; ++i) expected.push_back(VoltsOf(recipe, recipe.codes[2 * i]));
        ASSERT_EQ(SamplesOf(*doc), expected);
        ASSERT_TRUE(doc->markers.empty() && doc->fileComment.empty()) << "of a tail in part nothing is taken";
    }
}

TEST_F(RecordingReader, ScanCountsAreHeldToTheFile) {
    const auto faultOf = [&](const RecordingRecipe& recipe, int64_t length) {
        const auto doc = Open(BuildRecording(recipe).file.data);
        EXPECT_EQ(doc->GetLength(), length);
        return dynamic_cast<CAcqDoc&>(*doc).Fault();
    };
    EXPECT_EQ(faultOf({.codes = {}, .ownMarks = true}, 0), RecordingFault::none)
        << "an empty recording has its tail";
    EXPECT_EQ(host.LastMessage(), "");
    EXPECT_EQ(faultOf({.type = 0, .codes = {}, .ownMarks = true}, 0), RecordingFault::none);
    EXPECT_EQ(faultOf({.stated = 0, .tail = false}, 10), RecordingFault::unfinished);
    EXPECT_EQ(faultOf({.type = 0, .stated = 0, .tail = false}, 10), RecordingFault::unfinished);
    EXPECT_EQ(faultOf({.stated = 11, .tail = false}, 10), RecordingFault::shortened);
    EXPECT_EQ(faultOf({.stated = 0x80000000, .tail = false}, 10), RecordingFault::shortened);
    EXPECT_EQ(host.messages.at(0).text, tooLongText);
    EXPECT_EQ(faultOf({.tail = false}, 10), RecordingFault::noTail);
    // A finished recording without scans whose tail was cut is none that was not finished.
    BuiltRecording cut = BuildRecording({.codes = {}, .tail = false});
    cut.file.Wide(u"end of data").Wide(u"comment");
    const auto doc = Open(cut.file.data);
    EXPECT_EQ(doc->GetLength(), 0);
}

// Zeros read like a tail of empty texts and lists.
TEST_F(RecordingReader, SamplesThatReadLikeATailAreSamples) {
    for (const uint32_t type : {0u, 1u, 3u, 4u}) {
        SCOPED_TRACE(type);
        RecordingRecipe recipe{.type = type, .encoding = type == 3 ? 2u : 1u, .stated = 0, .tail = false};
        recipe.codes.assign(200000, 0);
        for (size_t i = 100000; i < recipe.codes.size(); ++i)
            recipe.codes[i] = static_cast<uint32_t>(i % 100);
        const auto doc = Open(BuildRecording(recipe).file.data);
        ASSERT_EQ(doc->GetLength(), 100000);
        EXPECT_EQ(dynamic_cast<CAcqDoc&>(*doc).Fault(), RecordingFault::unfinished);
        EXPECT_EQ(SamplesOf(*doc, 1)[70000], VoltsOf(recipe, recipe.codes[140001]));
    }
}

TEST_F(RecordingReader, ATailIsFoundWhereTheCountIsWrong) {
    for (const uint32_t type : {0u, 1u})
        for (const uint32_t scans : {0u, 11u, 5000000u}) {
            SCOPED_TRACE(scans);
            const RecordingRecipe recipe{
                .type = type, .stated = scans * (type == 0 ? 4 : 1), .ownMarks = true};
            const auto doc = Open(BuildRecording(recipe).file.data);
            EXPECT_EQ(doc->GetLength(), 10);
            EXPECT_EQ(dynamic_cast<CAcqDoc&>(*doc).Fault(), RecordingFault::miscounted);
            EXPECT_EQ(host.messages.size(), 1u);
            EXPECT_EQ(doc->fileComment, "a comment");
            EXPECT_EQ(doc->GetNumEvents(1), 3);
        }
}

TEST_F(RecordingReader, AnOlderRecordingThatWasCutKeepsItsChannels) {
    const RecordingRecipe recipe;
    for (const bool countsAll : {false, true})
        for (const size_t cut : {0u, 1u, 2u, 3u, 4u, 5u, 18u, 33u}) {
            if (!countsAll && cut > 19) continue;  // as much as a channel
            SCOPED_TRACE(cut);
            auto bytes = BuildDtx(recipe, true, countsAll).data;
            bytes.resize(bytes.size() - cut);
            files.Put("/r.dtx", bytes);
            host.Forget();
            const auto doc = OpenDocument(session, "/r.dtx", OpenFor::reading);
            ASSERT_TRUE(doc);
            ASSERT_EQ(doc->traceCount, 2);
            EXPECT_EQ(doc->GetLength(), static_cast<int64_t>((40 - cut) / 4));
            EXPECT_EQ(host.messages.size(), cut == 0 ? 0u : 1u);
            EXPECT_EQ(SamplesOf(*doc, 1)[0], VoltsOf(recipe, recipe.codes[1]));
        }
    // In the words behind the samples nothing is lost.
    const auto whole = BuildDtx(recipe, false).data;
    for (size_t cut = 0; cut <= 28; ++cut) {
        SCOPED_TRACE(cut);
        files.Put("/r.dtx", {whole.begin(), whole.end() - static_cast<std::ptrdiff_t>(cut)});
        const auto doc = OpenDocument(session, "/r.dtx", OpenFor::reading);
        ASSERT_TRUE(doc);
        EXPECT_EQ(doc->traceCount, 2);
        EXPECT_EQ(doc->GetLength(), 10);
    }
}

TEST_F(RecordingReader, AShortPreambleIsReadWhereItIsAskedFor) {
    const RecordingRecipe recipe{.type = 0, .shortPreamble = true};
    EXPECT_FALSE(Open(BuildRecording(recipe).file.data));
    CKMRecDoc doc(session);
    EXPECT_TRUE(doc.OnOpenDocument(path));
    EXPECT_EQ(doc.GetLength(), 10);
    const auto asked =
        OpenDocument(session, path, {OpenFor::reading, OpenTalk::tells, {{"preamble", "short"}}});
    ASSERT_TRUE(asked);
    EXPECT_EQ(SamplesOf(*asked, 1).at(0), VoltsOf(recipe, recipe.codes[1]));
    EXPECT_EQ(asked->fileComment, "a comment");
    EXPECT_FALSE(OpenDocument(session, path, {OpenFor::reading, OpenTalk::tells, {{"preamble", "none"}}}));
    files.Put(path, BuildRecording({.type = 1, .recordingVersion = 1}).file.data);
    EXPECT_FALSE(doc.OnOpenDocument(path)) << "it reads the wave layout only";
}

// 2^-15 volts a code is what the wave layout and the native file hold, too.
TEST_F(RecordingReader, EveryLayoutHoldsTheSame) {
    std::vector<float> read[2];
    for (const uint32_t type : {0u, 1u}) {
        const RecordingRecipe recipe{.type = type, .high = 32768, .low = -32768, .encoding = 1};
        const auto doc = Open(BuildRecording(recipe).file.data);
        WriteNativeFile(*doc, "/n.kymr-dat");
        const auto native = OpenDocument(session, "/n.kymr-dat");
        for (int t = 0; t < 2; ++t) EXPECT_EQ(SamplesOf(*native, t), SamplesOf(*doc, t));
        EXPECT_EQ(native->markers, doc->markers);
        EXPECT_EQ(native->eventChannels[1].Events(), doc->eventChannels[1].Events());
        read[type] = SamplesOf(*doc, 1);
    }
    EXPECT_EQ(read[0], read[1]);
}

}  // namespace
}  // namespace kymora::test
