// What becomes of recordings and their windows when a transform has written a file.

#include <fmt/format.h>

#include "app/child_frame.h"
#include "app/frame_fixture.h"
#include "app/operation_windows.h"
#include "catalogue/operations.h"
#include "catalogue/windows/event_base_non_modal_dlg.h"
#include "support/edf_builder.h"
#include "transforms/change_timebase.h"
#include "transforms/reduce.h"
#include "transforms/unitary_transform.h"

namespace kymora::test {
namespace {

// The files but for those of steps.
size_t CountRecordings(MemoryFileSystem& files) {
    const auto there = files.List("/");
    return static_cast<size_t>(std::ranges::count_if(
        there, [](const std::filesystem::path& path) { return path.extension() != ".steps"; }));
}

class FrameTransformsTest : public FrameTest {
  protected:
    // Doubles trace 1.
    bool Double(CDataDoc& doc, bool newFile = false, bool batch = false) {
        CUnitaryTransform dialog;
        dialog.CheckChangeDoc(&doc);
        dialog.m_nAddMode = CTransformTraceDlg::replaceTraces;
        dialog.m_bNewFile = newFile;
        dialog.m_bBatch = batch;
        EXPECT_EQ(dialog.Params().Find("order")->SetFromText("2 0 0"), "");
        EXPECT_EQ(dialog.Params().Find("scale")->SetFromText("2"), "");
        return frame->RunTransform(*FindOperation("CUnitaryTransform"), dialog) &&
               QTest::qWaitFor([this] { return frame->RunningBatch() == nullptr; });
    }
    CDataDoc* Shown(const std::filesystem::path& path) {
        for (CDataDoc* doc : frame->Documents())
            if (doc->filePath == path) return doc;
        return nullptr;
    }
    // The first sample of trace 1, which is -500 at first.
    static double FirstOf(CDataDoc& doc) {
        uint8_t valid = 0;
        return doc.ReadAt(0, 0, valid);
    }
};

TEST_F(FrameTransformsTest, InPlaceTheRecordingIsReplacedWithItsUnsavedChanges) {
    CChildFrame& child = OpenOne();
    child.Document().AddEvent(3, {10, 20});
    child.Document().SetModifiedFlag();
    frame->OperationDialogs().Open({FindOperation("CEventList"), nullptr});
    ASSERT_TRUE(Double(child.Document()));
    ASSERT_EQ(frame->Documents().size(), 1u);
    CDataDoc& made = *frame->Documents()[0];
    EXPECT_EQ(FirstOf(made), -1000.0);
    made.operationsAtWork = 1;
    EXPECT_FALSE(made.Undo().Undo()) << "not from under an operation";
    EXPECT_THROW(Double(made), std::runtime_error);
    EXPECT_EQ(host.LastMessage(), operationAtWorkText);
    made.operationsAtWork = 0;
    EXPECT_EQ(made.GetNumEvents(3), 1);
    EXPECT_FALSE(made.IsModified());
    EXPECT_FALSE(made.openedReadOnly) << "nobody holds the old file";
    EXPECT_TRUE(host.questions.empty());
    ExpectViewport(*frame->ActiveChild(), 1000.0, 3000.0);
    const OperationWindow* list = frame->OperationDialogs().Find("CEventList");
    ASSERT_NE(list, nullptr) << "it follows to the new window";
    EXPECT_EQ(list->Block().Document(), &made);
}

// An operation on events that also makes traces goes the way of a transform, and its window goes on.
TEST_F(FrameTransformsTest, DiagnosticTracesReplaceTheRecordingAndUndoTakesThemAway) {
    CDataDoc& before = OpenOne().Document();
    frame->OperationDialogs().Open({FindOperation("CPatternRecognition"), nullptr});
    OperationWindow* window = frame->OperationDialogs().Find("CPatternRecognition");
    ASSERT_NE(window, nullptr);
    ParamList params = window->Block().Params();
    for (const auto& [key, value] : std::map<std::string, std::string>{{"templateStart", "1980"},
                                                                       {"templateEnd", "2020"},
                                                                       {"allowedError", "2"},
                                                                       {"destination", "c"},
                                                                       {"addErrorTrace", "1"}})
        ASSERT_EQ(params.Find(key)->SetFromText(value), "");
    ASSERT_TRUE(window->Run()) << host.LastMessage();
    CDataDoc& made = *frame->Documents().at(0);
    ASSERT_NE(&made, &before);
    EXPECT_EQ(made.traceCount, 3);
    EXPECT_EQ(made.traces[2].traceLabel, "goodness-of-fit");
    EXPECT_EQ(made.GetNumEvents(2), 99);
    EXPECT_EQ(window->Block().Document(), &made);
    EXPECT_FALSE(window->Block().Results().empty()) << "what was found holds for the new recording";
    EXPECT_LT(made.eventChannels[2].GetDisplayPosition(),
              1.0 - double{frame->ActiveChild()->View().m_fDataArea})
        << "the new row stands above the traces";
    ASSERT_TRUE(made.Undo().Undo());
    EXPECT_EQ(frame->Documents().at(0)->traceCount, 2);
}

TEST_F(FrameTransformsTest, ANewFileTakesTheSourcesPlaceUnlessItsChangesAreWanted) {
    CDataDoc& source = OpenOne().Document();
    host.saveFile = std::nullopt;
    EXPECT_FALSE(Double(source, true)) << "no name was given";
    EXPECT_EQ(host.fileRequests.back().title, "Save transformed file as ...");
    host.saveFile = "/new.kymr-dat";
    source.SetModifiedFlag();
    host.answer = false;
    ASSERT_TRUE(Double(source, true));
    EXPECT_EQ(frame->Documents().size(), 2u);
    EXPECT_EQ(FirstOf(*Shown("/new.kymr-dat")), -1000.0);
    EXPECT_EQ(FirstOf(source), -500.0);

    host.saveFile = "/new.kymr-dat";
    EXPECT_FALSE(Double(source, true));
    EXPECT_EQ(host.messages.back().text, "The file /new.kymr-dat is open. Choose another name.");
    host.saveFile = "/other.kymr-dat";
    source.SetModifiedFlag(false);
    ASSERT_TRUE(Double(source, true));
    EXPECT_EQ(Shown("/one.kymr-dat"), nullptr);
    EXPECT_NE(Shown("/other.kymr-dat"), nullptr);
    EXPECT_EQ(FirstOf(frame->OpenFile("/one.kymr-dat")->Document()), -500.0);
}

TEST_F(FrameTransformsTest, ABatchReplacesOpenEntriesAndLeavesUnsavedOnes) {
    CDataDoc& one = OpenOne().Document();
    CDataDoc& two = frame->OpenFile("/two.kymr-dat")->Document();
    two.SetModifiedFlag();
    WriteRecording("/three.kymr-dat");
    host.openFiles = {"/one.kymr-dat", "/two.kymr-dat", "/three.kymr-dat"};
    ASSERT_TRUE(Double(one, false, true));
    EXPECT_EQ(FirstOf(*Shown("/one.kymr-dat")), -1000.0);
    EXPECT_EQ(Shown("/two.kymr-dat"), &two);
    EXPECT_EQ(FirstOf(two), -500.0);
    EXPECT_EQ(Shown("/three.kymr-dat"), nullptr);
    EXPECT_EQ(FirstOf(frame->OpenFile("/three.kymr-dat")->Document()), -1000.0);
    ASSERT_EQ(host.texts.size(), 1u);
    EXPECT_EQ(host.texts[0].title, "Process errors");
    EXPECT_NE(host.texts[0].text.find("/two.kymr-dat\r\n\tThis file has unsaved changes"), std::string::npos);
}

// --- undo ---

class UndoTransformTest : public FrameTransformsTest {
  protected:
    CDataDoc& Active() { return frame->ActiveChild()->Document(); }
    bool Run(const char* id) {
        const bool done = frame->RunCommandById(id);
        QApplication::processEvents();
        return done;
    }
    void AddEvent(int channel) {
        UndoScope edit(Active(), "Add event");
        edit.AddEvent(channel, {10, 20});
    }
    std::vector<std::byte> One() { return files.Bytes("/one.kymr-dat"); }
};

TEST_F(UndoTransformTest, GoesThroughTransformsAndWhatWasDoneBetweenThem) {
    OpenOne();
    const auto raw = One();
    AddEvent(3);
    const bool hadGrid = frame->ActiveChild()->View().m_bShowGrid;
    frame->ActiveChild()->View().Set(&ViewSettings::m_bShowGrid, !hadGrid, "Show grid");
    ASSERT_TRUE(Double(Active()));
    const auto doubled = One();
    AddEvent(4);
    ASSERT_TRUE(Double(Active()));
    AddEvent(5);
    EXPECT_EQ(FirstOf(Active()), -2000.0);

    const struct {
        const char* name;  // of the step that is taken back
        double first;
        std::array<int, 3> events;  // of channels 3 to 5, behind it
        bool isModified;
    } steps[] = {
        {"Add event", -2000.0, {1, 1, 0}, false}, {"Unitary arithmetic", -1000.0, {1, 1, 0}, true},
        {"Add event", -1000.0, {1, 0, 0}, false}, {"Unitary arithmetic", -500.0, {1, 0, 0}, true},
        {"Show grid", -500.0, {1, 0, 0}, true},   {"Add event", -500.0, {0, 0, 0}, false},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        EXPECT_EQ(Active().Undo().UndoName(), step.name);
        ASSERT_TRUE(Run("undo"));
        EXPECT_EQ(FirstOf(Active()), step.first);
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(Active().GetNumEvents(3 + c), step.events[static_cast<size_t>(c)]);
        EXPECT_EQ(Active().IsModified(), step.isModified);
    }
    EXPECT_FALSE(Run("undo"));
    EXPECT_EQ(One(), raw) << "the file is the one from before, unsaved changes left out";
    EXPECT_EQ(frame->ActiveChild()->View().m_bShowGrid, hadGrid);
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(Run("redo")) << i;
    EXPECT_FALSE(Run("redo"));
    EXPECT_EQ(FirstOf(Active()), -2000.0);
    EXPECT_EQ(Active().GetNumEvents(5), 1);

    // A change between them forgets what lay behind.
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(Run("undo"));
    EXPECT_EQ(One(), doubled);
    AddEvent(6);
    EXPECT_FALSE(Active().Undo().CanRedo());
    EXPECT_EQ(CountRecordings(files), 3u) << "both recordings, and one from before";
    ASSERT_TRUE(frame->RunCommandById("file-save"));
    frame->ActiveChild()->CloseAtOnce();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(CountRecordings(files), 2u);
    EXPECT_EQ(frame->OpenFile("/one.kymr-dat")->Document().GetNumEvents(6), 1);
}

TEST_F(UndoTransformTest, AllWindowsFollowAndStayWhereTheyAre) {
    OpenOne();
    frame->OnWindowNew();
    const auto before = frame->Children();
    before[0]->View().ChangeViewport({5000.0, 6000.0});
    const QRect place = before[0]->geometry();
    ASSERT_TRUE(Double(Active()));
    before[0]->View().ChangeViewport({7000.0, 8000.0});
    delete before[1];
    ASSERT_TRUE(Run("undo"));
    ASSERT_EQ(frame->Children().size(), 1u);
    EXPECT_EQ(frame->Children()[0], before[0]);
    EXPECT_EQ(before[0]->geometry(), place);
    EXPECT_TRUE(before[0]->Widget().isVisible());
    ExpectViewport(*before[0], 7000.0, 8000.0);
    frame->OnWindowNew();
    ASSERT_TRUE(Run("redo"));
    EXPECT_EQ(frame->Documents().size(), 1u);
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_EQ(FirstOf(Active()), -1000.0);
    // By the key, which is under way in the widget that goes.
    ViewWidget& widget = frame->ActiveChild()->Widget();
    QTest::keyClick(&widget, Qt::Key_Z, Qt::ControlModifier);
    QApplication::processEvents();
    EXPECT_EQ(FirstOf(Active()), -500.0);
}

// A window goes on to show the samples that it showed where the whole recording has another timebase, and the
// times where the samples become fewer.
TEST_F(UndoTransformTest, AWindowStaysAtItsSamplesOrItsTimes) {
    CChildFrame& child = OpenOne();
    const auto run = [&](CTransformDlg& dialog, const char* key, const char* value) {
        dialog.CheckChangeDoc(&child.Document());
        EXPECT_EQ(dialog.Params().Find(key)->SetFromText(value), "");
        EXPECT_TRUE(frame->RunTransform(*FindOperation(dialog.ClassName()), dialog)) << host.LastMessage();
    };
    const double interval = child.Document().sampleInterval;
    CDatumLines& cursors = child.View().DatumLines();
    cursors.AddVertLineAt((child.View().Plot().layout.plot.left + child.View().Plot().layout.plot.right) /
                          2.0);
    CChangeTimebase timebase;
    run(timebase, "newSampleInterval", fmt::format("{}", interval * 10.0).c_str());
    ExpectViewport(child, 10000.0, 30000.0);
    EXPECT_EQ(child.View().DatumLines().VertCount(), 1) << "so do cursors";
    EXPECT_NEAR(child.View().GetCursorTimes()[0], 20000.0, 50.0);
    CReduce reduce;
    run(reduce, "frequencyDivisorFactor", "4");
    EXPECT_DOUBLE_EQ(child.Document().sampleInterval, interval * 40.0);
    ExpectViewport(child, 10000.0, 30000.0);
    child.Document().Undo().Undo();
    ExpectViewport(child, 10000.0, 30000.0);
    child.Document().Undo().Undo();
    EXPECT_DOUBLE_EQ(child.Document().sampleInterval, interval);
    ExpectViewport(child, 1000.0, 3000.0);
    child.Document().Undo().Redo();
    ExpectViewport(child, 10000.0, 30000.0);
}

TEST_F(UndoTransformTest, ATransformForgetsWhatWasTakenBack) {
    OpenOne();
    ASSERT_TRUE(Double(Active()));
    ASSERT_TRUE(Run("undo"));
    AddEvent(3);
    ASSERT_TRUE(Run("undo"));
    ASSERT_TRUE(Double(Active()));
    EXPECT_FALSE(Active().Undo().CanRedo());
    EXPECT_EQ(CountRecordings(files), 3u);
    ASSERT_TRUE(Run("undo"));
    EXPECT_EQ(Active().Undo().RedoName(), "Unitary arithmetic");
    ASSERT_TRUE(Run("redo"));
    EXPECT_EQ(FirstOf(Active()), -1000.0);
    EXPECT_EQ(Active().GetNumEvents(3), 0);
}

TEST_F(UndoTransformTest, WhereTheFileCannotBeKeptTheUserIsAskedFirst) {
    OpenOne();
    ASSERT_TRUE(Double(Active()));
    const auto doubled = One();
    files.hasLinks = false;
    host.answer = false;
    EXPECT_FALSE(Double(Active()));
    EXPECT_EQ(One(), doubled);
    EXPECT_NE(host.questions.back().text.find("/one.kymr-dat is replaced for good"), std::string::npos);
    host.answer = true;
    ASSERT_TRUE(Double(Active()));
    EXPECT_EQ(FirstOf(Active()), -2000.0);
    // The version from before the first one is still kept.
    files.hasLinks = true;
    EXPECT_EQ(Active().Undo().UndoName(), "Unitary arithmetic and what followed");
    ASSERT_TRUE(Run("undo"));
    EXPECT_EQ(FirstOf(Active()), -500.0);
}

TEST_F(UndoTransformTest, NothingIsUndoneOverAnotherProgramsVersion) {
    OpenOne();
    ASSERT_TRUE(Double(Active()));
    WriteRecording("/one.kymr-dat");
    const auto theirs = One();
    ASSERT_TRUE(Run("undo"));
    EXPECT_NE(host.LastMessage().find("was changed by another program"), std::string::npos);
    EXPECT_EQ(One(), theirs);
    EXPECT_EQ(FirstOf(Active()), -1000.0);
}

TEST_F(UndoTransformTest, ABatchKeepsNothing) {
    OpenOne();
    host.openFiles = {"/one.kymr-dat"};
    ASSERT_TRUE(Double(Active(), false, true));
    EXPECT_FALSE(Active().Undo().CanUndo());
    EXPECT_EQ(CountRecordings(files), 2u);
}

TEST_F(UndoTransformTest, SaveAsOffersToPutTheFileBack) {
    const auto raw = One();
    for (const bool putsBack : {true, false}) {
        SCOPED_TRACE(putsBack);
        frame->OpenFile("/one.kymr-dat");
        ASSERT_TRUE(Double(Active()));
        ASSERT_TRUE(Double(Active()));
        const auto last = One();
        host.answer = putsBack;
        host.saveFile = putsBack ? "/put.kymr-dat" : "/left.kymr-dat";
        ASSERT_TRUE(frame->OnFileSaveAs());
        EXPECT_EQ(One(), putsBack ? raw : last);
        EXPECT_EQ(FirstOf(Active()), -2000.0);
    }
    EXPECT_EQ(CountRecordings(files), 4u);
}

TEST_F(UndoTransformTest, WhatAKilledProgramHasKeptCanBeUndone) {
    const auto raw = One();
    OpenOne();
    ASSERT_TRUE(Double(Active()));
    ASSERT_TRUE(Double(Active()));
    // The disk as the kill leaves it.
    MemoryFileSystem disk;
    for (const auto& path : files.List("/")) disk.Put(path, files.Bytes(path));
    Session next(host, disk);
    next.skipFileDetails = true;
    CMainFrame started(next, nullptr);
    CChildFrame* child = started.OpenFile("/one.kymr-dat");
    ASSERT_NE(child, nullptr);
    EXPECT_NE(host.LastMessage().find("one.kymr-dat.before-transform-02"), std::string::npos);
    for (const double first : {-1000.0, -500.0}) {
        ASSERT_TRUE(started.RunCommandById("undo"));
        EXPECT_EQ(FirstOf(child->Document()), first);
    }
    EXPECT_EQ(disk.Bytes("/one.kymr-dat"), raw);
    child->CloseAtOnce();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(CountRecordings(disk), 2u);
}

TEST_F(UndoTransformTest, AForeignRecordingComesBackInPlaceOfItsNativeFile) {
    for (const bool existed : {false, true}) {
        SCOPED_TRACE(existed);
        files.Put("/eeg.edf", EdfBuilder().AddRamp("EEG", 500).Build());
        if (existed) WriteRecording("/eeg.kymr-dat");
        const auto old = existed ? files.Bytes("/eeg.kymr-dat") : std::vector<std::byte>();
        ASSERT_NE(frame->OpenFile("/eeg.edf"), nullptr);
        AddEvent(3);
        ASSERT_TRUE(Double(Active()));
        EXPECT_EQ(Active().filePath, "/eeg.kymr-dat");
        const auto made = files.Bytes("/eeg.kymr-dat");
        ASSERT_TRUE(Run("undo"));
        EXPECT_EQ(Active().filePath, "/eeg.edf");
        EXPECT_EQ(Active().GetNumEvents(3), 1);
        EXPECT_EQ(files.Has("/eeg.kymr-dat"), existed);
        if (existed) {
            EXPECT_EQ(files.Bytes("/eeg.kymr-dat"), old);
        }
        ASSERT_TRUE(Run("redo"));
        EXPECT_EQ(files.Bytes("/eeg.kymr-dat"), made);
        frame->ActiveChild()->CloseAtOnce();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_EQ(CountRecordings(files), 4u);
    }
}

}  // namespace
}  // namespace kymora::test
