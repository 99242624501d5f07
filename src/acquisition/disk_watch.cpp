#include "acquisition/disk_watch.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

std::optional<double> DiskWatch::SecondsLeft() const {
    const auto room = m_files.FreeSpace(m_folder / "recording");
    if (!room) return {};
    const double kept = std::max(leastFree, leastSeconds * m_dBytesPerSecond);
    return std::max(0.0, static_cast<double>(*room) - kept) / m_dBytesPerSecond;
}

std::string DurationText(double seconds) {
    constexpr double mostHours = 1e6;
    const double minutes = seconds / 60.0;
    if (seconds < 120.0) return fmt::format("{:.0f} s", seconds);
    if (minutes < 120.0) return fmt::format("{:.0f} min", minutes);
    const auto whole = static_cast<int64_t>(std::min(minutes, 60.0 * mostHours));
    return fmt::format("{} h {} min", whole / 60, whole % 60);
}

}  // namespace kymora
