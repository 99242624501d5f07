#include "document/metadata_io.h"
#include "document/side_car.h"
#include "support/session_fixture.h"

namespace kymora {
namespace {

using test::MemoryDoc;

struct DataDoc : test::SessionTest {};

TEST_F(DataDoc, DefaultsOfAModel) {
    // The sum by hand: ten steps of 1/18, eight of 1/30, eight of 1/50.
    EXPECT_NEAR(CDataDoc::DefaultDisplayPosition(0), 1.0 / 18, 1e-12);
    EXPECT_NEAR(CDataDoc::DefaultDisplayPosition(9), 10.0 / 18, 1e-12);
    EXPECT_NEAR(CDataDoc::DefaultDisplayPosition(17), 10.0 / 18 + 8.0 / 30, 1e-12);
    EXPECT_NEAR(CDataDoc::DefaultDisplayPosition(25), 10.0 / 18 + 8.0 / 30 + 0.16, 1e-12);
    EXPECT_EQ(CDataDoc::DefaultDisplayPosition(26), 0.5);
    EXPECT_EQ(MemoryDoc::Make(session, {{1.0f}})->GetEndTime(), 0.0);
}

TEST_F(DataDoc, TracesMoveWithAllThatIsTheirs) {
    const auto doc = MemoryDoc::Make(session, {{1}, {2}, {3}});
    for (int t = 0; t < maxTraces; ++t) doc->traces[static_cast<size_t>(t)].traceLabel = std::to_string(t);
    doc->traceAnnotations[1].push_back({});
    doc->InsertTrace(1);
    EXPECT_EQ(doc->traces[2].traceLabel, "1");
    EXPECT_EQ(doc->traces[2].traceOrder, 2);
    EXPECT_EQ(doc->traces[127].traceLabel, "126");
    EXPECT_EQ(doc->traces[0].traceOrder, 0);
    EXPECT_EQ(doc->traceAnnotations[1].size(), 0u);
    EXPECT_EQ(doc->traceAnnotations[2].size(), 1u);
    doc->traceAnnotations[127].push_back({});
    doc->DeleteTrace(1);
    EXPECT_EQ(doc->traceAnnotations[1].size(), 1u);
    EXPECT_EQ(doc->traceAnnotations[126].size(), 1u);
    EXPECT_EQ(doc->traceAnnotations[127].size(), 0u);
    doc->DeleteTrace(127);
    EXPECT_EQ(doc->traceAnnotations[127].size(), 0u);
}

TEST_F(DataDoc, AGrowingRecordingLengthensEveryTrace) {
    const auto doc = MemoryDoc::MakeWithRuns(session, {{1, 2, 3}, {4, 5}}, {{3}, {2}});
    doc->ExtendLength(4);
    EXPECT_EQ(doc->GetLength(), 7);
    EXPECT_EQ(doc->GetTraceLength(1), 7);
    EXPECT_FALSE(doc->hasGaps);
}

TEST_F(DataDoc, MarkersStandInOrderAndEqualOnesAsTheyCame) {
    const auto doc = MemoryDoc::Make(session, {{1}});
    for (const auto& [time, label] :
         std::vector<std::pair<double, std::string>>{{5, "a"}, {1, "b"}, {5, "c"}, {3, "d"}})
        doc->InsertMarker({time, label});
    std::string labels;
    for (const CMarker& m : doc->markers) labels += m.m_strLabel;
    EXPECT_EQ(labels, "bdac");
}

TEST_F(DataDoc, ClosingAsksOnlyAboutChanges) {
    const auto doc = MemoryDoc::Make(session, {{1}});
    EXPECT_TRUE(doc->SaveModified());
    EXPECT_TRUE(host.questions.empty());
    doc->SetModifiedFlag();
    host.answer = false;
    EXPECT_FALSE(doc->SaveModified());
    EXPECT_EQ(host.questions.size(), 1u);
}

TEST_F(DataDoc, HistoryEntries) {
    // A Sunday, noon being far from any zone's midnight.
    session.now = [] { return std::time_t{86400 * 3 + 43200}; };
    const auto doc = MemoryDoc::Make(session, {{1}});
    doc->AppendSaveAsHistory();
    EXPECT_EQ(doc->historyLog, "Sunday, January 04, 1970\r\n: File: Save As\r\n\r\n");
    doc->historyLog.clear();
    doc->AppendNewRecordHistory("File: New: User defined\r\n\r\n");
    EXPECT_EQ(doc->historyLog.find("START\r\nSunday, January 04, 1970, "), 0u);
}

// A view's state is copied at a save; without a view only the log hears of it.
TEST_F(DataDoc, DisplaySettingsComeFromTheFirstView) {
    struct View : DocumentView {
        DisplaySettings GetDisplaySettings() const override {
            DisplaySettings s;
            s.view.viewStart = 7;
            s.traces = {{1, 9.0, 8.0, 3}};
            return s;
        }
        void OnUpdate(UpdateHint) override { ++updates; }
        int updates = 0;
    } view;
    const auto doc = MemoryDoc::Make(session, {{1}});
    doc->GetDisplaySettingsFromView();
    EXPECT_EQ(host.log.size(), 1u);
    doc->GetDisplaySettingsFromView(true);
    EXPECT_EQ(host.messages.size(), 1u);
    doc->AddView(view);
    doc->GetDisplaySettingsFromView();
    EXPECT_EQ(doc->view.viewStart, 7);
    EXPECT_EQ(doc->traces[0].axisTop, 9.0);
    EXPECT_EQ(doc->traces[0].traceOrder, 3);
    doc->UpdateAllViews(UpdateHint::events);
    doc->RemoveView(view);
    doc->UpdateAllViews(UpdateHint::events);
    EXPECT_EQ(view.updates, 1);
}

// --- side-cars ---

struct SideCar : DataDoc {
    std::unique_ptr<MemoryDoc> Foreign() {
        auto doc = MemoryDoc::Make(session, {{1, 2, 3}, {4, 5, 6}});
        doc->filePath = "/data/rec.edf";
        return doc;
    }
};

TEST_F(SideCar, ComesBackWhole) {
    auto doc = Foreign();
    EXPECT_EQ(ReadSideCar(*doc), SideCarResult::none);
    doc->fileComment = "c";
    doc->historyLog = "h";
    doc->traces[1].traceGain = 4.0;
    doc->traces[1].axisLabel = "EMG";
    doc->grid.gridSpareB = 3;
    doc->view.showGrid = 0;
    doc->view.expandContractFocus = 0;
    doc->AddEvent(998, {1, 2, 3.0f, 4, 5, "six"});
    doc->InsertMarker({1.5, "m"});
    doc->scaleBars[0].single = {0.1f, 0.2f, 3, 4.0f};
    ASSERT_TRUE(WriteSideCar(*doc));
    ASSERT_TRUE(files.Has("/data/rec.kymr-hdr"));
    EXPECT_EQ(files.Count(), 1u);

    const auto again = Foreign();
    again->episodic = true;
    ASSERT_EQ(ReadSideCar(*again), SideCarResult::read);
    EXPECT_EQ(again->fileComment, "c");
    EXPECT_EQ(again->historyLog, "h");
    EXPECT_EQ(again->traces[1].traceGain, 4.0);
    EXPECT_EQ(again->traces[1].axisLabel, "EMG");
    EXPECT_EQ(again->grid, doc->grid);
    EXPECT_EQ(again->view, doc->view);
    EXPECT_EQ(again->eventChannels[998].Events(), doc->eventChannels[998].Events());
    EXPECT_EQ(again->markers, doc->markers);
    EXPECT_EQ(again->scaleBars, doc->scaleBars);
    EXPECT_TRUE(again->episodic) << "not in a side-car";
    float half[1];
    again->ReadBlock(1, 2, half);
    EXPECT_EQ(half[0], 1.5f);

    // The older extension serves where the newer is absent.
    files.Put("/data/rec.kym", files.Bytes("/data/rec.kymr-hdr"));
    files.Remove("/data/rec.kymr-hdr");
    EXPECT_EQ(ReadSideCar(*Foreign()), SideCarResult::read);
}

TEST_F(SideCar, DamageIsToldAndNotOverwritten) {
    auto doc = Foreign();
    doc->fileComment = "precious";
    ASSERT_TRUE(WriteSideCar(*doc));
    auto bytes = files.Bytes("/data/rec.kymr-hdr");
    for (size_t cut = 0; cut < bytes.size(); cut += cut < 100 ? 1 : 479) {
        files.Put("/data/rec.kymr-hdr", {bytes.begin(), bytes.begin() + static_cast<long>(cut)});
        ASSERT_EQ(ReadSideCar(*Foreign()), SideCarResult::damaged) << cut;
    }
    const auto damaged = files.Bytes("/data/rec.kymr-hdr");
    doc = Foreign();
    ASSERT_EQ(ReadSideCar(*doc), SideCarResult::damaged);
    ASSERT_TRUE(WriteSideCar(*doc));
    EXPECT_EQ(files.Bytes("/data/rec.kymr-hdr.damaged"), damaged);
    EXPECT_EQ(ReadSideCar(*Foreign()), SideCarResult::read);
}

// A side-car that is there but cannot be opened holds somebody's work: it is told of, and moved aside at a
// save.
TEST_F(SideCar, OneThatCannotBeOpenedIsKept) {
    struct Refusing : MemoryFileSystem {
        bool refuse = true;
        std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override {
            if (refuse && path == "/data/rec.kymr-hdr") throw FileError("permission denied", EACCES);
            return MemoryFileSystem::Open(path, mode);
        }
    } refusing;
    refusing.Put("/data/rec.kymr-hdr", std::vector<std::byte>(5));
    Session other(host, refusing);
    const auto doc = MemoryDoc::Make(other, {{1}});
    doc->filePath = "/data/rec.edf";
    EXPECT_EQ(ReadSideCar(*doc), SideCarResult::damaged);
    EXPECT_EQ(host.messages.size(), 1u);
    ASSERT_TRUE(WriteSideCar(*doc));
    EXPECT_EQ(refusing.Bytes("/data/rec.kymr-hdr.damaged").size(), 5u);
}

TEST_F(SideCar, AnotherProgramsChangesAreAskedAbout) {
    const auto one = Foreign();
    const auto two = Foreign();
    ReadSideCar(*one);
    ReadSideCar(*two);
    one->fileComment = "one";
    ASSERT_TRUE(WriteSideCar(*one));
    two->fileComment = "two";
    host.answer = false;
    EXPECT_FALSE(WriteSideCar(*two));
    EXPECT_EQ(host.questions.size(), 1u);
    const auto seen = Foreign();
    ReadSideCar(*seen);
    EXPECT_EQ(seen->fileComment, "one");
}

// Gains that would make nonsense of every sample are not taken from a file.
TEST_F(SideCar, GainsOfZeroOrNoNumberBecomeOne) {
    auto doc = Foreign();
    doc->traces[0].traceGain = 0.0;
    doc->traces[1].traceGain = std::nan("");
    ASSERT_TRUE(WriteSideCar(*doc));
    doc = Foreign();
    ASSERT_EQ(ReadSideCar(*doc), SideCarResult::read);
    EXPECT_EQ(doc->traces[0].traceGain, 1.0);
    EXPECT_EQ(doc->traces[1].traceGain, 1.0);
}

}  // namespace
}  // namespace kymora
