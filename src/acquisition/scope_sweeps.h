#pragma once
// Sweeps out of scans as they come, as an oscilloscope shows them: one after the other, or each around the
// scan with which a trace crosses a level. For display only.

#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "acquisition/scan_format.h"

namespace kymora {

enum class ScopeTrigger { automatic, threshold };

struct ScopeSettings {
    int shown = 1;  // the trace of the sweeps, of those that are recorded, from 1
    ScopeTrigger trigger = ScopeTrigger::threshold;
    int trace = 1;       // that crosses the level
    double level = 0.5;  // V, behind the amplifier's gain
    bool isFalling = false;
    double spanMs = 50.0;    // of a sweep
    double preMs = 5.0;      // of it before the trigger
    double holdoffMs = 0.0;  // from a trigger to the earliest next one
    int superimposed = 1;    // sweeps that are kept
};

// Why sweeps cannot be like this at a rate; empty where they can.
std::string ScopeFault(const ScopeSettings& settings, size_t channels, double kHz);

struct ScopeSweep {
    int64_t trigger = 0;  // the scan, of all since the beginning
    std::vector<float> volts;
};

// A sweep has round(span * rate) scans, of which round(pre * rate) lie before the trigger. With a threshold
// the trigger is a scan at or beyond the level behind one that is not, before which there are as many scans
// as the sweep needs. It comes behind the last scan of the sweep before, and not before the holdoff since
// that one's trigger. Without one, sweeps begin at the first scan, have nothing before their trigger, and the
// next begins behind the last, or when the holdoff is over.
class ScopeSweeps {
  public:
    static constexpr double mostScans = 200000;  // of a sweep
    static constexpr int mostSuperimposed = 50;

    // Of settings without a fault.
    ScopeSweeps(const ScopeSettings& settings, const ScanFormat& format, double kHz);

    // Whole scans behind those before.
    void Take(std::span<const std::byte> scans);
    // So many scans were not seen: sweeps do not reach over them.
    void Pass(int64_t scans);

    // The latest ones, the oldest first.
    const std::deque<ScopeSweep>& Sweeps() const { return m_sweeps; }
    // What there is of a sweep that has begun; empty while there is none.
    const ScopeSweep& Pending() const { return m_pending; }
    int64_t Found() const { return m_nFound; }
    // How long after its trigger a place of a sweep is, ms.
    double TimeOf(size_t place) const {
        return (static_cast<double>(place) - static_cast<double>(m_nPre)) / m_dKHz;
    }

  private:
    bool IsTrigger(std::span<const std::byte> scan);
    void Begin();
    void Complete();

    ScopeSettings m_settings;
    ScanFormat m_format;
    double m_dKHz;
    size_t m_nScans, m_nPre;
    int64_t m_nHoldoff;
    int64_t m_nScan = 0;      // the next
    int64_t m_nEarliest = 0;  // for the next trigger
    bool m_bWasBeyond = true;
    std::vector<float> m_history;  // a ring of what came before
    size_t m_nAt = 0, m_nHistory = 0;
    ScopeSweep m_pending;
    std::deque<ScopeSweep> m_sweeps;
    int64_t m_nFound = 0;
};

// The sweep as a line with about as many points as asked for: each place, or the least and the greatest value
// of as many as fall together.
std::vector<std::pair<size_t, float>> ScopeLine(std::span<const float> volts, size_t points);

}  // namespace kymora
