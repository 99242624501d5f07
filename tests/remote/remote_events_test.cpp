#include "support/remote_fixture.h"

#include <sstream>

namespace kymora::test {
namespace {

using RemoteEventsTest = RemoteTest;

TEST_F(RemoteEventsTest, AddsReadsAndTakesBack) {
    // 0.5 ms a sample: 12.5 ms is sample 25.
    const Json added = AskWell(R"({"addEvents":{"channel":"b","unit":"ms","events":[
        {"on":50,"off":60,"value":1.5,"tag":2,"label":"late","colour":"#ff8001"},
        {"on":12.5,"off":14}]}})");
    EXPECT_EQ(added["channel"], "b");
    EXPECT_EQ(added["total"], 2);
    const CEventKM* late = Doc().GetEvent(1, 1);  // in order of time, whatever the order they came in
    ASSERT_NE(late, nullptr);
    EXPECT_EQ(late->onPosition, 100);
    EXPECT_EQ(late->offPosition, 120);
    EXPECT_EQ(late->eventColour, 0x0180FFu);
    EXPECT_EQ(late->eventLabel.View(), "late");

    const Json read = AskWell(R"({"events":{"channel":1}})");
    ASSERT_EQ(read["events"].size(), 2u);
    EXPECT_EQ(
        read["events"][0],
        (Json{{"on", 25}, {"off", 28}, {"value", 0.0}, {"tag", 0}, {"label", ""}, {"colour", nullptr}}));
    EXPECT_EQ(read["events"][1]["colour"], "#ff8001");
    EXPECT_EQ(AskWell(R"({"events":{"channel":"b","unit":"ms"}})")["events"][0]["on"], 12.5);

    EXPECT_EQ(AskWell(R"({"state":true})")["documents"][0]["undo"], "Add events");
    AskWell(R"({"command":"undo"})");
    EXPECT_EQ(Doc().GetNumEvents(1), 0);
    AskWell(R"({"command":"redo"})");
    EXPECT_EQ(Doc().GetNumEvents(1), 2);
}

TEST_F(RemoteEventsTest, ManyEventsAreOneStep) {
    Json events = Json::array();
    for (int i = 999; i >= 0; --i) events.push_back({{"on", 10 * i}, {"off", 10 * i + 3}});
    AskWell(Json{{"addEvents", {{"channel", "c"}, {"events", events}}}}.dump());
    EXPECT_EQ(Doc().GetNumEvents(2), 1000);
    EXPECT_TRUE(Doc().eventChannels[2].IsInOrder());

    const Json page = AskWell(R"({"events":{"channel":"c","from":100,"to":5000,"first":480,"count":7}})");
    EXPECT_EQ(page["events"].size(), 7u);
    EXPECT_EQ(page["events"][0]["on"], 100 + 4800);
    EXPECT_EQ(page["next"], 487);
    EXPECT_EQ(page["total"], 1000);
    EXPECT_FALSE(AskWell(R"({"events":{"channel":"c","from":100,"to":5000,"first":480}})").contains("next"));

    // Those of 500 to 990 begin in the stretch; the one before it ends at its start, and stays.
    EXPECT_EQ(AskWell(R"({"deleteEvents":{"channel":"c","from":493,"to":1000}})")["deleted"], 50);
    AskWell(R"({"command":"undo"})");
    EXPECT_EQ(Doc().GetNumEvents(2), 1000);
    AskWell(R"({"command":"undo"})");
    EXPECT_EQ(Doc().GetNumEvents(2), 0);
}

TEST_F(RemoteEventsTest, AddsAllOrNone) {
    std::istringstream events(R"(
        {"on":5} {"on":5,"off":4} {"on":-1,"off":4} {"on":1.5,"off":4} {"on":0,"off":100001} {"on":1e12,"off":2e12}
        {"on":1,"off":2,"colour":"red"} {"on":1,"off":2,"colour":"#12345g"} {"on":1,"off":2,"tag":3e9}
        {"on":1,"off":2,"wing":1} {"on":null,"off":2} 7 [])");
    for (std::string event; events >> event;) {
        const std::string list = R"([{"on":1,"off":2},)" + event + "]";
        EXPECT_FALSE(Refused(R"({"addEvents":{"channel":"b","events":)" + list + "}}").empty()) << event;
        EXPECT_EQ(Doc().GetNumEvents(1), 0);
    }
    EXPECT_FALSE(Doc().IsModified());
    std::istringstream requests(R"(
        {"addEvents":{"channel":"b","unit":"min","events":[]}} {"addEvents":{"channel":"b","events":{"on":1,"off":2}}}
        {"events":{"channel":""}} {"events":{"channel":"a-c"}} {"events":{"channel":"999"}}
        {"events":{"channel":999}} {"events":{"channel":-1}} {"events":{"channel":true}}
        {"deleteEvents":{"channel":"b"}} {"deleteEvents":{"channel":"b","all":true,"from":1,"to":2}})");
    for (std::string request; requests >> request;) EXPECT_FALSE(Refused(request).empty()) << request;
}

TEST_F(RemoteEventsTest, FindsAFreeChannelAndKeepsLockedOnesAsTheyAre) {
    Doc().eventChannels[0].channelLocked = true;
    EXPECT_NE(Refused(R"({"addEvents":{"channel":"a","events":[{"on":1,"off":2}]}})").find("locked"),
              std::string::npos);
    EXPECT_FALSE(Refused(R"({"deleteEvents":{"channel":"a","all":true}})").empty());
    Doc().AddEvent(1, {5, 6});
    Doc().eventChannels[0].channelLocked = false;
    EXPECT_EQ(AskWell(R"({"addEvents":{"events":[{"on":1,"off":2}]}})")["channel"], "a");
    EXPECT_EQ(AskWell(R"({"addEvents":{"events":[{"on":1,"off":2}]}})")["channel"], "c");
}

}  // namespace
}  // namespace kymora::test
