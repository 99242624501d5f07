#pragma once
// Long runs of samples on their way through a kernel: a source that is read forward once, a sink that takes
// the result, and scratch files between the passes of a kernel that makes several.

#include <cstdint>
#include <memory>
#include <span>

namespace kymora {

// The samples of one run, from its first to its last.
class FloatSource {
  public:
    virtual ~FloatSource() = default;
    // Fills the beginning of `to` and answers how many samples it has filled: all of them, fewer only where
    // the run ends. Throws FileError.
    virtual size_t Read(std::span<float> to) = 0;
};

class FloatSink {
  public:
    virtual ~FloatSink() = default;
    // Throws FileError.
    virtual void Write(std::span<const float> values) = 0;
};

// One intermediate result: written first, then read from its beginning. It goes when the object goes.
class ScratchRun {
  public:
    virtual ~ScratchRun() = default;
    virtual FloatSink& Sink() = 0;
    // Ends the writing. Each call answers a source from the first sample on.
    virtual std::unique_ptr<FloatSource> Rewind() = 0;
    // The same from the last sample to the first.
    virtual std::unique_ptr<FloatSource> Backwards() = 0;
};

// Where a kernel finds room for intermediate results: temporary files beside the output, or memory in tests.
class ScratchRoom {
  public:
    virtual ~ScratchRoom() = default;
    // Throws FileError.
    virtual std::unique_ptr<ScratchRun> Make() = 0;
};

}  // namespace kymora
