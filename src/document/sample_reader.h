#pragma once
// The samples of a recording for whoever reads and changes nothing: a document, or a second look at its file
// from another thread. A reader belongs to one thread at a time.

#include <cstdint>
#include <span>

#include "document/sample_blocks.h"

namespace kymora {

class SampleReader {
  public:
    virtual ~SampleReader() = default;
    // Fills the blocks with the samples from position `from` on. Gap samples are 0.0 and invalid, samples
    // outside the recording not-a-number and invalid; gains are applied. All blocks have one length. Throws
    // FileError.
    virtual void ReadBlocks(int64_t from, std::span<const TraceBlock> blocks) = 0;
    void ReadBlock(int trace, int64_t from, std::span<float> values, std::span<uint8_t> valid = {}) {
        const TraceBlock block{trace, values, valid};
        ReadBlocks(from, {&block, 1});
    }

    virtual double GetSampleInterval() const = 0;  // ms
    virtual int64_t GetTraceLength(int trace) const = 0;
    // Valid samples in [from, to) of a trace, both held to its extent.
    virtual int64_t CountValid(int trace, int64_t from, int64_t to) const = 0;
    virtual bool HasGaps() const = 0;
    // It has a length and no samples.
    virtual bool HasNoData() const = 0;
};

}  // namespace kymora
