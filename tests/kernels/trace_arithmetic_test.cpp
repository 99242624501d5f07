#include "kernels/trace_arithmetic.h"

#include <gtest/gtest.h>

#include <cmath>

#include "kernel_fixture.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

class TraceArithmeticTest : public ::testing::Test {
  protected:
    TraceArithmeticTest() {
        for (size_t trace = 0; trace < 4; ++trace) traces.push_back(NoiseRun(20000 + trace));
    }

    // Answers what a run of `count` samples from `from` on gives.
    Samples Values(const std::string& text, size_t count, int64_t from = 0) {
        EXPECT_EQ(arithmetic.Parse(text), "") << text;
        Samples output(count);
        arithmetic.Run(from, Reader(), output);
        return output;
    }

    TracesReader Reader() {
        return [this](int64_t from, std::span<const int> wanted, std::span<const std::span<float>> to) {
            for (size_t n = 0; n < wanted.size(); ++n) {
                tracesRead.push_back(wanted[n]);
                const Samples& trace = traces[static_cast<size_t>(wanted[n])];
                std::copy_n(trace.begin() + from, to[n].size(), to[n].begin());
            }
        };
    }

    std::mt19937 random{3};
    std::vector<Samples> traces;
    std::vector<int> tracesRead;
    TraceArithmetic arithmetic{random, 4, 0.1};
};

TEST_F(TraceArithmeticTest, ValuesAreThoseOfTheFormulaInDouble) {
    const Samples a = Values("x1 + 2*x2 - x3*x4", 20000);
    const Samples b = Values("sqrt(abs(x1)) + xt*x2^2", 5, 10000);
    for (size_t i = 0; i < a.size(); ++i) {
        const double expected = traces[0][i] + 2.0 * traces[1][i] - double{traces[2][i]} * traces[3][i];
        EXPECT_EQ(a[i], static_cast<float>(expected)) << i;
    }
    for (size_t i = 0; i < b.size(); ++i) {
        const double t = static_cast<double>(10000 + i) * 0.1, x2 = traces[1][10000 + i];
        EXPECT_FLOAT_EQ(b[i],
                        static_cast<float>(std::sqrt(std::fabs(double{traces[0][10000 + i]})) + t * x2 * x2));
    }
}

TEST_F(TraceArithmeticTest, TracesAreInTheOrderOfTheirNumbers) {
    std::vector<Samples> many(128, Samples(1));
    for (size_t i = 0; i < many.size(); ++i) many[i][0] = static_cast<float>(i + 1);
    traces = many;
    TraceArithmetic all(random, 128, 1.0);
    ASSERT_EQ(all.Parse("x10 + 1000*x2 + 1000000*x128"), "");
    Samples output(1);
    all.Run(0, Reader(), output);
    EXPECT_EQ(output[0], 128002010.0f);
    EXPECT_EQ(tracesRead, (std::vector<int>{1, 9, 127})) << "no others";
    EXPECT_EQ(all.UsedTraces(), tracesRead);
    EXPECT_NE(all.Parse("x4 +"), "");
    EXPECT_TRUE(all.UsedTraces().empty());
}

TEST_F(TraceArithmeticTest, WhatCannotBeUsedIsRefused) {
    EXPECT_EQ(arithmetic.Parse("x1 + x5"), "There is no trace x5: the recording has 4 traces, x1 to x4.");
    EXPECT_EQ(TraceArithmetic(random, 1, 1.0).Parse("x0"),
              "There is no trace x0: the recording has one trace, x1.");
    for (const char* text :
         {"x129", "x01", "x99999999999999999999", "x1 +", "", "X1", "2x1", "x1 = 3", "a", "x1,x2"})
        EXPECT_NE(arithmetic.Parse(text), "") << text;
    EXPECT_EQ(arithmetic.Parse("fmod(x1, 1e2) + erf(x1)"), "") << "no names of traces that do not exist";
}

TEST_F(TraceArithmeticTest, StreamsGiveWhatMemoryGivesAndDrawTheSameNumbers) {
    for (const size_t count : {1, 7, 8191, 8192, 8193, 20000}) {
        random.seed(11);
        const Samples memory = Values("rndn() + x1*rndu() + rndp(3) + rndo()", count);
        random.seed(11);
        ASSERT_EQ(arithmetic.Parse("rndn() + x1*rndu() + rndp(3) + rndo()"), "");
        VectorSink sink;
        arithmetic.Run(0, static_cast<int64_t>(count), Reader(), sink);
        EXPECT_TRUE(AreSame(sink.samples, memory));
        EXPECT_NE(memory.front(), memory.back() + (count == 1 ? 1.0f : 0.0f));
    }
}

}  // namespace
}  // namespace kymora
