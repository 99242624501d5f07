#include "host/form.h"
#include "remote/form_answers.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kymora::test {
namespace {

Form EveryKind() {
    Form form("Every kind");
    Field& count = form.AddInteger("count", "Count", 3);
    count.least = 1;
    count.greatest = 9;
    form.AddText("name", "Name", "old");
    form.AddFlag("on", "On", false);
    form.AddChoice("mode", "Mode", {"first", "second"}, 0);
    form.AddColour("colour", "Colour", 0x0000FF);
    form.AddFont("font", "Font", {"Sans", 11});
    form.AddCheckList("traces", "Traces", {"1", "2", "3"}, {1, 1, 0});
    form.AddNote("note", "Read this");
    form.AddAction("reset", "Reset", [](Form& f) { f["count"].number = 5; });
    return form;
}

TEST(FormAnswersTest, SetsEveryKindOfField) {
    Form form = EveryKind();
    const Json answers =
        Json::parse(R"({"count":7.0,"name":"new","on":true,"mode":"second","colour":"#00ff00",
        "font":{"pixelHeight":20,"italic":true},"traces":[2,"1"]})");
    EXPECT_EQ(FillForm(form, answers), "");
    EXPECT_EQ(form.Integer("count"), 7);
    EXPECT_EQ(form.Text("name"), "new");
    EXPECT_TRUE(form.Flag("on"));
    EXPECT_EQ(form.Choice("mode"), 1);
    EXPECT_EQ(form["colour"].colour, 0x00FF00u);
    EXPECT_EQ(form["font"].font, (FontSpec{"Sans", 20, 400, true}));
    EXPECT_EQ(form["traces"].checks, (std::vector<uint8_t>{1, 0, 1}));
    const Json described = DescribeForm(form);
    EXPECT_EQ(described["fields"][4]["value"], "#00ff00");
    EXPECT_EQ(described["fields"][6]["value"], Json::parse("[0,2]"));
}

TEST(FormAnswersTest, PressesButtonsInTheirPlace) {
    Form before = EveryKind();
    EXPECT_EQ(FillForm(before, Json::parse(R"({"count":2,"reset":true})")), "");
    EXPECT_EQ(before.Integer("count"), 5);
    Form behind = EveryKind();
    EXPECT_EQ(FillForm(behind, Json::parse(R"({"reset":true,"count":2})")), "");
    EXPECT_EQ(behind.Integer("count"), 2);
}

TEST(FormAnswersTest, RefusesWhatTheFormWouldNotTake) {
    std::istringstream all(R"(
        {"count":0} {"count":2.5} {"count":"3"} {"name":3} {"on":1} {"mode":2} {"mode":"third"} {"mode":-1}
        {"colour":"#00ff0"} {"font":{"size":3}} {"font":7} {"traces":[3]} {"traces":7} {"note":"x"} {"wing":1}
        {"reset":"yes"} [] null)");
    for (std::string answers; all >> answers;) {
        Form form = EveryKind();
        EXPECT_NE(FillForm(form, Json::parse(answers)), "") << answers;
    }
    Form checked = EveryKind();
    checked.validate = [](const Form& form) { return form.Flag("on") ? "Not on." : ""; };
    EXPECT_EQ(FillForm(checked, Json::parse(R"({"on":true})")), "Not on.");
}

}  // namespace
}  // namespace kymora::test
