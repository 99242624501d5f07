#include "batch/batch_host.h"

#include <algorithm>

namespace kymora {

namespace {

constexpr uint64_t stepsOfFile = 1000;

}  // namespace

// A long operation on one file, as that file's share of the whole.
class BatchHost::PartOfFile : public Progress {
  public:
    PartOfFile(BatchHost& host, uint64_t total) : host_(host), total_(std::max<uint64_t>(total, 1)) {}
    bool Update(uint64_t done) override {
        const double share = static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
        return host_.Update(host_.fileStart_ + static_cast<uint64_t>(share * stepsOfFile));
    }
    void SetPart(std::string_view part) override { host_.ShowPart(part); }

  private:
    BatchHost& host_;
    uint64_t total_;
};

BatchHost::BatchHost(Host& person, std::string_view label, size_t fileCount)
    : person_(person),
      progress_(person.StartProgress(label, fileCount * stepsOfFile)),
      fileCount_(fileCount) {}

bool BatchHost::BeginFile(size_t index) {
    fileStart_ = index * stepsOfFile;
    file_ = PartText("file", index + 1, fileCount_);
    ShowPart({});
    return Update(fileStart_);
}

bool BatchHost::Update(uint64_t step) {
    if (!progress_->Update(step)) cancelled_ = true;
    return !cancelled_;
}

// Of the file at hand, behind it.
void BatchHost::ShowPart(std::string_view part) { progress_->SetPart(LabelWithPart(file_, part)); }

void BatchHost::Message(std::string_view text, std::string_view) { messages_.emplace_back(text); }

bool BatchHost::Confirm(std::string_view text, std::string_view title) {
    Message(text, title);
    return false;
}

bool BatchHost::Notice(std::string_view, std::string_view, std::string_view text) {
    Log(std::string(text) + "\n");
    return true;
}

std::unique_ptr<Progress> BatchHost::StartProgress(std::string_view, uint64_t total) {
    return std::make_unique<PartOfFile>(*this, total);
}

}  // namespace kymora
