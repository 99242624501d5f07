#pragma once
// What a transform knows of the run of samples that it treats.

#include <cstdint>
#include <random>
#include <vector>

#include "document/data_doc.h"
#include "kernels/kernel_outcome.h"
#include "kernels/normalize.h"
#include "kernels/passes.h"
#include "kernels/streams.h"

namespace kymora {

struct TransformRun {
    CDataDoc& doc;
    int trace = 0;      // from 0
    int64_t start = 0;  // position of its first sample in the recording
    int64_t count = 0;  // samples
    // Where the run joins all valid stretches of a trace: their lengths and those of the gaps by turns, a
    // valid stretch first. Empty for a run of neighbouring samples.
    std::vector<uint32_t> validRuns;
    // Where random functions draw from; a preview has a copy of the session's.
    std::mt19937& random;
    // For the log, and for transforms that show a progress of their own.
    Host& host;
    ScratchRoom& scratch;
    // Reports samples done and throws Cancelled when the user has had enough. Kernels that read sources need
    // not call it.
    KernelPoll goOn;

    double Interval() const { return doc.sampleInterval; }  // ms
};

}  // namespace kymora
