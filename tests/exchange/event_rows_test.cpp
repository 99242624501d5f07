// Rows of event text, with expectations worked out by hand.

#include "exchange/event_rows.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

struct Row {
    RowFault fault;
    int32_t on = -1, off = -1;
    std::string label;
    bool operator==(const Row&) const = default;
};
std::ostream& operator<<(std::ostream& to, const Row& row) {
    return to << static_cast<int>(row.fault) << " " << row.on << " " << row.off << " " << row.label;
}

Row Read(std::string_view text, double interval = 1.0, char separator = '.') {
    CEventKM event;
    const RowFault fault = ReadEventRow(text, interval, separator, event);
    return {fault, event.onPosition, event.offPosition, std::string(event.eventLabel.View())};
}
Row Good(int32_t on, int32_t off, std::string label = {}) {
    return {RowFault::none, on, off, std::move(label)};
}

const Row incomplete{RowFault::incomplete}, reversed{RowFault::reversed}, outOfRange{RowFault::outOfRange};

TEST(EventRowTest, TimesBecomeSamplesHalfAwayFromZero) {
    EXPECT_EQ(Read("10\t20"), Good(10, 20));
    EXPECT_EQ(Read("0.25\t0.75", 0.1), Good(3, 8)) << "2.5 and 7.5 samples";
    EXPECT_EQ(Read("7\t7"), Good(7, 8)) << "one sample";
    EXPECT_EQ(Read("7.2\t6.8"), Good(7, 8)) << "equal once both are rounded";
    EXPECT_EQ(Read("7\t6.4"), reversed);
    // In single precision this time would be 16777.217 and the event one sample off.
    EXPECT_EQ(Read("16777.2165\t16777.2175", 0.0005), Good(33554433, 33554435));
}

TEST(EventRowTest, CellsAndLabels) {
    EXPECT_EQ(Read("1\t2\tfirst label\tmore"), Good(1, 2, "first label"));
    EXPECT_EQ(Read("\t\t1\t\t2\t\tx"), Good(1, 2, "x")) << "tabs in a row are one";
    EXPECT_EQ(Read("\"1\"\t\"2\"\t\"say \"\"a\"\"\""), Good(1, 2, "say \"a\""));
    EXPECT_EQ(Read("1 2"), incomplete) << "blanks do not separate";
    for (const char* row : {"", "\t", "5", "5\t", "on\toff", "5\tlabel", "-\t3"})
        EXPECT_EQ(Read(row), incomplete) << row;
}

TEST(EventRowTest, Numbers) {
    for (const char* one : {"1", " 1 ", "+1", "1.", "1e0", "10e-1", "1 ms", "1ms", "0.1e1"})
        EXPECT_EQ(Read(std::string(one) + "\t3"), Good(1, 3)) << one;
    EXPECT_EQ(Read(".5\t3"), Good(1, 3));
    EXPECT_EQ(Read("1e-3\t3"), Good(0, 3));
    // Read up to where the number ends, these would be other times than the ones that stand there.
    for (const char* odd :
         {"1,5", "1_0", "1.2.3", "1:30", "1-2", "0x10", "NaN", "inf", "1e999", "+-1", "1/2"})
        EXPECT_EQ(Read(std::string(odd) + "\t30"), incomplete) << odd;
    EXPECT_EQ(Read("1,5\t2,5", 0.5, ','), Good(3, 5));
    EXPECT_EQ(Read("1.5\t2,5", 0.5, ','), Good(3, 5));
    EXPECT_EQ(Read("1.000,5\t2000,5", 0.5, ','), incomplete);
}

TEST(EventRowTest, NegativeAndHugeTimes) {
    EXPECT_EQ(Read("-0.4\t3"), Good(0, 3));
    EXPECT_EQ(Read("-1\t3"), outOfRange);
    EXPECT_EQ(Read("5\t-1"), reversed) << "the order is looked at first";
    EXPECT_EQ(Read("3e9\t4"), reversed);
    EXPECT_EQ(Read("-9\t-5"), outOfRange);
    EXPECT_EQ(Read("2147483646\t2147483646"), Good(2147483646, 2147483647));
    EXPECT_EQ(Read("2147483647\t2147483647"), outOfRange);
    EXPECT_EQ(Read("5\t3e9"), outOfRange);
    EXPECT_EQ(Read("5\t1e300", 1e-8), outOfRange);
}

class EventTextTest : public SessionTest {
  protected:
    EventRows Rows(std::string_view text) {
        TextReader reader(text);
        return ReadEventRows(reader, *doc);
    }
    std::unique_ptr<MemoryDoc> doc = MemoryDoc::MakeEmpty(session, 1000);
};

TEST_F(EventTextTest, BadRowsAreToldAndTheRestIsRead) {
    const EventRows rows = Rows("on\toff\r\n5\t6\r\n\r\n9\t3\r\n-4\t3\r\n1\t2\tlast\r\n \r\n\r\n");
    ASSERT_EQ(rows.events.size(), 2u);
    EXPECT_EQ(rows.events[1].eventLabel.View(), "last");
    EXPECT_EQ(rows.faults, "Incomplete row 1. Skipping.\n"
                           "Incomplete row 3. Skipping.\n"
                           "ERROR in text row 4: the Off-time should be later than the On-time.  Skipping.\n"
                           "ERROR in text row 5: a time is negative, or later than the longest recording.  "
                           "Skipping.\n");
    EXPECT_EQ(host.LogText(), rows.faults) << "empty rows at the end are none";
    EXPECT_TRUE(Rows("").faults.empty());
}

TEST_F(EventTextTest, ThousandsOfBadRowsAreOneShortMessage) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += "bad\n";
    const EventRows rows = Rows(text);
    EXPECT_EQ(rows.faultCount, 5000);
    EXPECT_EQ(std::count(rows.faults.begin(), rows.faults.end(), '\n'), 21);
    EXPECT_TRUE(rows.faults.ends_with("4980 more rows were skipped.\n"));
    EXPECT_EQ(host.log.size(), 5000u);
    host.cancelAtCall = 1;
    EXPECT_TRUE(Rows(text).wasCancelled);
}

// Against adding one by one, in channels that are in order and in one that is not.
TEST_F(EventTextTest, AddingManyIsAddingEach) {
    uint32_t state = 7;
    const auto next = [&state] {
        return static_cast<int32_t>((state = state * 1664525u + 1013904223u) >> 24);
    };
    for (const bool inOrder : {true, false}) {
        CEventChan one(doc.get()), many(doc.get());
        for (CEventChan* chan : {&one, &many}) {
            state = 99;
            for (int i = 0; i < 50; ++i) chan->AddEvent(next(), 300, 1.0f, i);
            if (!inOrder) chan->ReplaceEvent(10, {250, 260});
        }
        std::vector<CEventKM> events;
        for (int i = 0; i < 200; ++i) events.push_back({next(), 300, 2.0f, i});
        for (const CEventKM& event : events) one.AddEvent(event);
        EXPECT_TRUE(AddEvents(many, events));
        EXPECT_EQ(one.Events(), many.Events());
        EXPECT_EQ(many.IsInOrder(), inOrder);
        EXPECT_EQ(one.FindEventAt(299), many.FindEventAt(299));
    }
}

}  // namespace
}  // namespace kymora::test
