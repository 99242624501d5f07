#include "acquisition/scope_sweeps.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr double leastScans = 2.0;

double Scans(double ms, double kHz) { return std::round(ms * kHz); }

}  // namespace

std::string ScopeFault(const ScopeSettings& settings, size_t channels, double kHz) {
    const double scans = Scans(settings.spanMs, kHz);
    const auto isThere = [&](int trace) { return trace >= 1 && trace <= static_cast<int>(channels); };
    if (!isThere(settings.shown) || !isThere(settings.trace))
        return fmt::format("{} trace(s) are recorded.", channels);
    if (!(scans >= leastScans && scans <= ScopeSweeps::mostScans))
        return fmt::format("At this rate a sweep lasts {:.6g} to {:.6g} ms.", leastScans / kHz,
                           ScopeSweeps::mostScans / kHz);
    if (settings.trigger == ScopeTrigger::threshold &&
        !(settings.preMs >= 0.0 && Scans(settings.preMs, kHz) < scans))
        return "What lies before the trigger must be shorter than the sweep.";
    return {};
}

ScopeSweeps::ScopeSweeps(const ScopeSettings& settings, const ScanFormat& format, double kHz)
    : m_settings(settings),
      m_format(format),
      m_dKHz(kHz),
      m_nScans(static_cast<size_t>(Scans(settings.spanMs, kHz))),
      m_nPre(settings.trigger == ScopeTrigger::automatic ? 0
                                                         : static_cast<size_t>(Scans(settings.preMs, kHz))),
      m_nHoldoff(static_cast<int64_t>(std::clamp(Scans(settings.holdoffMs, kHz), 0.0, 1e15))),
      m_nEarliest(static_cast<int64_t>(m_nPre)),
      m_history(m_nPre) {}

bool ScopeSweeps::IsTrigger(std::span<const std::byte> scan) {
    if (m_settings.trigger == ScopeTrigger::automatic) return m_nScan >= m_nEarliest;
    const double volts = m_format.Volts(scan, static_cast<size_t>(m_settings.trace) - 1);
    const bool isBeyond = m_settings.isFalling ? volts <= m_settings.level : volts >= m_settings.level;
    const bool crosses = isBeyond && !m_bWasBeyond;
    m_bWasBeyond = isBeyond;
    return crosses && m_nScan >= m_nEarliest && m_nHistory == m_nPre;
}

void ScopeSweeps::Begin() {
    m_nEarliest = m_nScan + std::max<int64_t>(m_nHoldoff, 1);
    m_pending.trigger = m_nScan;
    m_pending.volts.reserve(m_nScans);
    for (size_t i = 0; i < m_nPre; ++i) m_pending.volts.push_back(m_history[(m_nAt + i) % m_nPre]);
}

void ScopeSweeps::Complete() {
    ++m_nFound;
    const auto most = static_cast<size_t>(std::clamp(m_settings.superimposed, 1, mostSuperimposed));
    m_sweeps.push_back(std::move(m_pending));
    if (m_sweeps.size() > most) m_sweeps.pop_front();
    m_pending = {};
}

void ScopeSweeps::Take(std::span<const std::byte> scans) {
    const size_t scanBytes = m_format.ScanBytes();
    for (size_t at = 0; at + scanBytes <= scans.size(); at += scanBytes, ++m_nScan) {
        const auto scan = scans.subspan(at, scanBytes);
        const auto volts =
            static_cast<float>(m_format.Volts(scan, static_cast<size_t>(m_settings.shown) - 1));
        const bool isTrigger = IsTrigger(scan);
        if (isTrigger && m_pending.volts.empty()) Begin();
        if (isTrigger || !m_pending.volts.empty()) m_pending.volts.push_back(volts);
        if (m_pending.volts.size() == m_nScans) Complete();
        if (m_nPre == 0) continue;
        m_history[m_nAt] = volts;
        m_nAt = (m_nAt + 1) % m_nPre;
        m_nHistory = std::min(m_nHistory + 1, m_nPre);
    }
}

void ScopeSweeps::Pass(int64_t scans) {
    m_nScan += scans;
    m_nAt = m_nHistory = 0;
    m_bWasBeyond = true;
    m_pending = {};
}

std::vector<std::pair<size_t, float>> ScopeLine(std::span<const float> volts, size_t points) {
    const size_t together = std::max<size_t>(1, 2 * volts.size() / std::max<size_t>(points, 1));
    std::vector<std::pair<size_t, float>> line;
    for (size_t from = 0; from < volts.size(); from += together) {
        const auto part = volts.subspan(from, std::min(together, volts.size() - from));
        const auto [least, greatest] = std::minmax_element(part.begin(), part.end());
        const auto low = static_cast<size_t>(least - part.begin()),
                   high = static_cast<size_t>(greatest - part.begin());
        line.emplace_back(from + std::min(low, high), part[std::min(low, high)]);
        if (low != high) line.emplace_back(from + std::max(low, high), part[std::max(low, high)]);
    }
    return line;
}

}  // namespace kymora
