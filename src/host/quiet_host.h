#pragma once
// A host without a person, for work behind the scenes: it shows nothing and answers every question with the
// answer that changes nothing. What is worth a line goes nowhere.

#include <atomic>

#include "host/host.h"

namespace kymora {

class QuietHost : public Host {
  public:
    // Long operations run to their end.
    QuietHost() = default;
    // Long operations end soon after `stop` becomes true. It must outlive the host.
    explicit QuietHost(const std::atomic<bool>& stop) : stop_(&stop) {}

    void Message(std::string_view, std::string_view) override {}
    bool Confirm(std::string_view, std::string_view) override { return false; }
    bool Notice(std::string_view, std::string_view, std::string_view) override { return true; }
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest&) override { return std::nullopt; }
    bool AcceptFileDetails(const FileDetails&, bool&) override { return true; }
    std::unique_ptr<Progress> StartProgress(std::string_view, uint64_t) override {
        return std::make_unique<Stoppable>(stop_);
    }
    void Log(std::string_view) override {}

  private:
    class Stoppable : public Progress {
      public:
        explicit Stoppable(const std::atomic<bool>* stop) : stop_(stop) {}
        bool Update(uint64_t) override { return !stop_ || !*stop_; }

      private:
        const std::atomic<bool>* stop_;
    };

    const std::atomic<bool>* stop_ = nullptr;
};

}  // namespace kymora
