#include "batch/batch_run.h"
#include "host/form.h"

#include <gtest/gtest.h>

#include <set>

#include "document/native_writer.h"
#include "host/memory_file_system.h"
#include "import/formats.h"
#include "import/open_document.h"
#include "support/edf_builder.h"
#include "support/listing_operation.h"
#include "support/memory_doc.h"
#include "support/native_builder.h"
#include "support/test_host.h"
#include "support/test_transform.h"

namespace kymora::test {
namespace {

constexpr int channel = 5;  // of the marks

// A window as far as a document knows of it.
class StillView : public DocumentView {
  public:
    explicit StillView(CDataDoc& doc) : doc_(doc) { doc.AddView(*this); }
    ~StillView() override { doc_.RemoveView(*this); }
    DisplaySettings GetDisplaySettings() const override { return settings; }
    void OnUpdate(UpdateHint) override { ++updates; }
    DisplaySettings settings;
    int updates = 0;

  private:
    CDataDoc& doc_;
};

class BatchRunTest : public ::testing::Test {
  protected:
    void SetUp() override {
        WriteNative("/a.kymr-dat", 1000);
        WriteNative("/b.kymr-dat", 500);
        files.Put("/c.edf", EdfBuilder().AddRamp("one", 10).Build());
        host.progress.clear();
        settings = MarkOperation().Settings();
    }
    void TearDown() override { duringRun = nullptr; }

    void WriteNative(const std::filesystem::path& path, size_t length) {
        WriteNativeFile(*MemoryDoc::Make(session, {std::vector<float>(length, 1.0f)}), path);
    }
    // How many files were done; `errors` is what the user reads.
    size_t Run(std::vector<std::filesystem::path> paths, bool writeNew = false) {
        return Run({markOperation, settings, std::move(paths), writeNew});
    }
    size_t Transform(std::vector<std::filesystem::path> paths, bool writeNew = false) {
        return Run({testTransform, CTestTransform().Settings(), std::move(paths), writeNew});
    }
    size_t Run(const BatchJob& job) {
        report = RunBatchJob(job, documents, {});
        errors = ProcessErrors(report);
        return report.CountDone();
    }
    bool WasTold(std::string_view text) const { return errors.find(text) != std::string::npos; }
    // The end of the mark in a file; -1 where there is none.
    int32_t MarkIn(const std::filesystem::path& path) {
        if (!files.Has(path)) return -1;
        const auto doc = OpenDocument(session, path, OpenFor::reading);
        return doc && doc->GetNumEvents(channel) == 1 ? doc->GetOff(channel, 0) : -1;
    }
    CDataDoc& Show(const std::filesystem::path& path) {
        windows.push_back(OpenDocument(session, path));
        return *windows.back();
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    std::vector<std::unique_ptr<CDataDoc>> windows;
    BatchDocuments documents{session, [this] {
                                 std::vector<CDataDoc*> shown;
                                 for (const auto& doc : windows) shown.push_back(doc.get());
                                 return shown;
                             }};
    std::vector<std::byte> settings;
    RunReport report;
    std::string errors;
};

TEST_F(BatchRunTest, NativeFilesInPlaceAndForeignOnesBeside) {
    const auto foreign = files.Bytes("/c.edf");
    EXPECT_EQ(Run({"/a.kymr-dat", "/c.edf", "/b.kymr-dat"}), 3u);
    EXPECT_FALSE(report.wasCancelled);
    EXPECT_EQ(MarkIn("/a.kymr-dat"), 1000);
    EXPECT_EQ(MarkIn("/b.kymr-dat"), 500);
    EXPECT_EQ(MarkIn("/c.kymr-dat"), 10);
    EXPECT_EQ(files.Bytes("/c.edf"), foreign);
    EXPECT_EQ(files.Count(), 7u) << "three results with their steps; no side-car, nothing temporary";
    EXPECT_EQ(errors, "");
    EXPECT_TRUE(host.WasSilent());
    ASSERT_EQ(host.progress.size(), 1u) << "one box for all";
    EXPECT_EQ(host.progress[0].parts.front(), "file 1 of 3");
    EXPECT_TRUE(host.progress[0].closed);
    EXPECT_EQ(OpenDocument(session, "/a.kymr-dat")->historyLog.find("Test operation\r\n"), 0u);
}

// A window goes on reading the file that it opened; what another program put there is not its to replace.
TEST_F(BatchRunTest, FilesThatOthersReplacedStay) {
    Show("/a.kymr-dat");
    files.Put("/other.kymr-dat", files.Bytes("/b.kymr-dat"));
    files.Rename("/other.kymr-dat", "/a.kymr-dat");
    const auto theirs = files.Bytes("/a.kymr-dat");
    EXPECT_EQ(Transform({"/a.kymr-dat", "/b.kymr-dat"}), 1u);
    EXPECT_EQ(files.Bytes("/a.kymr-dat"), theirs);
    EXPECT_TRUE(WasTold("/a.kymr-dat\r\n\tThis file was changed by another program")) << errors;
}

TEST_F(BatchRunTest, NewFilesReplaceNoSource) {
    WriteNative("/b_tr.kymr-dat", 7);
    const auto source = files.Bytes("/b_tr.kymr-dat");
    EXPECT_EQ(Transform({"/b.kymr-dat", "/b_tr.kymr-dat"}, true), 1u);
    EXPECT_TRUE(WasTold("/b.kymr-dat\r\n\tLeft out: its result would replace b_tr.kymr-dat"));
    EXPECT_EQ(files.Bytes("/b_tr.kymr-dat"), source);
    EXPECT_TRUE(files.Has("/b_tr_tr.kymr-dat"));
}

// The conversion that a save of so old a file asks about is what a batch is for.
TEST_F(BatchRunTest, FilesOfOldVersionsAreRewritten) {
    NativeRecipe recipe;
    recipe.version = 12;
    files.Put("/old.kymr-dat", BuildNative(recipe).file.data);
    EXPECT_EQ(Run({"/old.kymr-dat"}), 1u) << errors;
    EXPECT_EQ(MarkIn("/old.kymr-dat"), 10);
    const auto doc = OpenDocument(session, "/old.kymr-dat");
    EXPECT_EQ(doc->fileVersion, currentFileVersion);
    std::vector<float> values(10);
    doc->ReadBlock(1, 0, values);
    for (int64_t i = 0; i < 10; ++i) EXPECT_EQ(values[static_cast<size_t>(i)], BuiltSample(1, i));
}

TEST_F(BatchRunTest, FailingFilesAreToldAndTheOthersRun) {
    files.Put("/broken.kymr-dat", {std::byte{7}, std::byte{8}});
    files.Put("/text.txt", {});
    WriteNative("/locked.kymr-dat", 20);
    {
        const auto doc = OpenDocument(session, "/locked.kymr-dat");
        doc->eventChannels[channel].channelLocked = true;
        ASSERT_TRUE(doc->OnSaveDocument());
    }
    const auto locked = files.Bytes("/locked.kymr-dat");
    const auto other = OpenDocument(session, "/b.kymr-dat");  // another program, as it were
    EXPECT_EQ(Run({"/missing.kymr-dat", "/broken.kymr-dat", "/text.txt", "/locked.kymr-dat", "/b.kymr-dat",
                   "/a.kymr-dat"}),
              1u);
    EXPECT_EQ(MarkIn("/a.kymr-dat"), 1000) << "the last one, behind all the others";
    EXPECT_EQ(files.Bytes("/locked.kymr-dat"), locked);
    for (const char* words :
         {"/missing.kymr-dat\r\n\tThere is no such file.\r\n/broken.kymr-dat\r\n\t",
          "/text.txt\r\n\tUnrecognised file type: abandoning\r\n", "/locked.kymr-dat\r\n\tTest operation: ",
          "/b.kymr-dat\r\n\t/b.kymr-dat has the ReadOnly property set."})
        EXPECT_TRUE(WasTold(words)) << words << "\n" << errors;
    EXPECT_FALSE(WasTold("/a.kymr-dat"));
    EXPECT_TRUE(host.WasSilent()) << "a batch waits for nobody";
}

TEST_F(BatchRunTest, CancelEndsTheBatchBetweenAndWithinFiles) {
    host.cancelAtCall = 2;
    EXPECT_EQ(Run({"/a.kymr-dat", "/b.kymr-dat"}), 1u);
    EXPECT_TRUE(report.wasCancelled);
    EXPECT_EQ(MarkIn("/a.kymr-dat"), 1000) << "what is done stays";
    EXPECT_EQ(MarkIn("/b.kymr-dat"), -1);
    EXPECT_EQ(errors, "The batch was cancelled. 1 of 2 files were processed.\r\n");

    host.cancelAtCall = 0;
    host.progress.clear();
    host.cancelAtDone = 1250;  // a quarter through the second file
    uint64_t last = 0;
    duringRun = [&](CDataDoc& doc) {
        const auto progress = doc.GetHost().StartProgress("Detecting", 8);
        progress->SetPart("trace 1 of 4");
        for (uint64_t done = 0; done <= 8; ++done) {
            last = done;
            if (!progress->Update(done)) return false;
        }
        return true;
    };
    EXPECT_EQ(Run({"/b.kymr-dat", "/a.kymr-dat", "/c.edf"}), 1u);
    EXPECT_EQ(host.progress[0].parts.back(), "file 2 of 3, trace 1 of 4");
    EXPECT_TRUE(report.wasCancelled);
    EXPECT_EQ(last, 2u);
    EXPECT_EQ(host.progress.size(), 1u) << "the work on a file moves the one bar";
    EXPECT_FALSE(files.Has("/c.kymr-dat"));
}

TEST_F(BatchRunTest, FilesDrawFromOneRowOfRandomNumbers) {
    std::set<uint64_t> draws;
    duringRun = [&](CDataDoc& doc) { return draws.insert(doc.GetSession().random()).second; };
    const auto before = session.random;
    Show("/a.kymr-dat");
    EXPECT_EQ(Run({"/a.kymr-dat", "/b.kymr-dat"}), 2u);
    EXPECT_EQ(draws.size(), 2u);
    EXPECT_NE(session.random, before);
}

TEST_F(BatchRunTest, ReportsAreData) {
    files.Put("/a.edf", EdfBuilder().AddRamp("one", 10).Build());
    EXPECT_EQ(Run({"/a.edf", "/b.kymr-dat", "/a.kymr-dat", "/gone.edf", "/c.edf", "/b.kymr-dat"}), 3u);
    using enum Outcome;
    const struct {
        Outcome outcome;
        std::vector<std::filesystem::path> outputs;
        const char* message;
    } expected[] = {{leftOut, {}, ""},           {leftOut, {}, ""},
                    {done, {"/a.kymr-dat"}, ""}, {failed, {}, "There is no such file."},
                    {done, {"/c.kymr-dat"}, ""}, {done, {"/b.kymr-dat"}, ""}};
    ASSERT_EQ(report.files.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        const FileReport& file = report.files[i];
        EXPECT_EQ(file.outcome, expected[i].outcome) << i;
        EXPECT_EQ(file.outputs, expected[i].outputs) << i;
        EXPECT_EQ(file.messages.empty() ? "" : file.messages[0].text, expected[i].message) << i;
        EXPECT_EQ(file.channels.size(), file.IsDone() ? 1u : 0u) << i;
        EXPECT_EQ(file.block, nullptr) << "it went with the recording";
    }
    EXPECT_EQ(MarkIn("/a.kymr-dat"), 1000) << "made from itself";
    EXPECT_EQ(errors, "/a.edf\r\n\tLeft out: a.kymr-dat goes to the same file a.kymr-dat.\r\n"
                      "/gone.edf\r\n\tThere is no such file.\r\n")
        << "the same file twice is no news";
}

// What one voice says in several pieces has one heading; a refusal is told as it stands.
TEST_F(BatchRunTest, MessagesBecomeLines) {
    using enum RunMessage::From;
    report.files = {{.planned = {"/a.edf", "/a.edf"},
                     .messages = {{operation, "one\r\ntwo\r\n", "Title"},
                                  {operation, "three", "Title"},
                                  {refusal, "No.\nNever.", "Title"},
                                  {host, "four\n", ""},
                                  {run, "five", ""}}}};
    EXPECT_EQ(ProcessErrors(report), "/a.edf\r\n\tone\r\n\ttwo\r\n\tthree\r\n"
                                     "/a.edf\r\n\tTitle: No.\nNever.\r\n"
                                     "/a.edf\r\n\tfour\r\n/a.edf\r\n\tfive\r\n");
}

TEST_F(BatchRunTest, WindowsThatShowTheFiles) {
    CDataDoc& saved = Show("/a.kymr-dat");
    CDataDoc& edited = Show("/b.kymr-dat");
    StillView view(saved);
    view.settings = {saved.view, {}};
    view.settings.view.viewStart = 100.0;
    view.settings.view.viewEnd = 250.0;
    edited.AddEvent(0, {1, 2});
    edited.SetModifiedFlag();
    const auto b = files.Bytes("/b.kymr-dat");
    MarkOperation dialog;
    dialog.m_nRegionMode = regionVisible;
    settings = dialog.Settings();
    ASSERT_EQ(Run({"/a.kymr-dat"}), 1u) << errors;
    EXPECT_EQ(saved.GetOn(channel, 0), 100) << "what is seen in the window";
    EXPECT_EQ(saved.GetOff(channel, 0), 250);
    EXPECT_TRUE(saved.Undo().CanUndo());
    EXPECT_FALSE(saved.IsModified());
    EXPECT_EQ(MarkIn("/a.kymr-dat"), 250) << "and saved";
    EXPECT_GT(view.updates, 0);

    settings = MarkOperation().Settings();
    EXPECT_EQ(Run({"/b.kymr-dat"}), 1u);
    EXPECT_EQ(edited.GetOff(channel, 0), 500);
    EXPECT_TRUE(edited.IsModified());
    EXPECT_EQ(files.Bytes("/b.kymr-dat"), b) << "nobody agreed to save the user's own changes";
    EXPECT_NE(errors.find("nothing was saved"), std::string::npos);
    EXPECT_TRUE(host.WasSilent());
}

TEST_F(BatchRunTest, NewFilesAndWindows) {
    CDataDoc& edited = Show("/a.kymr-dat");
    edited.AddEvent(0, {1, 2});
    edited.SetModifiedFlag();
    files.Put("/a_tr.kymr-dat", {std::byte{1}});
    EXPECT_EQ(Run({"/a.kymr-dat", "/c.edf"}, true), 2u) << errors;
    EXPECT_TRUE(host.WasSilent()) << "replaced without a question";
    EXPECT_EQ(MarkIn("/a_tr.kymr-dat"), 1000);
    EXPECT_EQ(MarkIn("/c_tr.kymr-dat"), 10);
    EXPECT_EQ(OpenDocument(session, "/a_tr.kymr-dat")->GetNumEvents(0), 0) << "made from what is on the disk";
    EXPECT_EQ(edited.GetNumEvents(channel), 0) << "the window stays as it is";
    EXPECT_TRUE(WasTold("/a.kymr-dat\r\n\tThis file has unsaved changes")) << errors;

    Show("/a_tr.kymr-dat");
    const auto before = files.Bytes("/a_tr.kymr-dat");
    EXPECT_EQ(Run({"/a.kymr-dat"}, true), 0u);
    EXPECT_EQ(files.Bytes("/a_tr.kymr-dat"), before);
    EXPECT_NE(errors.find("/a_tr.kymr-dat is open in a window."), std::string::npos) << errors;
}

// --- the Batch button ---

class BatchDialogTest : public BatchRunTest {
  protected:
    void Attach(CBatchBaseDlg& dialog) {
        CDataDoc& doc = Show("/a.kymr-dat");
        view = std::make_unique<StillView>(doc);
        view->settings.view = doc.view;
        dialog.CheckChangeDoc(&doc);
        dialog.CheckChangeView(view.get());
    }
    void TearDown() override {
        view.reset();
        BatchRunTest::TearDown();
    }
    std::unique_ptr<StillView> view;
};

TEST_F(BatchDialogTest, NeedsAViewAndAnswers) {
    MarkOperation dialog;
    EXPECT_FALSE(RunBatch(markOperation, dialog, documents));
    EXPECT_EQ(host.LastMessage(), "No active view or document");
    Attach(dialog);
    EXPECT_FALSE(RunBatch(markOperation, dialog, documents)) << "the form was cancelled";
    EXPECT_TRUE(host.fileRequests.empty());
    host.fillForms = {[](Form&) { return true; }};
    EXPECT_FALSE(RunBatch(markOperation, dialog, documents)) << "no file was chosen";
    EXPECT_EQ(host.fileRequests[0].filter, OpenFilter());
    EXPECT_EQ(host.texts.size(), 0u);
}

TEST_F(BatchDialogTest, RunsTheSettingsOfTheDialogAndShowsTheErrorsOnce) {
    MarkOperation dialog;
    Attach(dialog);
    dialog.m_strLabel = "marks";
    host.openFiles = {"/a.kymr-dat", "/gone.kymr-dat"};
    host.fillForms = {[](Form& form) { return form["writeNew"].flag = true; }};
    ASSERT_TRUE(RunBatch(markOperation, dialog, documents));
    EXPECT_EQ(OpenDocument(session, "/a_tr.kymr-dat")->eventChannels[channel].channelLabel, "marks");
    ASSERT_EQ(host.texts.size(), 1u);
    EXPECT_EQ(host.texts[0].title, "Process errors");
    EXPECT_EQ(host.texts[0].text, "/gone.kymr-dat\r\n\tThere is no such file.\r\n");
}

TEST_F(BatchDialogTest, AsksBeforeForeignFilesReplaceNativeOnes) {
    MarkOperation dialog;
    Attach(dialog);
    files.Put("/b.edf", EdfBuilder().AddRamp("one", 10).Build());
    const auto before = files.Bytes("/b.kymr-dat");
    host.openFiles = {"/b.edf", "/c.edf"};
    const auto accept = [](Form&) { return true; };
    host.fillForms = {accept, accept};
    host.answer = false;
    EXPECT_FALSE(RunBatch(markOperation, dialog, documents));
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_NE(host.questions[0].text.find("\n/b.kymr-dat\n"), std::string::npos);
    EXPECT_EQ(files.Bytes("/b.kymr-dat"), before);
    EXPECT_FALSE(files.Has("/c.kymr-dat"));
    host.answer = true;
    EXPECT_TRUE(RunBatch(markOperation, dialog, documents));
    EXPECT_EQ(host.LastMessage(), "The batch is done: 2 files processed.");
    EXPECT_EQ(MarkIn("/b.kymr-dat"), 10);
}

TEST_F(BatchDialogTest, ListsOfAllFilesInOneText) {
    ListOperation dialog;
    Attach(dialog);
    windows[0]->AddEvent(0, {1, 2});  // not saved, but seen
    host.openFiles = {"/a.kymr-dat", "/gone.kymr-dat", "/c.edf"};
    host.fillForms = {[](Form&) { return true; },
                      [](Form& form) { return form["results"].choice = 1, true; }};
    const std::string expected =
        "/a.kymr-dat\r\n1 events\r\nfollowed\r\n\r\n/c.edf\r\n0 events\r\nfollowed\r\n";
    ASSERT_TRUE(RunBatch(listOperation, dialog, documents));
    ASSERT_EQ(host.texts.size(), 2u);
    EXPECT_EQ(host.texts[0].title, "List operation");
    EXPECT_EQ(host.texts[0].text, expected);
    EXPECT_EQ(host.texts[1].title, "Process errors");
    EXPECT_FALSE(files.Has("/c.kymr-dat")) << "a list changes no file";

    host.saveFile = "/results.txt";
    ASSERT_TRUE(RunBatch(listOperation, dialog, documents));
    const auto saved = [this] {
        const auto bytes = files.Bytes("/results.txt");
        return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    EXPECT_EQ(saved(), expected);
    host.openFiles = {"/gone.kymr-dat"};
    host.fillForms = {[](Form& form) { return form["results"].choice = 1, true; }};
    ASSERT_TRUE(RunBatch(listOperation, dialog, documents));
    EXPECT_EQ(saved(), expected);
    EXPECT_TRUE(host.texts.back().text.ends_with("Nothing was saved.\r\n"));
}

}  // namespace
}  // namespace kymora::test
