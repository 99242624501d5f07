#pragma once
// A recording that begins when a trace crosses a level, with what came before.

#include <functional>
#include <optional>
#include <vector>

#include "acquisition/scan_format.h"

namespace kymora {

struct InternalTriggerSettings {
    uint32_t trace = 1;  // of those that are recorded, from 1
    double level = 0.5;  // V, behind the amplifier's gain, as the recording shows it
    bool isFalling = false;
    double preTriggerMs = 0;  // kept of what came before
};

// Why a trace of which the source gives values between these (V, over the gain) never crosses the level;
// empty where it may.
std::string TriggerLevelFault(const InternalTriggerSettings& settings, double end, double otherEnd);

class InternalTrigger {
  public:
    // `preScans` are kept; their memory is taken here.
    InternalTrigger(const InternalTriggerSettings& settings, const ScanFormat& format, size_t preScans);

    size_t ScanBytes() const { return m_format.ScanBytes(); }
    // The first scan in whole scans that follow those looked at before with which the trace has crossed the
    // level: it is at or beyond it, and the scan before was not.
    std::optional<size_t> Find(std::span<const std::byte> scans);
    // Keeps the last of these scans in the place of the oldest.
    void Keep(std::span<const std::byte> scans);
    // So many bytes are kept.
    size_t Kept() const { return m_bFull ? m_ring.size() : m_nAt; }
    // What was kept, oldest first, in at most two pieces.
    void Release(const std::function<void(std::span<const std::byte>)>& to) const;

  private:
    bool IsBeyond(std::span<const std::byte> scan) const;

    InternalTriggerSettings m_settings;
    ScanFormat m_format;
    std::optional<bool> m_wasBeyond;
    std::vector<std::byte> m_ring;
    size_t m_nAt = 0;  // where the next byte goes
    bool m_bFull = false;
};

}  // namespace kymora
