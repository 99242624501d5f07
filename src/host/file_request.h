#pragma once
// What the dialogs for files need to know.

#include <cstdint>
#include <filesystem>
#include <string>

namespace kymora {

struct FileRequest {
    std::string title;
    std::string filter;            // "text|*.pattern||", as the system's dialogs state them
    std::string defaultExtension;  // without the dot; empty for none
    std::filesystem::path suggestion;
};

// What the details dialog of a native file shows when a file is opened.
struct FileDetails {
    int fileVersion = 0;
    std::string name;
    std::string comment;
    int traceCount = 0;
    int64_t sampleCount = 0;  // per trace
    double durationMs = 0.0;
    double sampleInterval = 0.0;  // ms
};

}  // namespace kymora
