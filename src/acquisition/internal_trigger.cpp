#include "acquisition/internal_trigger.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

std::string TriggerLevelFault(const InternalTriggerSettings& settings, double end, double otherEnd) {
    const auto [low, high] = std::minmax(end, otherEnd);
    if (settings.level > low && settings.level < high) return {};
    return fmt::format("The trigger never comes: its level of {:.6g} V is not between {:.6g} and {:.6g} V, "
                       "which the input can have.",
                       settings.level, low, high);
}

InternalTrigger::InternalTrigger(const InternalTriggerSettings& settings, const ScanFormat& format,
                                 size_t preScans)
    : m_settings(settings), m_format(format), m_ring(preScans * format.ScanBytes()) {}

bool InternalTrigger::IsBeyond(std::span<const std::byte> scan) const {
    const double volts = m_format.Volts(scan, m_settings.trace - 1);
    return m_settings.isFalling ? volts <= m_settings.level : volts >= m_settings.level;
}

std::optional<size_t> InternalTrigger::Find(std::span<const std::byte> scans) {
    const size_t scanBytes = m_format.ScanBytes();
    for (size_t at = 0; at + scanBytes <= scans.size(); at += scanBytes) {
        const bool isBeyond = IsBeyond(scans.subspan(at, scanBytes));
        const bool crosses = isBeyond && m_wasBeyond == false;
        m_wasBeyond = isBeyond;
        if (crosses) return at / scanBytes;
    }
    return {};
}

void InternalTrigger::Keep(std::span<const std::byte> scans) {
    if (m_ring.empty()) return;
    if (scans.size() > m_ring.size()) scans = scans.last(m_ring.size());
    const size_t first = std::min(scans.size(), m_ring.size() - m_nAt);
    std::copy_n(scans.begin(), first, m_ring.begin() + static_cast<std::ptrdiff_t>(m_nAt));
    std::copy(scans.begin() + static_cast<std::ptrdiff_t>(first), scans.end(), m_ring.begin());
    m_bFull = m_bFull || m_nAt + scans.size() >= m_ring.size();
    m_nAt = (m_nAt + scans.size()) % m_ring.size();
}

void InternalTrigger::Release(const std::function<void(std::span<const std::byte>)>& to) const {
    const auto kept = std::span(m_ring);
    if (m_bFull && m_nAt < kept.size()) to(kept.subspan(m_nAt));
    if (m_nAt > 0) to(kept.first(m_nAt));
}

}  // namespace kymora
