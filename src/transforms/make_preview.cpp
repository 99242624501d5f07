#include "transforms/make_preview.h"

#include <fmt/format.h>

#include <chrono>

namespace kymora {

namespace {

constexpr const char* previewCancelledText =
    "The preview was cancelled. Show a shorter stretch of time, or choose a narrower window.";
constexpr const char* previewTooLongText = "The result has {:.0f} samples here, and a preview shows no more "
                                           "than {}. Show a shorter stretch of time.";

class LateProgress : public Progress {
  public:
    LateProgress(Host& host, uint64_t total) : host_(host), total_(total) {}
    bool Update(uint64_t done) override {
        if (!shown_ && std::chrono::steady_clock::now() - began_ < patience) return true;
        if (!shown_) shown_ = host_.StartProgress("Preview", total_);
        return shown_->Update(done);
    }

  private:
    static constexpr std::chrono::milliseconds patience{500};
    Host& host_;
    uint64_t total_;
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
    std::unique_ptr<Progress> shown_;
};

}  // namespace

std::unique_ptr<Progress> PreviewTalk::StartProgress(std::string_view, uint64_t total) {
    return std::make_unique<LateProgress>(host_, total);
}

void MakePreview(CDataDoc& doc, PreviewData& data, const std::function<void(PreviewTalk&)>& make) {
    data.message.clear();
    data.isTransformed = data.isRefused = false;
    data.firstResult = static_cast<double>(data.start);
    data.resultStep = 1.0;
    data.raw.assign(static_cast<size_t>(data.count), 0.0f);
    data.transformed.clear();
    try {
        doc.ReadBlock(data.trace, data.start, data.raw);
        PreviewTalk talk(doc.GetHost());
        if (data.raw.empty())
            data.isTransformed = true;
        else
            make(talk);
    } catch (const Cancelled&) {
        data.message = previewCancelledText;
    } catch (const std::exception& error) {
        data.message = error.what();
    }
    if (!data.isTransformed && !data.isRefused) data.transformed = data.raw;
}

bool RefuseLongPreview(PreviewData& data, double results) {
    if (results <= static_cast<double>(longestRunInMemory)) return false;
    data.isRefused = true;
    data.message = fmt::format(previewTooLongText, results, longestRunInMemory);
    return true;
}

}  // namespace kymora
