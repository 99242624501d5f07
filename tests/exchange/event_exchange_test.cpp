// The operations that take events into a recording, and their commands of the window.

#include <gtest/gtest.h>

#include "display/commands/commands.h"
#include "exchange/channel_block.h"
#include "exchange/event_file.h"
#include "exchange/import_events.h"
#include "exchange/load_event_channel.h"
#include "exchange/partition_from_file.h"
#include "exchange/paste_event_channels.h"
#include "host/form.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class EventExchangeTest : public ViewTest {
  protected:
    EventExchangeTest() {
        session.now = [] { return std::time_t{0}; };
        Chan(*source, 1).channelLabel = "units";
        Chan(*source, 1).channelColour = 0x123456;
        Chan(*source, 1).AddEvent({10, 20, 1.5f, 1, 0x00FF00, "first"});
        Chan(*source, 1).AddEvent({30, 31, 2.5f, 0, 0, ""});
        Chan(*source, 1).channelLocked = true;
    }
    static CEventChan& Chan(CDataDoc& doc, int channel) {
        return doc.eventChannels[static_cast<size_t>(channel)];
    }
    template <typename Operation>
    bool Run(const std::string& file, int destination = -1) {
        Operation operation;
        operation.CheckChangeDoc(doc.get());
        operation.m_sFile = file;
        if (destination >= 0) operation.SetDestination(destination);
        return operation.Run();
    }
    std::vector<CEventKM> Events(int channel) { return Chan(*doc, channel).Events(); }

    std::unique_ptr<MemoryDoc> source = Ramp(1, 1000);
    std::unique_ptr<MemoryDoc> doc = Ramp(1, 1000);
};

TEST_F(EventExchangeTest, LoadKeepsTheRowOfTheTarget) {
    Chan(*source, 1).channelFlag = 1;
    WriteEventFile(*source, 1, "/b.kymr-evt");
    CEventChan& target = Chan(*doc, 2);
    target.AddEvent({1, 2});
    target.channelColour = 0xABCDEF;
    const double place = target.GetDisplayPosition();
    doc->historyLog = "old\r\n\r\n";
    host.answer = false;
    EXPECT_FALSE(Run<LoadEventChannel>("/b.kymr-evt", 2));
    EXPECT_EQ(host.questions.back().text, overwriteChannelText);
    EXPECT_EQ(Events(2).size(), 1u);

    host.answer = true;
    ASSERT_TRUE(Run<LoadEventChannel>("/b.kymr-evt", 2));
    EXPECT_EQ(Events(2), Chan(*source, 1).Events());
    EXPECT_EQ(target.channelLabel, "units");
    EXPECT_EQ(target.channelColour, 0xABCDEFu);
    EXPECT_EQ(target.GetDisplayPosition(), place);
    EXPECT_EQ(target.channelFlag, 1);
    EXPECT_FALSE(target.channelLocked);
    EXPECT_EQ(doc->historyLog, "old\r\n\r\nSTART\r\n" + doc->HistoryDateLine(true) +
                                   "Load event channel c from file: /b.kymr-evt\r\n\r\n");
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Events(2).size(), 1u);
    EXPECT_FALSE(doc->Undo().CanUndo());

    ASSERT_TRUE(Run<LoadEventChannel>("/b.kymr-evt"));
    EXPECT_EQ(Events(0).size(), 2u) << "the first free one";
}

TEST_F(EventExchangeTest, LoadsThatAreRefusedChangeNothing) {
    WriteEventFile(*source, 1, "/b.kymr-evt");
    PutText("/foreign.kymr-evt", "1\t2\n3\t4\n");
    Chan(*doc, 3).channelLocked = true;
    EXPECT_FALSE(Run<LoadEventChannel>("/b.kymr-evt", 3));
    EXPECT_EQ(host.LastMessage(), lockedChannelText);
    EXPECT_FALSE(Run<LoadEventChannel>("/none.kymr-evt", 2));
    EXPECT_TRUE(host.LastMessage().starts_with("Couldn't open file\n"));
    EXPECT_FALSE(Run<LoadEventChannel>("/foreign.kymr-evt", 2));
    EXPECT_TRUE(host.LastMessage().starts_with("/foreign.kymr-evt holds no event channel"));
    EXPECT_FALSE(Run<LoadEventChannel>(""));
    EXPECT_TRUE(host.questions.empty());
    EXPECT_FALSE(doc->IsModified());
    EXPECT_EQ(doc->historyLog, "");
}

TEST_F(EventExchangeTest, ImportJoinsWhatTheChannelHolds) {
    PutText("/e.txt", "5\t6\tlate\nbad\n1\t1\n");
    Chan(*doc, 0).AddEvent({3, 4});
    ASSERT_TRUE(Run<ImportEventsFromText>("/e.txt"));
    EXPECT_EQ(Events(1), (std::vector<CEventKM>{{1, 2}, {5, 6, 0, 0, 0, "late"}}));
    EXPECT_EQ(host.LastMessage(), "Incomplete row 2. Skipping.");
    EXPECT_EQ(doc->historyLog, "Import events into channel b from file /e.txt\r\n\r\n");
    ASSERT_TRUE(Run<ImportEventsFromText>("/e.txt", 0));
    EXPECT_EQ(Events(0).size(), 3u);
    EXPECT_TRUE(host.questions.empty());
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Events(0), (std::vector<CEventKM>{{3, 4}}));
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(Events(1).empty());
    EXPECT_FALSE(doc->Undo().CanUndo());

    PutText("/none.txt", "a\nb\n");
    EXPECT_FALSE(Run<ImportEventsFromText>("/none.txt"));
    EXPECT_FALSE(Run<ImportEventsFromText>("/missing.txt"));
    EXPECT_TRUE(host.LastMessage().starts_with("Unable to open specified source file."));
}

TEST_F(EventExchangeTest, PasteFillsTheChannelsAboveThoseInUse) {
    Chan(*source, 4).AddEvent({1, 2});
    host.clipboard[eventChansFormat] = EncodeChannelBlock(*source, std::vector{1, 4});
    Chan(*doc, 25).AddEvent({0, 1});
    Chan(*doc, 26).channelComment = "of events that are gone";
    ASSERT_TRUE(Run<PasteEventChannels>(""));
    EXPECT_EQ(Events(26), Chan(*source, 1).Events());
    EXPECT_EQ(Chan(*doc, 26).channelColour, 0x123456u);
    EXPECT_EQ(Chan(*doc, 26).channelComment, "");
    EXPECT_EQ(Events(27), Chan(*source, 4).Events());
    EXPECT_EQ(doc->historyLog, "Paste 2 event channels, starting at 26\r\n\r\n");
    EXPECT_EQ(host.LogText(), "got special event clipboard format\npasting 2 event channels\n");
    EXPECT_EQ(session.options.eventChannelMode, maxEventChannels) << "numbers are offered";
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(Events(26).empty() && Events(27).empty());

    files.Put("/block", EncodeChannelBlock(*source, std::vector{4}));
    host.clipboard.clear();
    EXPECT_TRUE(Run<PasteEventChannels>("/block"));
    EXPECT_EQ(Events(26).size(), 1u);
}

TEST_F(EventExchangeTest, PasteNeverReachesTheLastChannel) {
    host.clipboard[eventChansFormat] = EncodeChannelBlock(*source, std::vector{1, 1, 1});
    Chan(*doc, 995).AddEvent({0, 1});
    EXPECT_TRUE(Run<PasteEventChannels>(""));
    EXPECT_EQ(host.LastMessage(), "Out of empty event channels. Only 2 of 3 channels pasted.");
    EXPECT_EQ(Events(997).size(), 2u);
    EXPECT_TRUE(Events(998).empty());
    EXPECT_FALSE(Run<PasteEventChannels>(""));
    EXPECT_EQ(host.LastMessage(), "Out of empty event channels. Only 0 of 3 channels pasted.");
}

TEST_F(EventExchangeTest, EventsWithoutAPlaceAreNotPasted) {
    source->eventChannels[1].Splice(0, source->GetNumEvents(1), {{-5, 2}, {3, 9}, {7, 4}, {8, 8}});
    host.clipboard[eventChansFormat] = EncodeChannelBlock(*source, std::vector{1});
    ASSERT_TRUE(Run<PasteEventChannels>(""));
    EXPECT_EQ(Events(0), (std::vector<CEventKM>{{3, 9}, {8, 8}}));
    EXPECT_EQ(host.LastMessage(),
              "2 of the events start before the recording or end before they start. They were left out.");
}

TEST_F(EventExchangeTest, PasteOfText) {
    EXPECT_FALSE(Run<PasteEventChannels>(""));
    EXPECT_EQ(host.LastMessage(), clipboardNoTextText);
    host.clipboardText = "1\t2\tlabel\n4\t3\n";
    ASSERT_TRUE(Run<PasteEventChannels>(""));
    EXPECT_EQ(Events(0), (std::vector<CEventKM>{{1, 2, 0, 0, 0, "label"}}));
    EXPECT_EQ(doc->historyLog, "Paste 1 event channels, starting at a\r\n\r\n");
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(Events(0).empty());
    EXPECT_TRUE(doc->Undo().Redo());
    EXPECT_EQ(Events(0).size(), 1u);
    host.clipboardText = "no events";
    EXPECT_FALSE(Run<PasteEventChannels>(""));
    EXPECT_EQ(host.LastMessage(),
              "There is a source format error, or no events could be found on the clipboard.");
    auto damaged = EncodeChannelBlock(*source, std::vector{1});
    damaged.resize(damaged.size() - 1);
    host.clipboard[eventChansFormat] = damaged;
    EXPECT_FALSE(Run<PasteEventChannels>(""));
    EXPECT_TRUE(host.LastMessage().ends_with("Nothing was pasted."));
    EXPECT_TRUE(Events(1).empty());
}

class PartitionTest : public EventExchangeTest {
  protected:
    PartitionTest() {
        for (int i = 0; i < 5; ++i) Chan(*doc, 0).AddEvent({i * 10, i * 10 + 1, 0, i});
        Chan(*doc, 0).parentTrace = 0;
    }
    bool Partition(std::string_view numbers) {
        PutText("/p.txt", numbers);
        return Run<PartitionFromFile>("/p.txt");
    }
};

TEST_F(PartitionTest, ClassesGoIntoChannelsAboveThoseInUse) {
    Chan(*doc, 3).AddEvent({0, 1});
    ASSERT_TRUE(Partition("2 1\r\n0\t3\n\n-7"));
    EXPECT_EQ(Events(0).size(), 5u);
    EXPECT_EQ(Events(4), (std::vector<CEventKM>{{10, 11, 0, 1}}));
    EXPECT_EQ(Events(5), (std::vector<CEventKM>{{0, 1, 0, 0}}));
    EXPECT_EQ(Events(6), (std::vector<CEventKM>{{30, 31, 0, 3}}));
    for (const int target : {4, 5, 6}) EXPECT_EQ(Chan(*doc, target).parentTrace, 0);
    EXPECT_EQ(host.LogText(),
              "read 5 events from file, maximum partition num = 3\nSource event chan num 0\n");
    EXPECT_EQ(doc->historyLog,
              "Partition events from channel a into 3 channels starting at e, using file /p.txt\r\n\r\n");
    EXPECT_TRUE(host.WasSilent());
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(Events(4).empty() && Events(5).empty() && Events(6).empty());
    EXPECT_FALSE(doc->Undo().CanUndo());
}

TEST_F(PartitionTest, Refusals) {
    const auto refused = [&](std::string_view numbers, std::string_view text) {
        EXPECT_FALSE(Partition(numbers));
        EXPECT_EQ(host.LastMessage(), text);
    };
    EXPECT_FALSE(Run<PartitionFromFile>("/missing.txt"));
    EXPECT_TRUE(host.LastMessage().starts_with("Couldn't open input file"));
    refused(" \n", "No data in partition file");
    refused("1 2\n3 x 1", "\"x\" in row 2 of the partition file is no whole number.");
    refused("1 99999999999", "\"99999999999\" in row 1 of the partition file is no whole number.");
    refused("0 0 0", "All partition numbers in the file are 0 or below. There is nothing to copy.");
    EXPECT_TRUE(Partition("1 998"));
    doc->Undo().Undo();
    refused("1 999", "The first free run of event channels starts at 1 of 999, but you have selected 999 "
                     "partition channels. "
                     "You should free more channels or reduce the partition count.");
    Chan(*doc, 2).channelLocked = true;
    refused("1 2 1 1 1", lockedChannelText);
    EXPECT_FALSE(doc->Undo().CanUndo());
}

TEST_F(PartitionTest, LongFiles) {
    std::string numbers = "2";
    for (int i = 0; i < 300000; ++i) numbers += " 1";  // one line, longer than any piece that is read at once
    host.answer = false;
    EXPECT_FALSE(Partition(numbers));
    EXPECT_EQ(host.questions.back().text, "The file appears to contain 300001 events. Continue?");
    host.answer = true;
    EXPECT_TRUE(Partition(numbers));
    EXPECT_EQ(Events(1).size(), 4u);
    EXPECT_TRUE(host.LastMessage().ends_with("The first 5 of them were used."));
    host.cancelAtCall = 1;
    EXPECT_FALSE(Partition(numbers));
}

// --- the commands ---

class ExchangeCommandsTest : public EventExchangeTest {
  protected:
    static void Do(CKymoraView& view, const char* id) { RunCommand(*FindCommand(id), {view}); }
    // Answers the next dialog.
    void Fill(const char* key, const char* value, std::string* note = nullptr) {
        host.fillForms.push_back([=, this](Form& form) {
            if (note) *note = form.Text("about");
            offered = form.Text(key);
            form[key].text = value;
            return true;
        });
    }
    std::string offered;
    CKymoraView from{*source}, to{*doc};
};

TEST_F(ExchangeCommandsTest, ByFile) {
    host.saveFile = "/b.kymr-evt";
    Fill("channel", "b");
    Do(from, "event-file-save");
    host.openFiles = {"/b.kymr-evt"};
    Chan(*doc, 0).AddEvent({0, 1});
    std::string note;
    Fill("channel", "d", &note);
    Do(to, "event-file-load");
    EXPECT_EQ(note, "2 events read from the file.");
    EXPECT_EQ(offered, "b") << "the first free channel";
    EXPECT_EQ(Events(3), Chan(*source, 1).Events());

    Do(to, "event-file-load");  // the chooser is cancelled
    EXPECT_EQ(doc->Undo().UndoName(), "Load event channel");
    EXPECT_TRUE(Events(1).empty());
    Fill("channel", "c");
    Do(from, "event-file-save");
    EXPECT_EQ(host.formFault, "Channel c holds no events.");
}

TEST_F(ExchangeCommandsTest, ByClipboardAndText) {
    Fill("channels", "b");
    Do(from, "event-clipboard-copy");
    EXPECT_EQ(offered, "b");
    Do(to, "event-clipboard-paste");
    EXPECT_EQ(Events(0), Chan(*source, 1).Events());
    host.clipboardFault = clipboardBusyText;
    Fill("channels", "a-c");
    Do(from, "event-clipboard-copy");
    EXPECT_EQ(host.LastMessage(), clipboardBusyText);

    PutText("/e.txt", "10\t20\tfirst\n30\t31\n");
    host.openFiles = {"/e.txt"};
    Do(to, "event-import-text");
    EXPECT_EQ(Events(1), (std::vector<CEventKM>{{10, 20, 0, 0, 0, "first"}, {30, 31}}));
    PutText("/p.txt", "1 2");
    host.openFiles = {"/p.txt"};
    Fill("channel", "b");
    Do(to, "event-partition-file");
    EXPECT_EQ(Events(3), (std::vector<CEventKM>{{30, 31}}));
}

}  // namespace
}  // namespace kymora::test
