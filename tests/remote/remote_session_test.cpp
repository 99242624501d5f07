#include "remote/remote_session.h"

#include "display/commands/commands.h"
#include "remote/base64.h"
#include "support/remote_fixture.h"

#include <sstream>

namespace kymora::test {
namespace {

using RemoteSessionTest = RemoteTest;

TEST_F(RemoteSessionTest, NothingButTheTokenOpensTheDoor) {
    for (const char* line : {R"({"state":true})", R"({"token":"secre"})", R"({"token":"secrets"})",
                             R"({"token":"secretsecret"})", R"({"token":""})", R"({"token":7})",
                             R"({"token":["secret"]})", "secret", "", "\xff\xfe", "GET / HTTP/1.1"}) {
        RemoteSession stranger(target, host, "secret");
        const RemoteReply reply = stranger.Take(line);
        EXPECT_TRUE(reply.ends) << line;
        EXPECT_FALSE(stranger.IsAdmitted());
        EXPECT_EQ(Json::parse(reply.line)["ok"], false);
    }
    EXPECT_FALSE(IsToken("", ""));
    EXPECT_TRUE(IsToken("abc", "abc"));
    EXPECT_FALSE(IsToken("abcabc", "abc"));
}

TEST_F(RemoteSessionTest, WhatIsNoObjectEndsTheConnection) {
    const std::string deep(400000, '[');
    for (const std::string line :
         {"{", "[1]", "7", "", "{\"state\":true}}", "{\"state\":true} {\"state\":true}", "{\"a\":\"\xff\"}"})
        EXPECT_TRUE(remote.Take(line).ends) << line;
    for (const std::string& line : {std::string("{\0}", 3), deep, "{\"id\":" + deep,
                                    "{\"id\":" + std::string(50000, '[') + std::string(50000, ']') + "}",
                                    std::string(longestRequest + 1, ' ')})
        EXPECT_TRUE(remote.Take(line).ends) << line.substr(0, 40);
}

TEST_F(RemoteSessionTest, BadRequestsAreRefusedAndTheConnectionGoesOn) {
    std::istringstream lines(R"(
        {} {"fly":true} {"state":true,"open":"/x"} {"state":true,"wings":2} {"state":false} {"quit":0}
        {"id":{},"state":true} {"command":7} {"command":"no-such"} {"open":""} {"open":"/a\u0000b"}
        {"close":false} {"close":1} {"close":-1} {"close":0.5} {"activate":1e300} {"activate":"/two"}
        {"viewport":{"start":0}} {"viewport":{"start":5,"end":5}} {"viewport":{"start":-1,"end":5}}
        {"viewport":{"start":0,"end":1e308}} {"viewport":[0,1]} {"viewport":{"start":"0","end":1}}
        {"resize":{"width":0,"height":5}} {"resize":{"width":100000,"height":5}} {"png":"moon"}
        {"key":"nonsense"} {"key":["a"]} {"mouse":{"x":1}} {"mouse":{"x":1,"y":1,"type":"kick"}}
        {"mouse":{"x":1e9,"y":1}} {"mouse":{"type":"drag","x":1,"y":1}} {"command":"grid","at":[1]}
        {"wait":true,"timeoutMs":-1} {"state":true,"document":9,"png":"view"})");
    for (std::string line; lines >> line;) EXPECT_FALSE(Refused(line).empty()) << line;
    EXPECT_EQ(target.Views().size(), 1u);
    EXPECT_TRUE(person.WasSilent());
    // What is asked and what is refused both repeat the id.
    EXPECT_EQ(AskWell(R"({"id":"a\nb","state":true})")["id"], "a\nb");
    EXPECT_EQ(Ask(R"({"id":8,"fly":true})")["id"], 8);
    EXPECT_FALSE(AskWell(R"({"state":true})").contains("id"));
}

TEST_F(RemoteSessionTest, RunsEveryCommandOfTheTableById) {
    AskWell(R"({"command":"show-all"})");
    EXPECT_DOUBLE_EQ(View().m_EndTime, 99999 * 0.5);
    EXPECT_NE(Refused(R"({"command":"left-page"})").find("left-page"), std::string::npos);  // is at the start
    View().SelectAxis(0, false);
    const double second = View().m_axes[1].m_dMax;
    AskWell(R"({"command":"increase-gain"})");
    EXPECT_EQ(View().m_axes[1].m_dMax, second);
    AskWell(R"({"command":"increase-gain","ctrl":true})");
    EXPECT_NE(View().m_axes[1].m_dMax, second);
    AskWell(R"({"command":"frame"})");
    EXPECT_EQ(target.frameRuns, 1);

    // Whatever the table holds and asks for: each command answers, and none reaches the person.
    for (const Command& command : ViewCommands()) Ask(Json{{"command", command.id}}.dump());
    EXPECT_TRUE(person.WasSilent());
    EXPECT_EQ(AskWell(R"({"commands":true})")["commands"].size(), ViewCommands().size() + 1);
}

TEST_F(RemoteSessionTest, AnswersTheDialogOfACommand) {
    const auto before = View().GetViewport();
    const Json asked = Ask(R"({"command":"set-timebase"})");
    EXPECT_EQ(asked["ok"], false);
    EXPECT_EQ(View().GetViewport(), before);
    EXPECT_EQ(asked["forms"][0]["fields"][0]["key"], "timebase");
    EXPECT_EQ(asked["forms"][0]["accepted"], false);
    AskWell(R"({"command":"set-timebase","answers":{"timebase":50}})");
    EXPECT_DOUBLE_EQ(View().GetViewport().Duration(), 400.0);  // eight divisions
    for (const std::string answers : {R"({"timebase":-1})", R"({"timebase":"50"})", R"({"other":1})", "[]"})
        EXPECT_FALSE(Refused(R"({"command":"set-timebase","answers":)" + answers + "}").empty()) << answers;
    EXPECT_DOUBLE_EQ(View().GetViewport().Duration(), 400.0);
    EXPECT_TRUE(person.WasSilent());
}

TEST_F(RemoteSessionTest, OpensAndClosesRecordings) {
    const std::string error = Refused(R"({"open":"/bad"})");
    EXPECT_EQ(error, "Cannot open /bad");
    EXPECT_EQ(AskWell(R"({"open":"/good"})")["document"], 1);
    EXPECT_EQ(AskWell(R"({"state":true})")["active"], 1);
    AskWell(R"({"activate":"/one.kymr-dat"})");
    EXPECT_EQ(target.active, 0);
    View(1).GetDocument().SetModifiedFlag();
    const Json kept = Ask(R"({"close":"/good"})");
    EXPECT_EQ(kept["ok"], false);
    EXPECT_EQ(kept["questions"][0]["answer"], false);
    EXPECT_EQ(target.Views().size(), 2u);
    AskWell(R"({"close":1,"yes":true})");
    View().GetDocument().SetModifiedFlag();
    EXPECT_FALSE(Refused(R"({"quit":true})").empty());
    AskWell(R"({"close":true,"discard":true})");
    EXPECT_FALSE(Refused(R"({"command":"show-all"})").empty());  // nothing is open
    EXPECT_TRUE(AskWell(R"({"state":true})")["active"].is_null());
    const RemoteReply end = remote.Take(R"({"quit":true})");
    EXPECT_TRUE(end.ends);
    EXPECT_EQ(Json::parse(end.line)["ok"], true);
    EXPECT_TRUE(person.WasSilent());
}

TEST_F(RemoteSessionTest, SavesUnderANameAndReplacesOnlyWhenToldTo) {
    AskWell(R"({"save":true,"file":"/new"})");
    EXPECT_EQ(target.savedAs, "/new.kymr-dat");
    files.Put("/new.kymr-dat", {});
    target.savedAs.clear();
    EXPECT_FALSE(Refused(R"({"save":true,"file":"/new"})").empty());
    EXPECT_TRUE(target.savedAs.empty());
    AskWell(R"({"save":true,"file":"/new","yes":true})");
    EXPECT_EQ(target.savedAs, "/new.kymr-dat");
}

TEST_F(RemoteSessionTest, SetsTheViewportAndTellsTheState) {
    const Json answer = AskWell(R"({"viewport":{"start":100,"end":300.5}})");
    EXPECT_EQ(answer["viewport"], (Json{{"start", 100.0}, {"end", 300.5}}));
    EXPECT_DOUBLE_EQ(View().m_EndTime, 300.5);
    View().SelectAxis(1, false);
    AskWell(R"({"command":"grid"})");

    const Json state = AskWell(R"({"state":true})");
    EXPECT_EQ(state["window"]["width"], 1000);
    const Json document = state["documents"][0];
    // What merging in changes nothing of is there.
    Json merged = document;
    merged.merge_patch(Json::parse(R"({"path":"/one.kymr-dat","samples":100000,"sampleInterval":0.5,
        "viewport":{"start":100.0,"end":300.5},"switches":{"grid":false},"modified":false,"undo":"Grid"})"));
    EXPECT_EQ(merged, document);
    EXPECT_EQ(document["traces"].size(), 2u);
    EXPECT_EQ(document["axes"][0]["selected"], false);
    EXPECT_EQ(document["axes"][1]["selected"], true);
    EXPECT_EQ(document["axes"][1]["traces"], Json::array({2}));
    EXPECT_TRUE(document["redo"].is_null());
    AskWell(R"({"command":"undo"})");
    EXPECT_EQ(AskWell(R"({"state":true})")["documents"][0]["redo"], "Grid");
}

// A text of a file need not be valid, and a limit of an axis need not be finite.
TEST_F(RemoteSessionTest, TellsCursorsAndWhatLiesUnderAPixel) {
    View().ChangeViewport({100.0, 150.0});
    const PixelRect plot = View().Plot().layout.plot;
    const auto under = [&](int x, const std::string& more = "") {
        return R"({"under": [)" + std::to_string(x) + ", " + std::to_string(plot.bottom - 5) + "]" + more +
               "}";
    };
    for (const int x : {plot.left + 100, plot.left + 200})
        AskWell(under(x, R"(, "run": "cursor-add-vert-here")"));
    const Json cursors = AskWell(R"({"cursors": true})");
    EXPECT_EQ(cursors["vertical"].size(), 2u);
    EXPECT_EQ(cursors["vertical"][0]["values"].size(), 2u);
    const double difference = cursors["verticalDifferences"][0]["time"];
    EXPECT_NEAR(difference, 100.0 * 50.0 / plot.Width(), 1e-9);
    EXPECT_NEAR(cursors["verticalDifferences"][0]["frequency"].get<double>() * difference, 1000.0, 1e-6);

    const Json place = AskWell(under(plot.left + 200));
    EXPECT_EQ(place["object"], "vertCursor");
    EXPECT_EQ(place["title"], "Cursor V:2");
    EXPECT_EQ(place["menu"][0]["id"], "cursor-to-time");
    EXPECT_NE(place["text"].get<std::string>().find("after V:1"), std::string::npos);
    AskWell(under(plot.left + 200, R"(, "run": "cursor-delete")"));
    EXPECT_EQ(View().DatumLines().VertCount(), 1);
    EXPECT_NE(Refused(under(plot.left + 200, R"(, "run": "cursor-delete")")), "");
    EXPECT_NE(Refused(R"({"under": 3})"), "");
}

TEST_F(RemoteSessionTest, TheStateIsJsonWhateverTheFileHolds) {
    Doc().traces[0].traceLabel = "bad \xff\xed\xa0\x80 text \"\\\n";
    Doc().markers.push_back({std::nan(""), "\x80"});
    View().m_axes[0].m_dMax = std::numeric_limits<double>::infinity();
    const Json state = AskWell(R"({"state":true})");
    EXPECT_TRUE(state["documents"][0]["axes"][0]["top"].is_null());
    EXPECT_TRUE(state["documents"][0]["markers"][0]["time"].is_null());
}

TEST_F(RemoteSessionTest, WaitingRepliesWhenItIsToldSo) {
    const RemoteReply reply = remote.Take(R"({"id":3,"wait":true,"timeoutMs":500})");
    EXPECT_TRUE(reply.waits);
    EXPECT_TRUE(reply.line.empty());
    EXPECT_EQ(reply.document, 0);
    EXPECT_EQ(reply.timeoutMs, 500);
    EXPECT_FALSE(reply.coarse);
    EXPECT_EQ(Json::parse(remote.FinishWait(true)), (Json{{"ok", true}, {"painted", true}, {"id", 3}}));
    remote.Take(R"({"wait":true})");
    EXPECT_EQ(Json::parse(remote.FinishWait(false)), (Json{{"ok", true}, {"painted", false}}));
}

TEST_F(RemoteSessionTest, GivesPicturesAndWritesThem) {
    EXPECT_EQ(AskWell(R"({"png":true})")["png"], "TWFueQ==");
    AskWell(R"({"png":"view","file":"/picture.png"})");
    files.Bytes("/picture.png").resize(100);
    EXPECT_FALSE(Refused(R"({"png":true,"file":"/picture.png"})").empty());
    AskWell(R"({"png":true,"file":"/picture.png","yes":true})");
    EXPECT_EQ(files.Bytes("/picture.png").size(), 4u);
    // RFC 4648, section 10: a part of "foobar" of each length.
    const std::string_view plain = "foobar";
    const char* encoded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (size_t n = 0; n <= 6; ++n) EXPECT_EQ(ToBase64(std::as_bytes(std::span(plain).first(n))), encoded[n]);
}

TEST_F(RemoteSessionTest, PassesKeysAndMouse) {
    AskWell(R"({"key":"Ctrl+e"})");
    EXPECT_EQ(target.keys, std::vector<std::string>{"Ctrl+e"});
    AskWell(R"({"mouse":{"type":"drag","x":10,"y":20,"toX":30,"toY":40,"shift":true}})");
    ASSERT_EQ(target.mouseEvents.size(), 4u);
    EXPECT_EQ(target.mouseEvents[0].event.x, 10);
    EXPECT_EQ(target.mouseEvents[3].type, RemoteMouse::Type::release);
    EXPECT_EQ(target.mouseEvents[3].event.y, 40);
    EXPECT_TRUE(target.mouseEvents[3].event.shift);
    AskWell(R"({"mouse":{"x":1,"y":2,"button":"right"}})");
    EXPECT_EQ(target.mouseEvents[5].event.button, MouseButton::right);
}

TEST_F(RemoteSessionTest, ChangesNothingWhileAPersonAnswersADialog) {
    target.dialog = "File details";
    EXPECT_NE(Refused(R"({"close":true})").find("File details"), std::string::npos);
    EXPECT_EQ(AskWell(R"({"state":true})")["dialog"], "File details");
    AskWell(R"({"png":true})");
    target.dialog.clear();
    AskWell(R"({"close":true})");
}

// --- the host in between ---

TEST_F(RemoteSessionTest, ThePersonHasTheWordBetweenTheRequests) {
    AskWell(R"({"state":true})");
    host.Message("hello", "Kymora");
    EXPECT_EQ(person.LastMessage(), "hello");
    const auto progress = host.StartProgress("Reading", 10);
    EXPECT_TRUE(host.IsWorking());
    EXPECT_TRUE(progress->Update(5));
    EXPECT_EQ(person.progress[0].updates, std::vector<uint64_t>{5});
    EXPECT_EQ(RunUnattended(host, session, [&] { EXPECT_FALSE(host.Confirm("Sure?", "Kymora")); }), "Sure?");
    EXPECT_TRUE(person.questions.empty());
}

}  // namespace
}  // namespace kymora::test
