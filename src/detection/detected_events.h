#pragma once
// What a detector found, as events.

#include <span>
#include <vector>

#include "detection/threshold_detector.h"
#include "document/sample_scan.h"
#include "operations/operation_job.h"

namespace kymora {

inline constexpr float detectedValue = -1.0f;  // of an event that a detector made

std::vector<CEventKM> EventsOf(std::span<const DetectedSpan> spans);

// Sends the region of a job through a detector; what it detects are the events of `target`. Throws FileError,
// or Cancelled.
template <typename Detector>
void Detect(SampleReader& samples, SampleSpan region, Detector detector, ProgressScope& progress,
            EventJob::Found& target) {
    std::vector<DetectedSpan> spans;
    ScanSamples(samples, target.parentTrace, region.first, region.Count(), [&](std::span<const float> block) {
        detector.Take(block, spans);
        progress.Step(block.size());
        return true;
    });
    detector.Finish(spans);
    target.events = EventsOf(spans);
}

}  // namespace kymora
