#include "numerics/expression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace kymora {
namespace {

class ExpressionTest : public ::testing::Test {
  protected:
    double Value(const std::string& text) {
        EXPECT_EQ(expression.Parse(text), "") << text;
        return expression.Evaluate();
    }

    std::mt19937 random{7};
    Expression expression{random};
};

TEST_F(ExpressionTest, VariablesAreReadWhenTheValueIsAsked) {
    double t = 0.0;
    expression.Bind("t", t);
    ASSERT_EQ(expression.Parse("2*t + 1"), "");
    EXPECT_EQ(expression.Evaluate(), 1.0);
    t = 3.0;
    EXPECT_EQ(expression.Evaluate(), 7.0);
}

// Values of tables, to the last digit that they print.
TEST_F(ExpressionTest, AddedFunctions) {
    EXPECT_EQ(Value("fmod(7.5, 2)"), 1.5);
    EXPECT_NEAR(Value("erf(1)"), 0.8427007929497149, 1e-15);
    EXPECT_NEAR(Value("cbrt(27)"), 3.0, 1e-15);
    EXPECT_EQ(Value("trunc(-2.7)"), -2.0);
    EXPECT_EQ(Value("ceil(2.1)"), 3.0);
    EXPECT_EQ(Value("floor(-2.1)"), -3.0);
    EXPECT_NEAR(Value("gamma(5)"), 24.0, 1e-12);
    EXPECT_EQ(Value("1 < 2 ? 10 : 20"), 10.0);
    EXPECT_EQ(Value("(3 == 3) + (2 >= 5)"), 1.0);
    EXPECT_TRUE(std::isinf(Value("1/0")));
    EXPECT_TRUE(std::isnan(Value("0/0")) && std::isnan(Value("rndp(-1)")));
}

TEST_F(ExpressionTest, WhatIsNoEquationIsRefusedWithAReason) {
    double t = 0.0;
    expression.Bind("t", t);
    for (const char* text : {"", "  \t", "sin(", "2 +", "unknown(3)", "u + 1", "1,2", "\"text\"", "t = 3",
                             "y = t", "fmod(1)", "rndn(1,2,3)", "((((", "@", "\xC3\xA9"}) {
        EXPECT_NE(expression.Parse(text), "") << text;
        EXPECT_TRUE(std::isnan(expression.Evaluate())) << text;
    }
    EXPECT_EQ(t, 0.0) << "an equation changes no variable";
    EXPECT_NE(expression.Parse(std::string(100000, '(')), "");
}

// The sample moments of a distribution against its theoretical ones, within five standard errors.
TEST_F(ExpressionTest, RandomFunctionsHaveTheirDistributions) {
    constexpr int draws = 200000;
    const auto expect = [&](const char* text, double mean, double variance) {
        EXPECT_EQ(expression.Parse(text), "") << text;
        double sum = 0.0, squares = 0.0;
        for (int i = 0; i < draws; ++i) {
            const double value = expression.Evaluate();
            sum += value;
            squares += value * value;
        }
        EXPECT_NEAR(sum / draws, mean, 5 * std::sqrt(variance / draws)) << text;
        EXPECT_NEAR(squares / draws - sum / draws * sum / draws, variance, 0.05 * variance) << text;
    };
    expect("rndu(2, 6)", 4.0, 16.0 / 12.0);
    expect("rndu()", 0.5, 1.0 / 12.0);
    expect("rndn(10, 3)", 10.0, 9.0);
    expect("rndn( )", 0.0, 1.0);
    expect("rndp(4)", 4.0, 4.0);
    expect("rndp(1e6)", 1e6, 1e6);
    expect("rndo(5)", 5.0, 25.0);
    expect("3*rndo() + rndp()", 4.0, 10.0);
}

TEST_F(ExpressionTest, TellsWhichVariablesItUses) {
    EquationVariables variables;
    variables.BindTo(expression);
    EXPECT_EQ(Value("x + 3*a"), 0.0);
    EXPECT_EQ(expression.UsedNames(), (std::vector<std::string>{"a", "x"}));
    variables.abscissa = 2.0;
    variables.parameters = {1.0, 10.0, 0.0, 0.0, 0.0, 0.0, 0.0, 100.0};
    EXPECT_EQ(Value("x + 3*a"), 5.0);
    EXPECT_EQ(Value("t + b + h"), 112.0);
    EXPECT_EQ(Value("1 < 2 ? t : c"), 2.0);
    EXPECT_EQ(expression.UsedNames(), (std::vector<std::string>{"c", "t"}));
    EXPECT_NE(expression.Parse("a +"), "");
    EXPECT_TRUE(expression.UsedNames().empty());
}

}  // namespace
}  // namespace kymora
