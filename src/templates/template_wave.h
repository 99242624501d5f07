#pragma once
// A template as settings and channels keep it: the waveform at its raised rate, and where it comes from.

#include <stdexcept>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "document/data_doc.h"
#include "operations/batch_base_dlg.h"
#include "templates/template_search.h"

namespace kymora {

inline constexpr int32_t fewestTemplateSamples = 6;
inline constexpr const char* coincidingCursorsText = "one cursor must be before the other";
inline constexpr const char* fewCursorsText =
    "Must have at least 2 cursors on screen to mark capture boundry";
inline constexpr const char* shortCaptureText =
    "You need at least 5 data points in the template: make it longer.";
inline constexpr const char* earlyCaptureText =
    "The template must start at least {:f} ms after the start of the record.";
inline constexpr const char* lateCaptureText = "The template must end before the end of the record.";
inline constexpr const char* brokenCaptureText = "There is a gap, the boundary of an episode, or a sample "
                                                 "that is no finite number in the template. Choose "
                                                 "a stretch without.";
inline constexpr const char* flatTemplateText = "The template has no variation.";
inline constexpr const char* longCaptureText =
    "The template would have {} values. At most {} can be searched for: take a shorter stretch, or a lower "
    "frequency multiplier.";
inline constexpr const char* raiseFaultText =
    "The frequency multiplier is a power of two: 1, 2, 4, 8, 16, 32 or 64.";
inline constexpr const char* noTemplateText = "You need to define a template before analysing.";

// The interval of the template, its samples and duration; the same of the recording.
inline constexpr const char* otherIntervalText =
    "The template has a sample interval of {:g} ms, and its {} samples take {:g} ms. In this recording, "
    "which "
    "has one of {:g} ms, they take {:g} ms: the template is not resampled. Capture one here, or interpolate "
    "the recording to the same interval.";

inline constexpr int64_t mostTemplateValues = 1'000'000;

// Why there is no template; what() is for the user.
class TemplateFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct TemplateWave {
    static constexpr int32_t nowhere = -1;

    std::vector<float> values;  // `multiplier` to each sample
    int32_t multiplier = 1;
    int32_t spareBins = 10;
    int32_t length = 0;                 // samples
    int32_t start = 0;                  // its first sample where it was captured; nowhere: it is an average
    int32_t trace = 0;                  // from 0
    double startMs = 0.0, endMs = 0.0;  // that were captured
    std::string recording;              // the name of its file
    double sampleInterval = 0.0;        // of that file, ms; 0: not known

    bool IsDefined() const { return !values.empty(); }
    // It was captured from this recording; and from this trace of it.
    bool IsFrom(const CDataDoc& doc) const;
    bool IsOf(const CDataDoc& doc, int itsTrace) const;
    // Why it is no template of the same duration in this recording; empty where it is one.
    std::string IntervalWarning(const CDataDoc& doc) const;
    void Exchange(CArchive& archive);
};

// The time of a sample with as few decimals as give the sample back, ms.
double ShortTimeOf(const CDataDoc& doc, int32_t sample);

// Where a template is taken from: samples of a trace.
struct CaptureSpan {
    int trace = 0;
    int32_t first = 0, length = 0;
};
// From one time to another, in either order. Throws TemplateFault.
CaptureSpan SpanBetween(const CDataDoc& doc, int trace, double oneMs, double otherMs);

// The samples of the span, raised with spare ones on both sides, which hold the last value where the samples
// that neighbour them end. Throws TemplateFault and FileError.
TemplateWave CaptureTemplate(CDataDoc& doc, const CaptureSpan& span, int multiplier, int spareBins);

// Why a waveform may not be searched for; empty when it may.
std::string WaveFault(const TemplateWave& wave);

// The stored form of a channel of template recognition (methods 1 to 3).
bool HoldsTemplate(const CEventChan& channel);
// Throws TemplateFault where the record is damaged.
TemplateWave StoredTemplate(const CDataDoc& doc, const CEventChan& channel);

// The mean waveform of the events of a channel with a stored template, at its rate and length. Each is taken
// where the template fits best among the places that have the event's onset. Those that reach over a gap or
// an end are left out. Throws TemplateFault where there is none, and FileError.
TemplateWave AverageOfEvents(CDataDoc& doc, int trace, const CEventChan& channel, const TemplateWave& like);

}  // namespace kymora
