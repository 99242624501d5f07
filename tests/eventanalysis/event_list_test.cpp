#include "eventanalysis/event_list.h"

#include "eventanalysis/event_analysis_fixture.h"
#include "host/user_numbers.h"

namespace kymora {
namespace {

using enum EventListColumn;
using test::MemoryDoc;

struct EventList : test::EventAnalysisTest {
    CEventList list;

    void Take(std::unique_ptr<MemoryDoc> taken) {
        doc = std::move(taken);
        doc->filePath = "/data/cell.kymr-dat";
        list.CheckChangeDoc(doc.get());
    }
    void TearDown() override { list.CheckChangeDoc(nullptr); }
    void Only(std::initializer_list<EventListColumn> columns) {
        list.m_columns.fill(false);
        for (const EventListColumn column : columns) list.m_columns[static_cast<size_t>(column)] = true;
    }
    std::string Result() {
        std::string text;
        list.WriteResult([&](std::string_view line) {
            text += line;
            return true;
        });
        return text;
    }
    std::string Refusal() {
        host.messages.clear();
        EXPECT_FALSE(list.Run());
        return host.LastMessage();
    }
    std::string FileText(const char* path) {
        if (!files.Stamp(path)) return "no file";
        const auto file = files.Open(path, OpenMode::readOnly);
        std::string text(file->Length(), '\0');
        ReadWhole(*file, 0, std::as_writable_bytes(std::span(text)));
        return text;
    }
};

TEST_F(EventList, ListsWhatTheKeysAskFor) {
    Take(MemoryDoc::MakeEmpty(session, 1000, 0.5));
    Fill(0, {{10, 14}, {20, 21}, {40, 45}});
    Fill(1, {{12, 13}, {30, 32}});
    ASSERT_TRUE(list.Run());
    EXPECT_EQ(Result(), "Event parameters: #ID\tOn time\tDuration\tInterval\t\r\n"
                        "  1\t       5.0000\t       2.0000\t      -1.0000\t\r\n"
                        "  2\t      10.0000\t       0.5000\t       5.0000\t\r\n"
                        "  3\t      20.0000\t       2.5000\t      10.0000\t\r\n");
    ParamList params = list.Params();
    EXPECT_FALSE(params.Find("channel2")->IsEnabled(params));
    for (const char* key : {"onTime", "duration", "interval"})
        EXPECT_EQ(params.Find(key)->SetFromText("false"), "");
    for (const char* key : {"latency", "count2In1"}) EXPECT_EQ(params.Find(key)->SetFromText("1"), "");
    EXPECT_TRUE(params.Find("channel2")->IsEnabled(params));
    EXPECT_EQ(params.Find("timeUnit")->SetFromText("s"), "");
    EXPECT_EQ(params.Find("region")->SetFromText("2"), "");
    EXPECT_EQ(params.Find("regionStart")->SetFromText("7"), "");
    // What was listed stays until the next run; the events are those of now.
    Fill(0, {{14, 14}, {26, 27}, {40, 45}});
    EXPECT_EQ(Result().substr(0, 50), "Event parameters: #ID\tOn time\tDuration\tInterval\t\r\n");
    ASSERT_TRUE(list.Run());
    EXPECT_EQ(Result(), "Event parameters: #ID\tLatency\tCount 2 in 1\t\r\n"
                        "  1\t       0.0010\t            0\t\r\n"
                        "  2\t       0.0070\t            0\t\r\n"
                        "  3\t       0.0050\t            0\t\r\n");
    EXPECT_FALSE(doc->IsModified());
    EXPECT_EQ(doc->historyLog, "");
    // A result does not outlive its recording.
    const auto other = MemoryDoc::MakeEmpty(session, 10);
    list.CheckChangeDoc(other.get());
    EXPECT_EQ(Result(), "");
}

TEST_F(EventList, ListsTheEventsInTheGatesOneGateAfterTheOther) {
    Take(MemoryDoc::MakeEmpty(session, 1000));
    Fill(0, {{5, 6}, {100, 101}, {110, 113}, {300, 301}, {315, 317}, {400, 401}});
    Fill(2, {{100, 200}, {200, 200}, {300, 400}});
    list.m_nRegionMode = regionGate;
    list.m_nGateChannel = 2;
    Only({id, gapDuration, interval});
    ASSERT_TRUE(list.Run());
    EXPECT_EQ(Result(), "Event parameters: #ID\tGap duration\tInterval\t\r\n"
                        "  2\t       9.0000\t      -1.0000\t\r\n"
                        "  3\t          nan\t      10.0000\t\r\n"
                        "  4\t      14.0000\t      -1.0000\t\r\n"
                        "  5\t          nan\t      15.0000\t\r\n");
    list.m_nGateChannel = 7;
    EXPECT_EQ(Refusal(), "There are no events in the analysis region.");
}

TEST_F(EventList, ListsSeveralTraces) {
    Take(MemoryDoc::Make(session, {{1, 2, 3, 4}, {5, 7, 5, 5}, {9, 9, 9, 9}}));
    Fill(0, {{0, 2}, {2, 4}});
    Only({id, mean});
    EXPECT_EQ(Refusal(), "Event channel a has no parent trace. Choose the traces to list.");
    Channel(0).parentTrace = 2;
    ASSERT_TRUE(list.Run());
    EXPECT_EQ(Result(), "Event parameters: #ID\tMean\t\r\n  1\t       9.0000\t\r\n  2\t       9.0000\t\r\n");
    ParamList params = list.Params();
    EXPECT_EQ(params.Find("parentTrace")->shown(), "3");
    EXPECT_EQ(params.Find("traces")->SetFromText("1-2"), "");
    ASSERT_TRUE(list.Run());
    EXPECT_EQ(Result(), "Event parameters: #ID\tMean (1)\tMean (2)\t\r\n"
                        "  1\t       1.5000\t       6.0000\t\r\n"
                        "  2\t       3.5000\t       5.0000\t\r\n");
    list.m_traces = {0, 3};
    EXPECT_EQ(Refusal(), noSuchTraceText);
}

TEST_F(EventList, RefusesWhatHasNoList) {
    Take(MemoryDoc::MakeEmpty(session, 1000));
    EXPECT_EQ(Refusal(), "There are no events in channel a.");
    Fill(0, {{500, 510}});
    list.m_nRegionMode = regionUserSet;
    EXPECT_EQ(Refusal(), "There are no events in the analysis region.");
    list.m_dRegionStart = 600.0;
    EXPECT_EQ(Refusal(), "End analysis time must be after start analysis time. Resetting.");
    list.m_nRegionMode = regionWholeFile;
    Only({});
    EXPECT_EQ(Refusal(), "No parameters are chosen for the list.");
    Only({id});
    EXPECT_TRUE(list.Run());
}

TEST_F(EventList, SavesTheSameText) {
    Take(MemoryDoc::MakeEmpty(session, 100000));
    for (int i = 0; i < 3000; ++i) Channel(0).AddEvent(i * 10, i * 10 + 3);
    host.saveFile = "/data/list.txt";
    ParamList params = list.Params();
    const auto save = [&] { params.Find("saveList")->action(params); };
    save();  // lists first
    ASSERT_EQ(host.fileRequests.size(), 1u);
    EXPECT_EQ(host.fileRequests[0].title, "Save event parameter list");
    EXPECT_EQ(host.fileRequests[0].suggestion, "/data/cell events.txt");
    EXPECT_EQ(FileText("/data/list.txt"), Result());
    EXPECT_GT(Result().size(), 3000u * 40);
    // A list that is cancelled leaves the file as it was, and says so where it is shown.
    const std::string whole = Result();
    Fill(0, {{1, 2}});
    for (int i = 0; i < 3000; ++i) Channel(0).AddEvent(i * 10, i * 10 + 4);
    host.cancelAtCall = 2;
    save();
    EXPECT_EQ(FileText("/data/list.txt"), whole);
    EXPECT_TRUE(Result().ends_with("\r\nCancelled: not all events are listed.\r\n"));
    host.cancelAtCall = 0;
    // The recording is never written over.
    files.Open("/data/cell.kymr-dat", OpenMode::createNew);
    host.saveFile = "/data/cell.kymr-dat";
    save();
    EXPECT_EQ(host.LastMessage(), "That is the recording itself. Choose another name.");
    EXPECT_EQ(FileText("/data/cell.kymr-dat"), "");
    host.saveFile = std::nullopt;
    save();
    EXPECT_EQ(host.messages.size(), 1u);
}

}  // namespace
}  // namespace kymora
