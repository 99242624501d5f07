#pragma once
// How far a long operation has come, and whether it is to stop.

#include <cstdint>

namespace kymora {

// Progress of one long operation. Destroying it takes the progress box or bar away.
class Progress {
  public:
    virtual ~Progress() = default;
    // Reports that `done` of the total are done; false asks the operation to stop.
    virtual bool Update(uint64_t done) = 0;
};

}  // namespace kymora
