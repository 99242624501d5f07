#include "support/remote_fixture.h"

namespace kymora::test {
namespace {

class RemoteOperationsTest : public RemoteTest {
  protected:
    // A trace with two samples above 5, at 3 and 7.
    void AddSpikes() {
        target.Add(MemoryDoc::Make(session, {{0, 1, 0, 9, 0, 1, 0, 8, 0, 0}}));
        doc = &target.Views()[static_cast<size_t>(target.active)]->GetDocument();
    }
    CDataDoc* doc = nullptr;
};

TEST_F(RemoteOperationsTest, SetsParametersInTheirOrderAndRuns) {
    AddSpikes();
    const Json answer = AskWell(
        R"({"operation":"event-threshold","set":{"onPos":2,"offsetEqualsOnset":true,"onPos":5,"destination":"c"},)"
        R"("run":true,"picture":true,"shut":true})");
    EXPECT_EQ(answer["parameters"]["onPos"], "5");
    EXPECT_EQ(answer["parameters"]["destination"], "c");
    EXPECT_EQ(answer["png"], "cA==");
    ASSERT_EQ(doc->GetNumEvents(2), 2);
    EXPECT_EQ(doc->GetOn(2, 0), 3);
    EXPECT_EQ(doc->GetOn(2, 1), 7);
    EXPECT_TRUE(target.operations.empty());

    const Json list = AskWell(R"({"operation":"CEventList","set":{"channel1":"c"},"run":true})");
    EXPECT_TRUE(list["result"].get<std::string>().starts_with("Event parameters: #ID\t"));
}

TEST_F(RemoteOperationsTest, APreviewIsAPictureOfATransform) {
    EXPECT_EQ(AskWell(R"({"operation":"gen-smooth","preview":true,"shut":true})")["previewPng"], "dg==");
    EXPECT_EQ(Refused(R"({"operation":"event-threshold","preview":true})"), "There is no picture.");
}

TEST_F(RemoteOperationsTest, AGraphIsDataAndAPicture) {
    AddSpikes();
    for (const int at : {0, 1, 3, 6}) doc->AddEvent(1, {at, at + 1});
    const auto ask = [](const std::string& more) {
        return R"({"operation":"event-hist","set":{"channel1":"b","optimalBins":true,"showLogP":true})" +
               more + "}";
    };
    const Json run = AskWell(ask(R"(,"run":true,"tables":true,"graph":true)"));
    ASSERT_EQ(run["graph"]["panes"].size(), 2u);
    EXPECT_EQ(run["graph"]["panes"][0]["name"], "histogram");
    Json counts = Json::array();
    for (const Json& row : run["results"][1]["rows"]) counts.push_back(row[2]);
    EXPECT_EQ(run["graph"]["panes"][0]["layers"][0]["y"], counts);

    // Of the window as it stands, without a run.
    const Json open = AskWell(R"({"operation":"event-hist","graph":true})");
    EXPECT_EQ(open["graph"], run["graph"]);
    const Json pane = AskWell(R"({"operation":"event-hist","graph":true,"pane":"logP"})");
    EXPECT_EQ(pane["graph"]["panes"], Json::array({run["graph"]["panes"][1]}));

    const Json png = AskWell(R"({"operation":"event-hist","graphPicture":"png","width":80,"height":60})");
    EXPECT_TRUE(png["graphPicture"].get<std::string>().starts_with("iVBORw0KGgo")) << "a PNG in base64";
    const std::string toFile = R"({"operation":"event-hist","graphPicture":"svg","file":"/g.svg")";
    const Json svg = AskWell(toFile + "}");
    EXPECT_FALSE(svg.contains("graphPicture"));
    EXPECT_EQ(svg["bytes"], files.Bytes("/g.svg").size());
    EXPECT_NE(Refused(toFile + "}").find("exists"), std::string::npos);
    AskWell(toFile + R"(,"yes":true})");

    const std::pair<const char*, const char*> wrong[] = {
        {R"({"operation":"event-hist","graph":true,"pane":"rose"})", "It has: histogram, logP."},
        {R"({"operation":"event-list","graph":true})", "The operation draws no graph."},
        {R"({"operation":"event-hist","graphPicture":"gif"})", "\"png\", \"svg\" or \"pdf\""},
        {R"({"operation":"event-hist","graphPicture":"png","width":10})", "50 to 20000 pixels"},
    };
    for (const auto& [line, words] : wrong) {
        const std::string error = Refused(line);
        EXPECT_NE(error.find(words), std::string::npos) << error;
    }
}

TEST_F(RemoteOperationsTest, NumbersNeedNoRecording) {
    files.Put("/n.txt", {std::byte{'1'}, std::byte{' '}, std::byte{'3'}});
    target.Close(0);
    ASSERT_EQ(target.Active(), -1);
    const Json answer = AskWell(R"({"operation":"general-hist","set":{"file":"/n.txt"},"run":true})");
    EXPECT_TRUE(answer["result"].get<std::string>().starts_with("mean val in hist\t2.000000"));
    EXPECT_EQ(Refused(R"({"operation":"event-hist","run":true})"), "No recording is open.");
}

TEST_F(RemoteOperationsTest, WhatIsWrongIsNamedAndChangesNothing) {
    AddSpikes();
    const std::pair<const char*, const char*> bad[] = {
        {R"({"operation":"no-such"})", "There is no operation \"no-such\"."},
        {R"({"operation":"event-threshold","set":{"wings":2}})", "The operation has no parameter \"wings\"."},
        {R"({"operation":"event-threshold","set":{"onMultiplier":-1}})", "must be at least 0"},
        {R"({"operation":"event-threshold","press":"wings"})", "The operation has no button \"wings\"."},
        {R"({"operation":"event-threshold","set":{"trace":2},"run":true})",
         "The selected data trace does not exist"},
        {R"({"operation":"event-threshold","config":"/none.kymr-cfg"})", "/none.kymr-cfg"},
    };
    for (const auto& [line, words] : bad) {
        const std::string error = Refused(line);
        EXPECT_NE(error.find(words), std::string::npos) << error;
    }
    for (int channel = 0; channel < maxEventChannels; ++channel) ASSERT_EQ(doc->GetNumEvents(channel), 0);
}

}  // namespace
}  // namespace kymora::test
