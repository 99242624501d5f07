#include "remote/remote_host.h"

namespace kymora {

class RemoteHost::CountedProgress : public Progress {
  public:
    CountedProgress(int& running, std::unique_ptr<Progress> shown)
        : running_(running), shown_(std::move(shown)) {
        ++running_;
    }
    ~CountedProgress() override { --running_; }
    bool Update(uint64_t done) override { return shown_->Update(done); }
    void SetPart(std::string_view part) override { shown_->SetPart(part); }

  private:
    int& running_;
    std::unique_ptr<Progress> shown_;
};

std::unique_ptr<Progress> RemoteHost::StartProgress(std::string_view label, uint64_t total) {
    return std::make_unique<CountedProgress>(running_, Now().StartProgress(label, total));
}

}  // namespace kymora
