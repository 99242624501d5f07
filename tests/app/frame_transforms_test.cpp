// What becomes of recordings and their windows when a transform has written a file.

#include "app/child_frame.h"
#include "app/frame_fixture.h"
#include "app/operation_windows.h"
#include "catalogue/operations.h"
#include "catalogue/windows/event_base_non_modal_dlg.h"
#include "transforms/unitary_transform.h"

namespace kymora::test {
namespace {

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
        return frame->RunTransform(*FindOperation("CUnitaryTransform"), dialog);
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
    EXPECT_EQ(made.GetNumEvents(3), 1);
    EXPECT_FALSE(made.IsModified());
    EXPECT_FALSE(made.openedReadOnly) << "nobody holds the old file";
    EXPECT_TRUE(host.questions.empty());
    ExpectViewport(*frame->ActiveChild(), 1000.0, 3000.0);
    const OperationWindow* list = frame->OperationDialogs().Find("CEventList");
    ASSERT_NE(list, nullptr) << "it follows to the new window";
    EXPECT_EQ(list->Block().Document(), &made);
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

}  // namespace
}  // namespace kymora::test
