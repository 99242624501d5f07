#pragma once
// The window in which one records, as remote requests need it.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/overlays.h"

namespace kymora {

// Of the refractory protocol.
struct RefractoryState {
    struct Point {
        double delay, threshold;  // ms, V
        int sweeps;
    };
    bool isAutomatic = false;
    size_t sweeps = 0, accepted = 0;
    double amplitude = 0.0, delay = 0.0;  // of the trial pulse now
    size_t selected = 0;                  // the sweep under review, from 1; 0: there is none
    std::optional<double> stored, delta;  // its change as it counts, and worked out anew
    std::vector<Point> curve;             // of the accepted sweeps
};

struct RecorderState {
    std::string source;  // empty: no board
    std::string state;   // in words
    std::string status;  // of a series
    bool running = false, unsaved = false;
    int64_t scans = 0, scansAtMost = 0;  // stored
    double sampleInterval = 0.0;         // ms
    int appended = 0;                    // recordings in the present file
    double pipeFill = 0.0;               // 0 to 1
    std::optional<double> diskSeconds;
    int64_t frames = 0;
    double framesPerSecond = 0.0;
    int64_t droppedScans = 0;                   // that the display left out
    std::vector<double> latencies, paintTimes;  // ms, of the last frames
    std::optional<int64_t> spikes;              // nothing: they are not detected
    double spikeRate = 0.0;                     // Hz
    std::vector<CMarker> notes;
    std::string notice;  // what was said in the window
    std::optional<RefractoryState> refractory;
};

class RemoteRecorder {
  public:
    virtual ~RemoteRecorder() = default;
    virtual RecorderState State() = 0;
    // False where it does not open, which the host was told.
    virtual bool OpenSource(const std::string& source) = 0;
    virtual bool Load(const std::filesystem::path& configuration) = 0;
    // Answers why the value may not be used; empty when it was.
    virtual std::string Set(const std::string& key, const std::string& value) = 0;
    // "start", "stop", "pause", "view", "save", "done", "note", "autoscale", "settings", "accept", "clear",
    // "deleteAll", "recalculate", "deleteSweep". False: there is no such, or it is not enabled.
    virtual bool Press(std::string_view button) = 0;
    // Sweeps of a saved search, and which of those that are there (from 1) is under review. False where that
    // is not possible.
    virtual bool Review(const std::filesystem::path& recording) = 0;
    virtual bool SelectSweep(int sweep) = 0;
    // Marks this moment. False where nothing is recorded.
    virtual bool Note(std::string_view text) = 0;
    // False when it stays open. Without asking where samples are given up.
    virtual bool Close(bool discards) = 0;
    // Spikes of a trace (from 1; 0: of none) above a level (V), or below it.
    virtual void Detect(int trace, double level, bool isFalling) = 0;
    virtual void Resize(int width, int height) = 0;
    // A page of the settings by its title. False where there is none.
    virtual bool ShowPage(std::string_view title) = 0;
    // PNG of the window.
    virtual std::vector<std::byte> Picture() = 0;
};

}  // namespace kymora
