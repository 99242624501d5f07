// The ring between two threads: order, lengths and fullness, held against a plain count.

#include "acquisition/pipe.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace kymora::test {
namespace {

TEST(Pipe, HoldsAsManySlotsAsItHasAndGivesThemInOrder) {
    CPipe pipe(3, 4);
    const std::byte bytes[] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}};
    for (int round = 0; round < 5; ++round) {
        EXPECT_TRUE(pipe.Peek().empty());
        for (size_t i = 1; i <= 3; ++i) EXPECT_TRUE(pipe.Write(std::span(bytes).first(i)));
        EXPECT_FALSE(pipe.Write(bytes));
        EXPECT_EQ(pipe.Count(), 3u);
        for (size_t i = 1; i <= 3; ++i) {
            ASSERT_EQ(pipe.Peek().size(), i);
            EXPECT_EQ(std::memcmp(pipe.Peek().data(), bytes, i), 0);
            pipe.Advance();
        }
    }
}

TEST(Pipe, LosesNothingBetweenTwoThreads) {
    constexpr uint32_t count = 200000;
    CPipe pipe(7, 3 * sizeof(uint32_t));
    std::thread producer([&] {
        for (uint32_t i = 0; i < count;) {
            const uint32_t values[3] = {i, ~i, i * 7};
            if (pipe.Write(std::as_bytes(std::span(values, 1 + i % 3))))
                ++i;
            else
                std::this_thread::yield();
        }
    });
    uint32_t wrong = 0;
    for (uint32_t i = 0; i < count;) {
        const int seen = pipe.Signal();
        const auto slot = pipe.Peek();
        if (slot.empty()) {
            pipe.Await(seen);
            continue;
        }
        const uint32_t expected[3] = {i, ~i, i * 7};
        wrong += slot.size() != 4 * (1 + i % 3) || std::memcmp(slot.data(), expected, slot.size()) != 0;
        pipe.Advance();
        ++i;
    }
    producer.join();
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(pipe.Count(), 0u);
}

}  // namespace
}  // namespace kymora::test
