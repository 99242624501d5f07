#pragma once
// How long the disk lasts for what is being recorded.

#include <filesystem>
#include <optional>

#include "host/file_system.h"

namespace kymora {

class DiskWatch {
  public:
    // Something of the disk is left free, so that a recording can be finished and the system lives on.
    static constexpr double leastFree = 16.0 * 1024 * 1024;  // bytes
    static constexpr double leastSeconds = 5.0;              // of recording
    static constexpr double warningSeconds = 600.0;

    DiskWatch(FileSystem& files, std::filesystem::path folder, double bytesPerSecond)
        : m_files(files), m_folder(std::move(folder)), m_dBytesPerSecond(bytesPerSecond) {}

    // Until a recording has to stop, not below 0; nothing where that is not known.
    std::optional<double> SecondsLeft() const;

  private:
    FileSystem& m_files;
    std::filesystem::path m_folder;
    double m_dBytesPerSecond;
};

// "3 h 20 min", "12 min", "40 s".
std::string DurationText(double seconds);

}  // namespace kymora
