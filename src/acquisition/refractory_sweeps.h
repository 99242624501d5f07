#pragma once
// Sweeps of the refractory protocol: what one is, the file that keeps those that were accepted, and their
// changes worked out anew with another window.

#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "acquisition/scan_format.h"
#include "recording/acq_doc.h"
#include "recording/acquisition_settings.h"

namespace kymora {

inline constexpr const char* onlySearchesText =
    "You can only load kymr-rec files saved from Autosearch threshold detection.";
inline constexpr const char* fewReviewSweepsText = "Not enough sweeps for this selection.";

struct RefractorySweep {
    std::vector<std::byte> samples;  // whole scans, as the board has them
    // Of the trial pulse, V and ms; not a number where that is not known.
    float amplitude = std::numeric_limits<float>::quiet_NaN();
    float delay = std::numeric_limits<float>::quiet_NaN();
    float delta = 0.0f;     // the change that counts, with which it is saved
    uint32_t colour = 0;    // 0x00BBGGRR; 0: that of its trace
    uint64_t number = 0;    // of all that an interface had; tells it from others
    int64_t time = 0;       // of its end, seconds since 1970
    bool hasSpike = false;  // found by a search: no later sweep is compared with it
    bool isAccepted = false;
    bool isCleared = false;  // it is not to be seen any more; a review still compares with it
};

// Sweeps of one set of channels and one rate, in the order in which they came.
struct RefractorySweeps {
    ScanFormat format;
    double sampleInterval = 0.05;  // ms
    std::vector<RefractorySweep> list;
    // At which the monitored window stands where the settings say, ms: the first one of the search or of the
    // file, also when its sweeps were taken away; not a number where none is known.
    float windowDelay = std::numeric_limits<float>::quiet_NaN();
    // How they were made: by hand or by a search.
    RecordingType type = RecordingType::refractoryAutomatic;

    double KHz() const { return 1.0 / sampleInterval; }
    int64_t ScansOf(size_t sweep) const {
        return static_cast<int64_t>(list[sweep].samples.size() / format.ScanBytes());
    }
    size_t AcceptedCount() const;
    // Scans of a trace (from 0), V; those that the sweep has.
    std::vector<float> Volts(size_t sweep, size_t trace, int64_t first, int64_t count) const;
};

// Of one delay: the least amplitude with a spike.
struct RefractoryThreshold {
    float delay = 0.0f;
    std::optional<float> amplitude;
    int spikes = 0;  // times that the threshold was found from below
};
// Of the accepted sweeps, delay by delay; each of them counts as a spike. Delays without one are not there.
std::vector<RefractoryThreshold> ThresholdsOf(const RefractorySweeps& sweeps);

// Where the monitored window lies in a sweep, in scans. It moves with the delay (WindowShift), and stays
// where that is not known.
struct MonitoredWindow {
    int64_t first = 0, samples = 0;
    bool IsIn(int64_t scans) const { return first >= 0 && samples > 0 && first + samples <= scans; }
};
std::vector<MonitoredWindow> WindowsOf(const RefractorySweeps& sweeps, const RefractorySettings& settings);

// The change of each sweep ("delta") with the window and the trace of the settings: its difference from the
// last sweep without a spike at its delay, in units of that one's own difference from the one before
// (refractory_search.h). Sweeps that all have a spike, as those of a file have, are each compared with the
// one before, whatever their delay. Nothing for a sweep that two others do not come before, or in which the
// window does not lie.
std::vector<std::optional<float>> ChangesOf(const RefractorySweeps& sweeps,
                                            const RefractorySettings& settings);

// The sweeps of a saved search. Throws FileError where it is none, or cannot be read.
RefractorySweeps SweepsOf(const CAcqDoc& doc);
// What a document says of its channels and its board, for another one.
void CopyRecordingHead(const CAcqDoc& from, CAcqDoc& to);
// The accepted ones as episodes, in a document that records (CAcqDoc::WriteAcqFileStart), which becomes the
// file of that name. Throws FileError.
void WriteSweeps(CAcqDoc& doc, const RefractorySweeps& sweeps, const std::filesystem::path& path);

}  // namespace kymora
