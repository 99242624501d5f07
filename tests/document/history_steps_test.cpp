// Steps: which entry of a history each belongs to, and the file beside the recording.

#include "document/history_steps.h"

#include "document/float_doc.h"
#include "document/kept_file.h"
#include "document/native_writer.h"
#include "import/open_document.h"
#include "support/edf_builder.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

HistoryStep StepOf(const std::string& title, uint64_t seed = 0) {
    return {title + "\r\nvalue\r\n\r\n", title, {std::byte{1}, std::byte{2}}, seed};
}

// "title", with its step's seed where it has one, "u" where it was undone and "n" for a note of that.
std::string Told(std::string_view history, const HistorySteps& steps) {
    std::string told;
    for (const HistoryEntry& entry : ReadHistory(history, steps)) {
        told += told.empty() ? "" : ", ";
        told += entry.title;
        if (entry.step) told += "=" + std::to_string(entry.step->seed);
        told += std::string(entry.isUndone ? " u" : "") + (entry.isNote ? " n" : "");
    }
    return told;
}

TEST(HistoryStepsTest, StepsBelongToTheEntriesWithTheirTexts) {
    const std::string a = StepOf("A").entry, b = StepOf("B").entry, undoA = "Undo: A\r\n\r\n",
                      undoB = "Undo: B\r\n\r\n", redoA = "Redo: A\r\n\r\n", redoB = "Redo: B\r\n\r\n";
    const HistorySteps ab = {StepOf("A", 1), StepOf("B", 2)};
    HistorySteps blank = {StepOf("A", 1)};
    blank[0].entry = "A\r\ntwo\r\n\r\nparagraphs\r\n\r\n";
    struct Case {
        const char* what;
        std::string history;
        HistorySteps steps;
        const char* told;
    };
    for (const Case& one : {
             Case{"nothing", "", ab, ""},
             {"in order", a + b, ab, "A=1, B=2"},
             {"in the other order", b + a, ab, "B, A=1"},
             {"one of them missing", a + b, {StepOf("B", 2)}, "A, B=2"},
             {"of another file", "C\r\n\r\n", ab, "C"},
             {"twice, the first of which went with another version",
              a,
              {StepOf("A", 1), StepOf("A", 3)},
              "A=3"},
             {"an empty line inside", blank[0].entry + b, blank, "A=1, B"},
             {"without its end", "old text\r\nno end", ab, "old text"},
             {"behind a line that has one line end", "Partition\r\n" + a, ab, "Partition, A=1"},
             {"new and saved as", "START\r\nMonday\r\nFile: New\r\n\r\nMonday\r\n: File: Save As\r\n\r\n" + a,
              ab, "File: New, File: Save As, A=1"},
             {"undone", a + b + undoB, ab, "A=1, B=2 u, Undo: B n"},
             {"undone twice", a + b + undoB + undoA, ab, "A=1 u, B=2 u, Undo: B n, Undo: A n"},
             {"done again", a + b + undoB + undoA + redoA, ab, "A=1, B=2 u, Undo: B n, Undo: A n, Redo: A n"},
             {"and the other one", a + b + undoB + redoB + undoB, ab,
              "A=1, B=2 u, Undo: B n, Redo: B n, Undo: B n"},
             {"undone by another name", "List\r\n\tdeleted 3\r\n\r\n" + a + "Undo: Delete\r\n\r\n", ab,
              "List u, A=1, Undo: Delete n"},
             {"nothing to undo", undoA + a, ab, "Undo: A, A=1"},
         })
        EXPECT_EQ(Told(one.history, one.steps), one.told) << one.what;
}

struct StepsFileTest : SessionTest {
    void SetUp() override {
        WriteNativeFile(*MemoryDoc::Make(session, {{1, 2, 3}}), "/a.kymr-dat");
        files.Put("/b.edf", EdfBuilder().AddRamp("one", 10).Build());
    }
    std::unique_ptr<CDataDoc> Open(const std::filesystem::path& path, OpenFor purpose = OpenFor::editing) {
        return OpenDocument(session, path, purpose);
    }
    // As an operation does it.
    static void Do(CDataDoc& doc, const HistoryStep& step) {
        doc.historyLog += step.entry;
        doc.NoteStep(step);
        doc.SetModifiedFlag();
    }
    std::string Kept(const std::filesystem::path& path) {
        const auto doc = Open(path, OpenFor::reading);
        return Told(doc->historyLog, doc->Steps());
    }
    static constexpr const char* steps = "/a.kymr-dat.steps";
};

TEST_F(StepsFileTest, StepsGoWithTheRecording) {
    for (const char* file : {"/a.kymr-dat", "/b.edf"}) {
        const auto doc = Open(file);
        EXPECT_TRUE(doc->OnSaveDocument());
        EXPECT_FALSE(files.Has(file + std::string(".steps"))) << "there are none";
        Do(*doc, StepOf("A", 1));
        EXPECT_TRUE(doc->OnSaveDocument());
        Do(*doc, StepOf("B", 2));
        EXPECT_TRUE(doc->OnSaveDocument());
        EXPECT_EQ(Kept(file), "A=1, B=2");
        Do(*doc, StepOf("C", 3));  // and is never saved
        SaveAs(*doc, "/copy.kymr-dat");
        EXPECT_EQ(Kept("/copy.kymr-dat").find("A=1, B=2, C=3, File: Save As"), 0u) << Kept("/copy.kymr-dat");
        EXPECT_EQ(Kept(file), "A=1, B=2");
    }
    const auto before = files.Bytes(steps);
    Open("/a.kymr-dat", OpenFor::reading)->Steps();
    EXPECT_EQ(files.Bytes(steps), before);
    // An old program's form keeps no history, and another recording has none.
    WriteNativeFile(*Open("/a.kymr-dat", OpenFor::reading), "/old.flt", legacyFileVersion);
    EXPECT_FALSE(files.Has("/old.flt.steps"));
    WriteNativeFile(*MemoryDoc::Make(session, {{1}}), "/copy.kymr-dat");
    EXPECT_FALSE(files.Has("/copy.kymr-dat.steps"));
}

TEST_F(StepsFileTest, WhatIsNoFileOfStepsHindersNothing) {
    const auto first = Open("/a.kymr-dat");
    Do(*first, StepOf("A", 1));
    ASSERT_TRUE(first->OnSaveDocument());
    const auto whole = files.Bytes(steps), recording = files.Bytes("/a.kymr-dat");
    auto later = whole, torn = whole;
    later[4 + 2 * std::string("Kymora steps").size()] = std::byte{2};
    torn.resize(torn.size() - 5);
    struct Case {
        const char* what;
        std::vector<std::byte> bytes;
        bool isKept;
    };
    for (const Case& one : {Case{"later", later, true},
                            {"torn", torn, false},
                            {"foreign", {std::byte{7}, std::byte{9}}, true}}) {
        files.Put(steps, one.bytes);
        files.Put("/a.kymr-dat", recording);
        const auto doc = Open("/a.kymr-dat", OpenFor::reading);
        EXPECT_EQ(Told(doc->historyLog, doc->Steps()), "A") << one.what;
        Do(*doc, StepOf("B", 2));
        WriteNativeFile(*doc, "/c.kymr-dat");
        EXPECT_EQ(Kept("/c.kymr-dat"), "A, B=2") << one.what;
        WriteNativeFile(*doc, "/a.kymr-dat");
        EXPECT_EQ(files.Bytes(steps) == one.bytes, one.isKept) << one.what;
    }
    EXPECT_TRUE(host.messages.empty());
    for (size_t i = 0; i < whole.size(); ++i) {
        auto wrong = whole;
        wrong[i] ^= std::byte{0xFF};
        files.Put(steps, wrong);
        EXPECT_LE(ReadSteps(files, steps).size(), 1u);
        files.Put(steps, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i)});
        EXPECT_TRUE(ReadSteps(files, steps).empty()) << i;
    }
}

// An undone transform's result may yet come back by a redo.
TEST_F(StepsFileTest, StepsOfAnotherVersionStayUntilTheyAreReplaced) {
    const auto doc = Open("/a.kymr-dat");
    Do(*doc, StepOf("A", 1));
    WriteSteps(session, steps, StepOf("A").entry + StepOf("B").entry, {StepOf("A", 1), StepOf("B", 2)});
    const auto both = files.Bytes(steps);
    ASSERT_TRUE(doc->OnSaveDocument());
    EXPECT_EQ(files.Bytes(steps), both);
    Do(*doc, StepOf("C", 3));
    ASSERT_TRUE(doc->OnSaveDocument());
    EXPECT_NE(files.Bytes(steps), both);
    EXPECT_EQ(Kept("/a.kymr-dat"), "A=1, C=3");

    // A native file that was made where none was, and was taken back for good.
    {
        KeptFile none(session, "/made.kymr-dat");
        WriteNativeFile(*doc, "/made.kymr-dat");
        ASSERT_TRUE(files.Has("/made.kymr-dat.steps"));
        none.Swap(files.Stamp("/made.kymr-dat"));
    }
    EXPECT_FALSE(files.Has("/made.kymr-dat.steps"));
}

}  // namespace
}  // namespace kymora::test
