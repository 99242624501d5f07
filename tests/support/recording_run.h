#pragma once
// What tests of all recording interfaces share.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "acquisition/acq_view.h"
#include "acquisition/plain_loop.h"
#include "support/test_host.h"

namespace kymora::test {

// Runs until nothing records any more, or `until` answers true.
inline void RunToEnd(PlainLoop& loop, const CAcqView& view, const std::function<bool()>& until) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    loop.Run(
        [&] {
            const bool isLate = std::chrono::steady_clock::now() > deadline;
            EXPECT_FALSE(isLate) << "it never ended";
            return !isLate && !view.HasEnded() && !until();
        },
        std::chrono::milliseconds(5));
}

inline bool WasToldBy(const TestHost& host, const std::string& text) {
    for (const Shown& shown : host.messages)
        if (shown.text.find(text) != std::string::npos) return true;
    return false;
}

}  // namespace kymora::test
