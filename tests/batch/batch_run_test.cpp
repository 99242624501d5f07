// A batch as a window runs it: what is asked, what becomes of files that windows show, what is told.

#include "batch/batch_run.h"

#include <gtest/gtest.h>

#include "batch/operation_tree.h"
#include "detection/event_threshold.h"
#include "document/native_writer.h"
#include "eventanalysis/event_list.h"
#include "host/disk_file_system.h"
#include "host/form.h"
#include "host/memory_file_system.h"
#include "import/formats.h"
#include "import/open_document.h"
#include "support/edf_builder.h"
#include "support/memory_doc.h"
#include "support/native_builder.h"
#include "support/test_host.h"
#include "transforms/interpolate.h"
#include "transforms/unitary_transform.h"

namespace kymora::test {
namespace {

using State = BatchRow::State;

constexpr int detected = 5;

// A window as far as a dialog knows of it.
class StillView : public DocumentView {
  public:
    DisplaySettings GetDisplaySettings() const override { return {}; }
    void OnUpdate(UpdateHint) override {}
};

class BatchRunTest : public ::testing::Test {
  protected:
    void SetUp() override {
        WriteNative("/a.kymr-dat");
        WriteNative("/b.kymr-dat");
        files.Put("/c.edf", EdfBuilder().AddRamp("one", 10).Build());
        documents.replaceShown = [this](CDataDoc& doc, const std::filesystem::path& path) {
            replaced.push_back(doc.filePath.string() + " by " + path.string());
        };
        EXPECT_EQ(detect.Params().Find("onPos")->SetFromText("2"), "");
        detect.m_nDestination = detected;
        list.m_nChannel1 = detected;
    }
    void WriteNative(const std::filesystem::path& path) {
        std::vector<float> samples(1000, 0.0f);
        for (size_t i = 100; i < 1000; i += 100) samples[i] = samples[i + 1] = samples[i + 2] = 9.0f;
        WriteNativeFile(*MemoryDoc::Make(session, {samples}), path);
    }
    CDataDoc& Show(const std::filesystem::path& path) {
        windows.push_back(OpenDocument(session, path));
        return *windows.back();
    }
    // The Batch button of a dialog over the files; the form is accepted as `fill` leaves it.
    std::optional<BatchOrder> Order(CBatchBaseDlg& dialog, std::vector<std::filesystem::path> names,
                                    std::function<void(Form&)> fill = {}) {
        if (!dialog.Document()) {
            dialog.CheckChangeDoc(&Show("/c.edf"));
            dialog.CheckChangeView(&view);
        }
        host.openFiles = std::move(names);
        host.fillForms = {[fill](Form& form) {
            if (fill) fill(form);
            return true;
        }};
        return OrderBatch(documents, *FindOperation(dialog.ClassName()), dialog);
    }
    // Runs to the end; `midway` happens when the first file is done.
    void Run(std::optional<BatchOrder> order, const std::function<void(BatchRun&)>& midway = {}) {
        ASSERT_TRUE(order);
        BatchRun run(std::move(*order), documents);
        bool goesOn = run.Step(0);
        if (midway) midway(run);
        while (goesOn) goesOn = run.Step(0);
        run.Conclude();
        rows = run.Rows();
        errors = run.Errors();
        told = run.DoneText();
        records = run.Records();
    }
    static auto WriteNew() {
        return [](Form& form) { form["writeNew"].flag = true; };
    }
    // -1 where there is no such file.
    int EventsIn(const std::filesystem::path& path) {
        const auto doc = files.Has(path) ? OpenDocument(session, path, OpenFor::reading) : nullptr;
        return doc ? static_cast<int>(doc->GetNumEvents(detected)) : -1;
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
    StillView view;
    CEventThreshold detect;
    CEventList list;
    std::vector<std::string> replaced;
    std::vector<BatchRow> rows;
    std::string errors, told;
    std::vector<std::string> records;
};

TEST_F(BatchRunTest, FailingFilesAreToldAndTheOthersRun) {
    files.Put("/broken.kymr-dat", {std::byte{7}, std::byte{8}});
    NativeRecipe recipe;
    recipe.version = 12;
    files.Put("/old.kymr-dat", BuildNative(recipe).file.data);
    files.Put("/text.txt", {});
    const auto other = OpenDocument(session, "/b.kymr-dat");  // another program, as it were
    Run(Order(detect, {"/missing.kymr-dat", "/broken.kymr-dat", "/text.txt", "/b.kymr-dat", "/old.kymr-dat",
                       "/a.kymr-dat", "/a.kymr-dat"}));
    const struct {
        State state;
        const char* errors;
    } expected[] = {{State::failed, "/missing.kymr-dat\r\n\tThere is no such file.\r\n"},
                    {State::failed, "/broken.kymr-dat\r\n\t"},
                    {State::leftOut, "/text.txt\r\n\tLeft out: a text does not tell"},
                    {State::failed, "/b.kymr-dat\r\n\t"},
                    {State::done, ""},
                    {State::done, ""},
                    {State::leftOut, ""}};
    ASSERT_EQ(rows.size(), std::size(expected));
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].state, expected[i].state) << rows[i].file << rows[i].text;
        EXPECT_NE(errors.find(expected[i].errors), std::string::npos) << errors;
    }
    EXPECT_EQ(EventsIn("/a.kymr-dat"), 9) << "the last one, behind all the others";
    EXPECT_EQ(OpenDocument(session, "/old.kymr-dat")->fileVersion, currentFileVersion);
    ASSERT_EQ(host.texts.size(), 1u);
    EXPECT_EQ(host.texts[0].title, "Process errors");
    EXPECT_EQ(host.texts[0].text, errors);
    EXPECT_EQ(told, "The batch is done: 2 files processed, 3 failed, 2 left out.");
    EXPECT_EQ(records.size(), rows.size());
    EXPECT_NE(host.LogText().find("transforming file number = 5"), std::string::npos);
}

TEST_F(BatchRunTest, CancelLeavesWhatIsDoneAndTheRestAsItWas) {
    Run(Order(detect, {"/a.kymr-dat", "/b.kymr-dat"}), [](BatchRun& run) { run.Cancel(); });
    EXPECT_EQ(EventsIn("/a.kymr-dat"), 9);
    EXPECT_EQ(EventsIn("/b.kymr-dat"), 0);
    EXPECT_EQ(rows[1].state, State::cancelled);
    EXPECT_EQ(errors, "The batch was cancelled. 1 of 2 files were processed.\r\n");
}

TEST_F(BatchRunTest, FilesThatWindowsShow) {
    const auto edit = [](CDataDoc& doc) {
        doc.AddEvent(0, {1, 2});
        doc.SetModifiedFlag();
    };
    const struct {
        const char* what;
        const char* shown;
        bool writeNew, isEdited, isEditedMeanwhile;
        std::function<void()> before;
        State state;
        const char *target, *replaced, *told;
    } cases[] = {
        {"saved",
         "/a.kymr-dat",
         false,
         false,
         false,
         {},
         State::done,
         "/a.kymr-dat",
         "/a.kymr-dat by /a.kymr-dat",
         ""},
        {"unsaved",
         "/a.kymr-dat",
         false,
         true,
         false,
         {},
         State::leftOut,
         nullptr,
         nullptr,
         "has unsaved changes in its window. Save it or close it"},
        {"edited meanwhile",
         "/a.kymr-dat",
         false,
         false,
         true,
         {},
         State::done,
         "/a.kymr-dat",
         nullptr,
         "while the batch worked on it"},
        {"changed outside", "/a.kymr-dat", false, false, false,
         [this] { WriteNative("/x.kymr-dat"), files.Rename("/x.kymr-dat", "/a.kymr-dat"); }, State::leftOut,
         nullptr, nullptr, "changed by another program"},
        {"beside, unsaved",
         "/a.kymr-dat",
         true,
         true,
         false,
         {},
         State::done,
         "/a_tr.kymr-dat",
         nullptr,
         "They are not in the result"},
        {"target shown",
         "/a_tr.kymr-dat",
         true,
         false,
         false,
         {},
         State::leftOut,
         nullptr,
         nullptr,
         "a_tr.kymr-dat is open in a window"},
        {"foreign",
         "/d.edf",
         false,
         false,
         false,
         {},
         State::done,
         "/d.kymr-dat",
         "/d.edf by /d.kymr-dat",
         ""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        windows.clear();
        replaced.clear();
        detect.CheckChangeDoc(nullptr);
        WriteNative("/a.kymr-dat");
        WriteNative("/a_tr.kymr-dat");
        files.Put("/d.edf", EdfBuilder().AddRamp("one", 10).Build());
        CDataDoc& doc = Show(one.shown);
        if (one.isEdited) edit(doc);
        if (one.before) one.before();
        const std::string file = one.shown == std::string("/d.edf") ? "/d.edf" : "/a.kymr-dat";
        Run(Order(detect, {file}, one.writeNew ? WriteNew() : std::function<void(Form&)>()), [&](BatchRun&) {
            if (one.isEditedMeanwhile) edit(doc);
        });
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].state, one.state) << errors;
        const int events = file == "/d.edf" ? 0 : 9;  // or the result is not there
        EXPECT_EQ(one.target ? EventsIn(one.target) : events, events);
        EXPECT_EQ(replaced,
                  one.replaced ? std::vector<std::string>{one.replaced} : std::vector<std::string>());
        EXPECT_EQ(errors.empty(), !*one.told) << errors;
        EXPECT_NE(errors.find(one.told), std::string::npos) << errors;
    }
}

// The same by processes, each with files of its own.
TEST_F(BatchRunTest, WorkersAreProcesses) {
    DiskFileSystem disk;
    Session real(host, disk);
    real.program = KYMORA_PROGRAM;
    BatchDocuments none(real, [] { return std::vector<CDataDoc*>(); });
    const auto folder = std::filesystem::temp_directory_path() / "kymora-batch-run";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    BatchOrder order;
    auto item = std::make_unique<CEventThreshold>();
    item->TakeSettings(detect.Settings());
    order.list.Add(std::move(item));
    std::vector<std::filesystem::path> names;
    for (const char* name : {"a.kymr-dat", "b.kymr-dat", "gone.kymr-dat", "c.kymr-dat"}) {
        names.push_back(folder / name);
        if (names.size() == 3) continue;
        const auto copy = files.Bytes("/a.kymr-dat");
        disk.Open(names.back(), OpenMode::createNew)->WriteAt(0, copy);
    }
    order.plan = PlanChain(disk, order.list, names);
    BatchRun run(std::move(order), none);
    while (run.Step(100)) {
    }
    run.Conclude();
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(run.Rows()[i].state, i == 2 ? State::failed : State::done) << run.Errors();
        if (i == 2) continue;
        EXPECT_EQ(OpenDocument(real, names[i], OpenFor::reading)->GetNumEvents(detected), 9);
    }
    std::filesystem::remove_all(folder);
}

// --- what is asked ---

TEST_F(BatchRunTest, WhatEndsABatchBeforeItBegins) {
    EXPECT_FALSE(OrderBatch(documents, *FindOperation("CEventThreshold"), detect));
    EXPECT_EQ(host.LastMessage(), "No active view or document");
    EXPECT_FALSE(Order(detect, {})) << "no file was chosen";
    EXPECT_EQ(host.fileRequests.back().filter, OpenFilter());
    EXPECT_FALSE(OrderListBatch(documents, {}, "empty"));

    WriteNative("/c.kymr-dat");
    files.Put("/a.edf", EdfBuilder().AddRamp("one", 10).Build());
    host.nextAnswers = {false};
    EXPECT_FALSE(Order(detect, {"/a.edf", "/a.kymr-dat"}));
    EXPECT_NE(
        host.questions.back().text.find("a.edf: Left out: a.kymr-dat goes to the same file a.kymr-dat."),
        std::string::npos)
        << host.questions.back().text;
    host.nextAnswers = {false};
    EXPECT_FALSE(Order(detect, {"/a.edf", "/c.edf"}));
    EXPECT_NE(host.questions.back().text.find("will be replaced:\n/a.kymr-dat\n/c.kymr-dat\n"),
              std::string::npos)
        << host.questions.back().text;
    EXPECT_TRUE(Order(detect, {"/a.edf", "/c.edf"}, WriteNew()));
}

TEST_F(BatchRunTest, ATransformAsksForFilesAlone) {
    CUnitaryTransform dialog;
    dialog.m_bNewFile = true;
    host.openFiles = {"/a.kymr-dat"};
    Run(OrderTransformBatch(documents, *FindOperation("CUnitaryTransform"), dialog));
    EXPECT_TRUE(host.forms.empty());
    EXPECT_TRUE(files.Has("/a_tr.kymr-dat")) << errors;
}

TEST_F(BatchRunTest, OneIntermediateFileIsForOneRecording) {
    CInterpolate dialog;
    dialog.m_bNewFile = true;
    dialog.m_strIntermediateFile = "/zeros";
    host.openFiles = {"/a.kymr-dat", "/b.kymr-dat"};
    EXPECT_FALSE(OrderTransformBatch(documents, *FindOperation("CInterpolate"), dialog));
    EXPECT_EQ(
        host.LastMessage(),
        "Increase frequency: Keep as: /zeros.kymr-dat can hold the intermediate file of one recording only. "
        "Leave the name empty, or increase one recording at a time.");
    host.openFiles = {"/a.kymr-dat"};
    EXPECT_TRUE(OrderTransformBatch(documents, *FindOperation("CInterpolate"), dialog));
}

TEST_F(BatchRunTest, WhatIsListedIsShownOrSaved) {
    for (const char* path : {"/a.kymr-dat", "/b.kymr-dat"}) {
        const auto doc = OpenDocument(session, path);
        doc->AddEvent(detected, {1, 2});
        ASSERT_TRUE(doc->OnSaveDocument());
    }
    const std::vector<std::filesystem::path> names{"/a.kymr-dat", "/gone.kymr-dat", "/b.kymr-dat"};
    Run(Order(list, names));
    ASSERT_EQ(host.texts.size(), 2u);
    EXPECT_EQ(host.texts[0].title, list.Title());
    const std::string text = host.texts[0].text;
    EXPECT_EQ(text.find("/a.kymr-dat\r\nEvent parameters"), 0u) << text;
    EXPECT_NE(text.find("\r\n\r\n/b.kymr-dat\r\nEvent parameters"), std::string::npos);
    EXPECT_EQ(text.find("gone"), std::string::npos);
    const auto toFile = [](Form& form) { form["results"].choice = 1; };
    host.saveFile = "/results.txt";
    Run(Order(list, names, toFile));
    const auto saved = [this] {
        const auto bytes = files.Bytes("/results.txt");
        return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    };
    EXPECT_EQ(saved(), text);
    EXPECT_NE(told.find("The results are in /results.txt."), std::string::npos);
    Run(Order(list, {"/gone.kymr-dat"}, toFile));
    EXPECT_EQ(saved(), text);
    EXPECT_TRUE(errors.ends_with("Nothing was saved.\r\n"));
}

// --- the tree ---

// Each head with what stands under it.
void Tell(const OperationNode& node, const std::string& above, std::map<std::string, std::string>& heads) {
    const std::string path = above.empty() ? node.label : above + "/" + node.label;
    for (const OperationNode& child : node.children) {
        if (child.operation)
            heads[path] += child.label + ";";
        else
            Tell(child, path, heads);
    }
}

TEST(OperationTreeTest, HeadsHoldWhatCanBeMade) {
    std::map<std::string, std::string> heads;
    Tell(OperationTree(), {}, heads);
    for (const auto& [head, leaf] : {std::pair{"Operations/Trace transform", "Derivative;"},
                                     {"Operations/Trace transform/Filter", "Moving median;"},
                                     {"Operations/Trace transform/Normalize", "Normalize;"},
                                     {"Operations/Trace transform/Local energy", "Local energy;"},
                                     {"Operations/Event detection", "Threshold Event;"},
                                     {"Operations/Lists and statistics", "Event histogram;"}})
        EXPECT_NE(heads[head].find(leaf), std::string::npos) << head << ": " << heads[head];
    for (const auto& [head, leaves] : heads) {
        EXPECT_FALSE(leaves.empty()) << head;
        EXPECT_EQ(leaves.find("Histogram of numbers"), std::string::npos) << "it works on no recording";
    }
    const bool hasLogic = FindOperation("CEventLogic") != nullptr;
    EXPECT_EQ(heads["Operations/Event edit/Logical operations"],
              hasLogic ? "AND;XOR;EQUALS;NOT;AND_NOT;" : "");
}

}  // namespace
}  // namespace kymora::test
