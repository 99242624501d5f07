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
        {1, 2.5, 3.5, 5, 3, {{0, 0}}, 0.0},                  // one ends where it begins
        {1, 0.0, 2.0, 0, 5, {{1, 3}, {4, 4}}, {}},           // one begins with its last sample
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

// Channel 'a' of the second: marks are kept as they are, the first at its start gives way to the new one.
TEST_F(RecordingWriter, AnAppendLeavesTheEventsOfBothAsTheyAre) {
    const auto event = [](int on, int off, const char* label, float value, uint32_t colour = 0) {
        return CEventKM{on, off, value, 1, colour, label};
    };
    const CEventKM start = EpisodeMark(0, 0), join = EpisodeMark(10, 90);
    const struct {
        std::vector<CEventKM> first, second, both;
    } cases[] = {
        {{}, {}, {start, join}},
        {{start},
         {event(0, 1, "7", 0.25f, 5), event(4, 5, "8", 0.5f, 5)},
         {start, join, event(14, 15, "8", 0.5f, 5)}},
        {{start}, {start, event(2, 6, "burst", 1.0f)}, {start, join, event(12, 16, "burst", 1.0f)}},
        {{start}, {event(0, 1, "shock", 2.0f)}, {start, join, event(10, 11, "shock", 2.0f)}},
        {{start}, {event(3, 4, "", 2.0f)}, {start, join, event(13, 14, "", 2.0f)}},
        {{event(4, 5, "3", 3.0f)}, {}, {start, event(4, 5, "3", 3.0f), join}},
        {{event(4, 7, "own", 3.0f)}, {}, {event(4, 7, "own", 3.0f), join}},
        {{}, {event(2, 2147483647, "", 0.0f)}, {start, join, event(12, 2147483647, "", 0.0f)}},
    };
    Put(source, {});
    Put(other, {.time = 1700000090});
    for (const auto& [first, second, both] : cases) {
        const auto a = Open(source), b = Open(other);
        a->eventChannels[0].Splice(0, a->GetNumEvents(0), first);
        b->eventChannels[0].Splice(0, b->GetNumEvents(0), second);
        b->eventChannels[1].Splice(0, b->GetNumEvents(1), {event(0, 1, "2", 9.0f)});
        WriteAppended(*a, *b, made);
        const auto doc = Open(made);
        EXPECT_EQ(doc->eventChannels[0].Events(), both);
        EXPECT_EQ(doc->eventChannels[1].Events().back(), event(10, 11, "2", 9.0f));
    }
}

TEST_F(RecordingWriter, RowsOfASorterGoWithTheirEvents) {
    using Rows = std::vector<std::array<float, 3>>;
    const Rows none, one = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, zeros(3);
    Put(source, {});
    Put(other, {});
    for (const auto& [first, second] : {std::pair{one, none}, {none, one}, {one, one}, {none, none}}) {
        const auto a = Open(source), b = Open(other);
        ASSERT_TRUE(first.empty() || a->eventChannels[1].SetEventExtra(first));
        ASSERT_TRUE(second.empty() || b->eventChannels[1].SetEventExtra(second));
        a->eventChannels[0].Splice(0, a->GetNumEvents(0), {{5, 6, 0.0f, 0, 0, {}}});
        ASSERT_TRUE(a->eventChannels[0].SetEventExtra({{1, 1, 1}}));
        WriteAppended(*a, *b, made);
        const auto doc = Open(made);
        Rows both;
        for (const Rows& rows : {first, second})
            if (!first.empty() || !second.empty())
                both.insert(both.end(), (rows.empty() ? zeros : rows).begin(),
                            (rows.empty() ? zeros : rows).end());
        EXPECT_EQ(doc->Fault(), RecordingFault::none);
        EXPECT_EQ(doc->eventChannels[1].EventExtra(), both);
        EXPECT_EQ(doc->eventChannels[0].EventExtra(), (Rows{{1, 1, 1}, {0, 0, 0}}));
        EXPECT_EQ(Spans(*doc, 1).size(), 6u);
    }
}

TEST_F(RecordingWriter, APartOfEpisodesBeginsWithTheMarkOfItsFirst) {
    Put(source, {.channelA = {{0, 1}, {4, 5}, {8, 9}}});
    const struct {
        double from, to;
        std::vector<std::pair<int, int>> marks;
        const char* label;
    } parts[] = {
        {0.0, 4.5, {{0, 1}, {4, 5}, {8, 9}}, "0"},
        {2.0, 4.5, {{0, 1}, {4, 5}}, "1"},
        {2.5, 4.5, {{0, 1}, {3, 4}}, "1"},
        {1.5, 4.0, {{0, 1}, {1, 2}, {5, 5}}, "0"},
    };
    for (const auto& part : parts) {
        SCOPED_TRACE(part.from);
        const auto doc = Open(source);
        auto marks = doc->eventChannels[0].Events();
        for (size_t i = 0; i < marks.size(); ++i)
            marks[i].eventTag = 1, marks[i].eventLabel = std::to_string(i);
        doc->eventChannels[0].Splice(0, 3, marks);
        WriteRecordingPart(*doc, made, {part.from, part.to});
        EXPECT_EQ(doc->eventChannels[0].Events(), marks);
        const auto read = Open(made);
        EXPECT_TRUE(read->episodic);
        EXPECT_EQ(Spans(*read, 0), part.marks);
        EXPECT_EQ(read->eventChannels[0].Events()[0].eventLabel.View(), part.label);
    }
}

// What stands there is the old recording with the old side-car, or what reads as the new one with its own.
TEST_F(RecordingWriter, AnAppendInPlaceIsNeverHalfDone) {
    Put(source, {});
    Put(other, {.time = 1700000090});
    {
        const auto doc = OpenDocument(session, source);
        doc->InsertMarker({0.25, "of the user"});
        doc->historyLog = "history";
        ASSERT_TRUE(doc->OnSaveDocument());
    }
    const auto append = [](Session& cut) {
        CAcqDoc doc(cut), second(cut);
        if (!doc.OnOpenDocument(source, OpenFor::reading) || !second.OnOpenDocument(other, OpenFor::reading))
            return;
        WriteAppended(doc, second, source);
    };
    const auto check = [&] {
        const auto doc = Open(source);
        const bool isNew = doc->GetLength() == 20;
        ASSERT_TRUE(isNew || doc->GetLength() == 10);
        EXPECT_EQ(doc->markers.size(), isNew ? 3u : 2u);
        EXPECT_EQ(doc->GetNumEvents(1), isNew ? 6 : 3);
        EXPECT_EQ(doc->GetNumEvents(0), isNew ? 2 : 0);
        EXPECT_EQ(doc->traceAnnotations[0].size(), isNew ? 2u : 1u);
        EXPECT_EQ(doc->historyLog, "history");
    };
    CutEveryChange(append, check);
    check();  // of the last time, which went through
    EXPECT_EQ(Open(source)->GetLength(), 20);
    const auto doc = OpenDocument(session, source);
    doc->markers.clear();
    ASSERT_TRUE(doc->OnSaveDocument());
    EXPECT_TRUE(Open(source)->markers.empty()) << "a side-car of later counts";
}

TEST_F(RecordingWriter, WhereItsTailIsLostNothingIsReplaced) {
    Put(other, {});
    for (const RecordingRecipe& recipe : {RecordingRecipe{.tail = false}, {.stated = 0, .tail = false}}) {
        Put(source, recipe);
        const auto bytes = files.Bytes(source);
        const auto a = Open(source), b = Open(other);
        EXPECT_THROW(WriteAppended(*a, *b, source), FileError);
        EXPECT_EQ(files.Bytes(source), bytes);
        WriteAppended(*a, *b, made);
        EXPECT_EQ(Open(made)->GetLength(), 20);
    }
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
        if (files.Has(made)) files.Remove(made);
        int64_t stored = 0;
        bool marked = false;  // in a file that was not finished
        CutEveryChange(
            [&](Session& cut) {
                stored = 0;
                CAcqDoc doc(cut);
                try {
                    doc.traces[1].traceLabel = "nerve";
                    doc.traces[1].axisTop = 0.25;
                    Record(doc, recipe);
                    doc.InsertMarker({1.0, "drug"});
                    doc.KeepTail();
                    doc.FlushScans();
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
                if (doc.GetLength() > 0) {
                    EXPECT_EQ(doc.traces[1].traceLabel, "nerve");
                    EXPECT_EQ(doc.traces[1].axisTop, 0.25);
                    EXPECT_LE(doc.markers.size(), 1u);
                    marked = marked || doc.markers.size() == 1;
                }
                WriteRecording(doc, "/recovered.kymr-rec");
                EXPECT_EQ(Open("/recovered.kymr-rec")->GetLength(), doc.GetLength());
            });
        EXPECT_TRUE(marked);
        EXPECT_EQ(files.List("/t").size(), 0u) << "a finished one leaves nothing behind";
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
    host.nextAnswers = {true};
    host.saveFile = left;
    EXPECT_EQ(OfferLeftRecordings(session, "/t").size(), 1u);
    ASSERT_TRUE(files.Has(left)) << "it was finished in its place";
    EXPECT_EQ(Open(left)->GetLength(), 10);
    EXPECT_EQ(Open(left)->Fault(), RecordingFault::none);
    Put(left, {.stated = 0, .tail = false});
    const auto running = files.Open(left, OpenMode::readWrite);
    ASSERT_TRUE(running->TryLock());
    EXPECT_TRUE(FindLeftRecordings(files, "/t").empty()) << "a program records into it";
}

}  // namespace
}  // namespace kymora::test
