// Regression sets with certified values, read from their files, where these are present.

#include <filesystem>
#include <fstream>
#include <sstream>

#include "fitting/fit_equation.h"
#include "gtest/gtest.h"

namespace kymora::test {
namespace {

struct CertifiedSet {
    std::vector<double> x, y, start1, start2, values, sds;
    double squares = 0.0;
};

// Parameters stand in lines "b1 = start start value sd" or "B0 value sd"; the data, y before x, behind the
// last line that begins with "Data:".
CertifiedSet ReadSet(const std::filesystem::path& path) {
    CertifiedSet set;
    std::ifstream file(path);
    bool inData = false;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word, sign;
        double numbers[4] = {};
        if (line.starts_with("Data:")) {
            inData = line.find("y") != std::string::npos && line.find("Response") == std::string::npos;
        } else if (inData) {
            if (words >> numbers[0] >> numbers[1]) {
                set.y.push_back(numbers[0]);
                set.x.push_back(numbers[1]);
            }
        } else if (line.starts_with("Residual Sum of Squares:")) {
            set.squares = std::stod(line.substr(line.find(':') + 1));
        } else if (words >> word && word.size() == 2 && (word[0] == 'b' || word[0] == 'B') &&
                   isdigit(word[1])) {
            if (word[0] == 'b') {
                words >> sign >> numbers[2] >> numbers[3];
                set.start1.push_back(numbers[2]);
                set.start2.push_back(numbers[3]);
            }
            if (words >> numbers[0] >> numbers[1]) {
                set.values.push_back(numbers[0]);
                set.sds.push_back(numbers[1]);
            }
        } else if (word == "Residual" && words >> numbers[0] >> numbers[1]) {
            set.squares = numbers[1];
        }
    }
    return set;
}

TEST(CertifiedFitsTest, FindTheCertifiedEstimates) {
    const std::filesystem::path folder = std::filesystem::path(KYMORA_SHARED_DATA) / "numeric";
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no folder " << folder;
    const struct {
        const char *name, *equation;
        int start;               // the certified one; 0: 1 for all
        bool plainSteps = true;  // these get there, too
    } sets[] = {
        {"Misra1a", "a*(1-exp(-b*x))", 2},
        {"Misra1b", "a*(1-(1+b*x/2)^(-2))", 2},
        {"Chwirut2", "exp(-a*x)/(b+c*x)", 2},
        {"Chwirut2", "exp(-a*x)/(b+c*x)", 1},
        {"DanWood", "a*x^b", 2},
        {"Kirby2", "(a+b*x+c*x^2)/(1+d*x+e*x^2)", 2},
        {"Lanczos3", "a*exp(-b*x)+c*exp(-d*x)+e*exp(-f*x)", 2},
        {"Gauss1", "a*exp(-b*x)+c*exp(-(x-d)^2/e^2)+f*exp(-(x-g)^2/h^2)", 2},
        {"Gauss2", "a*exp(-b*x)+c*exp(-(x-d)^2/e^2)+f*exp(-(x-g)^2/h^2)", 1},
        {"BoxBOD", "a*(1-exp(-b*x))", 2},
        {"Rat42", "a/(1+exp(b-c*x))", 1, false},
        {"Hahn1", "(a+b*x+c*x^2+d*x^3)/(1+e*x+f*x^2+g*x^3)", 1, false},
        {"Thurber", "(a+b*x+c*x^2+d*x^3)/(1+e*x+f*x^2+g*x^3)", 1, false},
        {"MGH09", "a*(x^2+x*b)/(x^2+x*c+d)", 2, false},
        {"Norris", "a+b*x", 0},
        {"Pontius", "a+b*x+c*x^2", 0},
        {"Wampler4", "a+b*x+c*x^2+d*x^3+e*x^4+f*x^5", 0},
    };
    for (const auto& [name, equation, which, plainSteps] : sets)
        for (const bool damps : {true, false}) {
            const CertifiedSet set = ReadSet(folder / (std::string(name) + ".dat"));
            ASSERT_FALSE(set.x.empty()) << name;
            FitEquation fitted('x');
            ASSERT_EQ(fitted.ParseEquation(equation), "") << name;
            ASSERT_EQ(static_cast<size_t>(fitted.Parameters()), set.values.size()) << name;
            EquationModel model(fitted, set.x);
            std::vector<double> parameters(set.values.size(), 1.0);
            if (which > 0) parameters = which == 1 ? set.start1 : set.start2;
            FitControl control;
            control.mostIterations = 500;
            control.damps = damps;
            CurveFitResult result;
            const bool isDone = FitCurve(model, set.y, control, parameters, result);
            SCOPED_TRACE(std::string(name) + (damps ? ", damped" : ", plain") + " from start " +
                         std::to_string(which));
            if (!damps && !plainSteps) continue;
            ASSERT_TRUE(isDone);
            EXPECT_TRUE(result.hasConverged || !damps);
            EXPECT_NEAR(result.chiSquare, set.squares, 1e-5 * set.squares);
            for (size_t k = 0; k < parameters.size(); ++k) {
                EXPECT_NEAR(parameters[k], set.values[k], 0.02 * set.sds[k]) << k;
                EXPECT_NEAR(result.Error(k), set.sds[k], 0.02 * set.sds[k]) << k;
            }
        }
}

}  // namespace
}  // namespace kymora::test
