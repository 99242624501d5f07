// Trace arithmetic and the test of expressions as a user runs them.

#include "host/form.h"
#include "transforms/arbitrary_arith.h"

#include <cmath>
#include <regex>
#include <sstream>

#include "document/native_writer.h"
#include "transforms/dialog_fixture.h"
#include "transforms/eqn_test_dialog.h"

namespace kymora::test {
namespace {

using Values = std::vector<float>;

class ArbitraryArithTest : public DialogTest {
  protected:
    CArbitraryArith dialog;
};

TEST_F(ArbitraryArithTest, AllTracesAtTheSameTime) {
    SetDoc({{1, 2, 3, 4}, {10, 20, 30, 40}});
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"expression", "x2 - 2*x1 + 100*xt"}});
    EXPECT_EQ(dialog.Validate(), "");
    // The run that is treated lies where it lies in the recording, and its own samples play no part.
    TransformRun run = RunOf(2);
    run.start = 1;
    Values output(2);
    EXPECT_TRUE(dialog.TransformBlock(run, Values(2), output).isDone);
    EXPECT_EQ(output, (Values{66, 124}));  // 20 - 4 + 50, 30 - 6 + 100
    EXPECT_EQ(Stream(dialog, Values(4)).values, (Values{8, 66, 124, 182}));
    EXPECT_EQ(Report(dialog), "Arithmetic transform parameters:\r\nTrace list: 1\r\nAdd trace mode\r\n"
                              "Expression: x2 - 2*x1 + 100*xt\r\n");
    Set(dialog, {{"expression", "et + 10*ed"}});
    EXPECT_EQ(Memory(dialog, Values(2)).values, (Values{10, 10}));
}

TEST_F(ArbitraryArithTest, GapsAndWhatLiesOutsideAreZero) {
    doc = MemoryDoc::MakeWithRuns(session, {{1, 2, notANumber, 4}, {5, 6, 7, 8, 9, 10}}, {{2, 2, 2}, {6}});
    Set(dialog, {{"expression", "x1 + 0*x2"}});
    const Values made = Memory(dialog, Values(8)).values;
    EXPECT_TRUE(AreSame(made, {1, 2, 0, 0, notANumber, 4, 0, 0}));
}

TEST_F(ArbitraryArithTest, ExpressionsThatCannotBeUsed) {
    dialog.CheckChangeDoc(doc.get());
    const std::mt19937 before = session.random;
    for (const char* text : {"", "x1 +", "x1 = 2", "x2", "nosuch(x1)"}) {
        Set(dialog, {{"expression", text}});
        EXPECT_NE(dialog.Validate(), "") << text;
        const Smoothed made = Memory(dialog, Values(2));
        EXPECT_FALSE(made.outcome.isDone);
        EXPECT_EQ(made.outcome.message, dialog.Validate());
    }
    EXPECT_EQ(dialog.Params().Find("variables")->shown(), "x1 (traces), xt (time in ms)");
    Set(dialog, {{"expression", "rndn()"}});
    EXPECT_EQ(dialog.Validate(), "");
    EXPECT_EQ(session.random, before);  // to look at it draws nothing
    Memory(dialog, Values(2));
    EXPECT_NE(session.random, before);
    Set(dialog, {{"expression", "1 / (x1 - x1)"}});
    EXPECT_TRUE(std::isinf(Memory(dialog, Values(2)).values[0]));
}

TEST_F(ArbitraryArithTest, TheLabelIsTheExpression) {
    dialog.m_strExpression = "x1*2";
    EXPECT_EQ(dialog.ResultLabel("EMG *"), "x1*2");
    EXPECT_EQ(dialog.ResultLabel("old x1*2 *"), "x1*2");
    dialog.m_nAddMode = CTransformTraceDlg::replaceTraces;
    EXPECT_EQ(dialog.ResultLabel("EMG"), "x1*2");
    EXPECT_EQ(dialog.ResultLabel("old x1*2"), "old x1*2");
    RunMessages messages;
    dialog.SendMessagesTo(&messages);
    EXPECT_EQ(dialog.ResultLabel("EMG"), "EMG");
}

TEST_F(ArbitraryArithTest, CanBeCancelled) {
    dialog.m_strExpression = "3";
    goOn = [](int64_t done) { return done < 10000; };
    EXPECT_THROW(Memory(dialog, Values(30000)), Cancelled);
    EXPECT_THROW(Stream(dialog, Values(30000)), Cancelled);
}

TEST_F(ArbitraryArithTest, TheTestDialog) {
    dialog.CheckChangeDoc(doc.get());
    host.fillForms.push_back([&](Form& form) {
        const auto result = [&form](std::string equation) {
            form["equation"].text = std::move(equation);
            form["calculate"].action(form);
            return form.Text("result");
        };
        EXPECT_EQ(form.Text("result"), "0.000000");
        form["setToOne"].action(form);
        form["x"].number = 0.5;
        form["decimals"].number = 2;
        EXPECT_EQ(result("t + x + a+b+c+d+e+f+g+h"), "9.00");
        EXPECT_EQ(result("log(_e) + fmod(7, 4) + cbrt(27) + gamma(5)"), "31.00");
        EXPECT_EQ(result("1/0") + result("sqrt(-1)") + result("1e300"), "infinitenot a number1.00e+300");
        EXPECT_TRUE(result("x +").starts_with("The equation cannot be used."));
        // Each function of the list is one that expressions have: with one value, with two, or with none.
        const auto& rows = form["functions"].rows;
        for (size_t row = 3; row < rows.size(); ++row) {
            std::istringstream names(std::regex_replace(rows[row].at(0), std::regex("\\(.*\\)|,"), " "));
            for (std::string name; names >> name;) {
                const auto fails = [&](const char* values) {
                    return result(name + values).starts_with("The equation");
                };
                EXPECT_FALSE(fails("(x)") && fails("(x,a)") && fails("()")) << name;
            }
        }
        return true;
    });
    const std::mt19937 before = session.random;
    ParamList params = dialog.Params();
    params.Find("test")->action(params);
    EXPECT_EQ(host.formFault, "");
    ASSERT_EQ(host.forms, std::vector<std::string>{"Test equation"});
    EXPECT_EQ(session.random, before);
}

}  // namespace
}  // namespace kymora::test
