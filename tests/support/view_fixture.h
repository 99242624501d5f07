#pragma once
// A session in memory for tests of the view.

#include <limits>

#include "display/kymora_view.h"
#include "support/session_fixture.h"

namespace kymora::test {

inline constexpr float nan32 = std::numeric_limits<float>::quiet_NaN();
inline constexpr float inf32 = std::numeric_limits<float>::infinity();

class ViewTest : public SessionTest {
  protected:
    // A sample's value is its position, and ten thousand more for each trace.
    std::unique_ptr<MemoryDoc> Ramp(int traces, int64_t length, double sampleInterval = 1.0) {
        return MemoryDoc::Generate(
            session, traces, length,
            [](int trace, int64_t index) { return static_cast<float>(index + 10000 * trace); },
            sampleInterval);
    }
};

}  // namespace kymora::test
