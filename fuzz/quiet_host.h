#pragma once
// A host that says nothing and agrees to nothing, for fuzz targets.

#include "host/host.h"

namespace kymora::fuzz {

class QuietHost : public Host {
  public:
    void Message(std::string_view, std::string_view) override {}
    bool Confirm(std::string_view, std::string_view) override { return false; }
    bool Notice(std::string_view, std::string_view, std::string_view) override { return true; }
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest&) override { return std::nullopt; }
    bool AcceptFileDetails(const FileDetails&, bool&) override { return true; }
    std::unique_ptr<Progress> StartProgress(std::string_view, uint64_t) override {
        struct Silent : Progress {
            bool Update(uint64_t) override { return true; }
        };
        return std::make_unique<Silent>();
    }
    void Log(std::string_view) override {}
};

}  // namespace kymora::fuzz
