// Recordings that are made of others, and one while it is recorded; every write is cut once.

#include <gtest/gtest.h>

#include "exchange/append_recording.h"
#include "import/open_document.h"
#include "recording/recording_recovery.h"
#include "recording/recording_save.h"
#include "support/faulty_file_system.h"
#include "support/recording_builder.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

constexpr const char* source = "/r.kymr-rec";
constexpr const char* other = "/s.kymr-rec";
constexpr const char* made = "/out.kymr-rec";

struct RecordingWriter : SessionTest {
    std::unique_ptr<CAcqDoc> Open(const std::filesystem::path& path, Session& in) {
        auto doc = std::make_unique<CAcqDoc>(in);
        EXPECT_TRUE(doc->OnOpenDocument(path, OpenFor::reading)) << host.LastMessage();
        return doc;
    }
    std::unique_ptr<CAcqDoc> Open(const std::filesystem::path& path) { return Open(path, session); }
    void Put(const std::filesystem::path& path, const RecordingRecipe& recipe) {
        files.Put(path, BuildRecording(recipe).file.data);
    }
    static std::vector<std::pair<int, int>> Spans(const CDataDoc& doc, size_t channel) {
        std::vector<std::pair<int, int>> spans;
        for (const CEventKM& event : doc.eventChannels[channel].Events())
            spans.emplace_back(event.onPosition, event.offPosition);
        return spans;
    }
    // Has `write` done with every change to the disk cut once, and looks at what is left: `check(died)`.
    void CutEveryChange(const std::function<void(Session&)>& write, const std::function<void()>& check) {
        const MemoryFileSystem before = files;
        for (int64_t at = 1;; ++at)
            for (const bool halfWay : {false, true}) {
                SCOPED_TRACE(at);
                FaultyFileSystem faulty(files);
                faulty.dieAtChange = at;
                faulty.dieHalfWay = halfWay;
                Session cut(host, faulty);
                try {
                    write(cut);
                } catch (const FileError&) {
                }
                if (!faulty.died) return;
                check();
                files = before;
            }
    }
};

TEST_F(RecordingWriter, APartHoldsWhatLiesInIt) {
    const struct {
        uint32_t type;
        double from, to;
        size_t first, scans;
        std::vector<std::pair<int, int>> events;  // of 1-3, 4-5 and 8-10
        std::optional<double> marker;             // at 2.5 ms
    } parts[] = {
        {1, 0.0, 4.5, 0, 10, {{1, 3}, {4, 5}, {8, 9}}, 2.5},
        {0, 0.0, 4.5, 0, 10, {{1, 3}, {4, 5}, {8, 9}}, 2.5},
        {1, 1.0, 4.5, 2, 8, {{0, 1}, {2, 3}, {6, 7}}, 1.5},  // an event is cut at both ends of the part
        {1, 2.5, 3.5, 5, 3, {}, 0.0},
        {4, 0.5, 1.0, 1, 2, {{0, 1}}, {}},
        {1, -7.0, 99.0, 0, 10, {{1, 3}, {4, 5}, {8, 9}}, 2.5},
    };
    for (const auto& part : parts) {
        SCOPED_TRACE(part.from);
        const RecordingRecipe recipe{.type = part.type};
        Put(source, recipe);
        WriteRecordingPart(*Open(source), made, {part.from, part.to});
        const auto doc = Open(made);
        ASSERT_EQ(doc->GetLength(), static_cast<int64_t>(part.scans));
        for (uint32_t c = 0; c < 2; ++c) {
            const auto values = SamplesOf(*doc, static_cast<int>(c));
            for (size_t i = 0; i < part.scans; ++i)
                EXPECT_EQ(values[i], VoltsOf(recipe, recipe.codes[2 * (part.first + i) + c]));
        }
        EXPECT_EQ(Spans(*doc, 1), part.events);
        ASSERT_EQ(doc->markers.size(), part.marker ? 1u : 0u);
        if (part.marker) {
            EXPECT_EQ(doc->markers[0].m_dTime, *part.marker);
        }
        EXPECT_EQ(doc->view.viewStart, 0.0);
        EXPECT_EQ(doc->view.viewEnd, std::min(part.to, 4.5) - std::max(part.from, 0.0));
        EXPECT_EQ(doc->TailState().identity[1], part.type == 0 ? 1u : 71u);
        EXPECT_EQ(doc->TailState().waveView[11], part.type == 0 ? 911u : 0u);
        EXPECT_EQ(doc->m_strBoardName, part.type == 0 ? "" : "DT9816");
    }
    EXPECT_THROW(WriteRecordingPart(*Open(source), made, {3.0, 2.0}), FileError);
    files.Put("/out.kymr-hdr", {});
    EXPECT_THROW(WriteRecording(*Open(source), made), FileError) << "a side-car of another recording";
}

TEST_F(RecordingWriter, AppendedRecordingsAreEpisodes) {
    Put(source, {});
    Put(other, {.time = 1700000090, .channelA = {}});
    for (const auto& [from, to] : {std::pair{source, "/two.kymr-rec"}, {"/two.kymr-rec", made}}) {
        CAppendRecording append;
        const auto doc = Open(from);
        append.CheckChangeDoc(doc.get());
        append.m_sFile = other;
        EXPECT_TRUE(append.WriteFile(session, to, true).isDone) << host.LastMessage();
        EXPECT_EQ(doc->markers.size(), from == source ? 1u : 2u) << "the open one stays as it is";
    }
    const auto doc = Open(made);
    EXPECT_EQ(doc->GetLength(), 30);
    EXPECT_EQ(doc->m_timeStart, 1700000000);
    EXPECT_TRUE(doc->episodic);
    EXPECT_EQ(Spans(*doc, 0), (std::vector<std::pair<int, int>>{{0, 1}, {10, 11}, {20, 21}}));
    const auto& marks = doc->eventChannels[0].Events();
    for (const auto& [index, seconds] : {std::pair{0, 0}, {1, 90}, {2, 90}}) {
        EXPECT_EQ(marks[static_cast<size_t>(index)].eventLabel.View(), std::to_string(seconds));
        EXPECT_EQ(marks[static_cast<size_t>(index)].eventValue, static_cast<float>(seconds) * 1000.0f);
    }
    EXPECT_EQ(Spans(*doc, 1).at(3), (std::pair{11, 13})) << "the events of the second go along";
    EXPECT_EQ(doc->markers.at(1).m_dTime, 7.5);
    const auto one = SamplesOf(*Open(source)), all = SamplesOf(*doc);
    for (size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i], one[i % one.size()]);
}

TEST_F(RecordingWriter, WhatDoesNotFitIsNotAppended) {
    Put(source, {});
    const RecordingRecipe misfits[] = {{.channels = 1}, {.interval = 0.25}, {.encoding = 2},
                                       {.encoding = 1}, {.high = 5.0f},     {.gain = 2.0},
                                       {.bits = 12},    {.type = 0},        {.version = 36}};
    for (const RecordingRecipe& misfit : misfits) {
        Put(other, misfit);
        CAppendRecording append;
        const auto doc = Open(source);
        append.CheckChangeDoc(doc.get());
        append.m_sFile = other;
        host.Forget();
        EXPECT_FALSE(append.WriteFile(session, made, true).isDone);
        EXPECT_NE(host.LastMessage(), "");
        EXPECT_FALSE(files.Has(made));
    }
}

TEST_F(RecordingWriter, CutAnywhereItLeavesTheOldFileOrTheNew) {
    const RecordingRecipe recipe;
    Put(source, recipe);
    Put(other, {.time = 1700000001});
    Put(made, {.codes = {1, 2}});
    const auto old = files.Bytes(made), bytes = files.Bytes(source);
    const auto parts = [](Session& cut) {
        CAcqDoc doc(cut);
        if (!doc.OnOpenDocument(source, OpenFor::reading)) return;
        WriteRecordingPart(doc, made, {1.0, 3.0});
    };
    const auto appended = [](Session& cut) {
        CAcqDoc doc(cut), second(cut);
        if (!doc.OnOpenDocument(source, OpenFor::reading) || !second.OnOpenDocument(other, OpenFor::reading))
            return;
        WriteAppended(doc, second, made);
    };
    for (const auto& [write, scans] :
         {std::pair<std::function<void(Session&)>, int64_t>{parts, 5}, {appended, 20}}) {
        Put(made, {.codes = {1, 2}});
        CutEveryChange(write, [&, scans = scans] {
            EXPECT_EQ(files.Bytes(source), bytes);
            if (files.Bytes(made) == old) return;
            EXPECT_EQ(Open(made)->GetLength(), scans);
            EXPECT_EQ(Open(made)->Fault(), RecordingFault::none);
        });
    }
    FaultyFileSystem full(files);
    full.freeBytes = 1000;
    Session noRoom(host, full);
    Put(made, {.codes = {1, 2}});
    EXPECT_THROW(parts(noRoom), FileError);
    EXPECT_EQ(files.Bytes(made), old);
}

// --- while it is recorded ---

void Record(CAcqDoc& doc, const RecordingRecipe& recipe) {
    doc.m_eRecordingType = static_cast<RecordingType>(recipe.type);
    doc.m_nChannels = recipe.channels;
    doc.m_dSampleInterval = recipe.interval;
    doc.m_nBytesPerSample = static_cast<uint16_t>(recipe.Width());
    doc.m_nEncoding = recipe.encoding;
    if (!doc.WriteAcqFileStart("/t")) throw FileError("no temporary file", 0);
    Bytes codes;
    BuildCodes(codes, recipe.codes, recipe.Width());
    const size_t half = codes.Size() / 8 * 4;
    doc.StoreScans(std::span(codes.data).first(half));
    doc.StoreScans(std::span(codes.data).subspan(half));
}

TEST_F(RecordingWriter, ScansOfEveryTypeAreFinishedAsAFile) {
    for (const uint32_t type : {0u, 1u, 2u, 3u, 4u}) {
        SCOPED_TRACE(type);
        RecordingRecipe recipe{.type = type, .encoding = type == 2 || type == 3 ? 2u : 1u};
        CAcqDoc doc(session);
        session.now = [] { return std::time_t{1700000000}; };
        Record(doc, recipe);
        EXPECT_EQ(doc.StoredScans(), 10);
        doc.TakeStoredScans();
        const auto live = SamplesOf(doc);
        EXPECT_EQ(live[3], VoltsOf(recipe, recipe.codes[6]));
        session.now = [] { return std::time_t{1800000000}; };
        host.fillForms = {[](Form& form) {
            form["comment"].text = "of a cell";
            return true;
        }};
        host.saveFile = "/out";
        EXPECT_EQ(SaveRecording(doc, 0, {{}, true}), std::filesystem::path(made));
        const auto read = Open(made);
        EXPECT_EQ(SamplesOf(*read), live);
        EXPECT_EQ(read->fileComment, "of a cell");
        EXPECT_EQ(read->m_timeStart, 1700000000);
        EXPECT_TRUE(read->episodic) << "others will be appended";
        EXPECT_TRUE(FindLeftRecordings(files, "/t").empty());
        EXPECT_EQ(SamplesOf(doc), live);
        EXPECT_TRUE(files.Open(made, OpenMode::readWrite)->TryLock()) << "others may work on it";
    }
    EXPECT_EQ(host.fileRequests.back().title, "Save data to file?");
}

// Whatever is stopped, all scans that were stored are in the file that is found, or in the finished one.
TEST_F(RecordingWriter, EveryStopOfARecordingLeavesAFileThatOpens) {
    const RecordingRecipe recipe;
    for (const bool opensUnnamed : {true, false}) {
        files.opensUnnamed = opensUnnamed;
        int64_t stored = 0;
        CutEveryChange(
            [&](Session& cut) {
                stored = 0;
                CAcqDoc doc(cut);
                try {
                    Record(doc, recipe);
                    doc.FinishRecording(made);
                } catch (const FileError&) {
                    stored = doc.StoredScans();
                    throw;
                }
            },
            [&] {
                if (files.Has(made)) {
                    EXPECT_EQ(Open(made)->GetLength(), 10);
                    return;
                }
                const auto left = FindLeftRecordings(files, "/t");
                EXPECT_TRUE(!left.empty() || stored == 0);
                if (left.empty()) return;
                CLeftRecording doc(session);
                const bool isOpen = doc.OnOpenDocument(left[0], OpenFor::reading);
                EXPECT_TRUE(isOpen || (stored == 0 && !opensUnnamed));
                if (!isOpen) return;
                EXPECT_GE(doc.GetLength(), stored);
                WriteRecording(doc, "/recovered.kymr-rec");
                EXPECT_EQ(Open("/recovered.kymr-rec")->GetLength(), doc.GetLength());
            });
    }
}

TEST_F(RecordingWriter, LeftRecordingsGoOnlyWhenTheUserSaysSo) {
    const std::filesystem::path left = "/t/kymora-unfinished-1-0.kymr-rec";
    Put(left, {.stated = 0, .tail = false});
    host.nextAnswers = {false, false};
    EXPECT_TRUE(OfferLeftRecordings(session, "/t").empty());
    EXPECT_TRUE(files.Has(left));
    host.nextAnswers = {true, false};
    host.saveFile.reset();
    EXPECT_TRUE(OfferLeftRecordings(session, "/t").empty());
    EXPECT_TRUE(files.Has(left)) << "the save was cancelled";
    host.nextAnswers = {true};
    host.saveFile = made;
    EXPECT_EQ(OfferLeftRecordings(session, "/t").size(), 1u);
    EXPECT_FALSE(files.Has(left));
    EXPECT_EQ(Open(made)->GetLength(), 10);
    Put(left, {.stated = 0, .tail = false});
    const auto running = files.Open(left, OpenMode::readWrite);
    ASSERT_TRUE(running->TryLock());
    EXPECT_TRUE(FindLeftRecordings(files, "/t").empty()) << "a program records into it";
}

}  // namespace
}  // namespace kymora::test
