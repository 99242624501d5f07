#pragma once
// A window that keeps what a view asks of it.

#include <string>
#include <vector>

#include "display/kymora_view.h"

namespace kymora::test {

class RecordingWindow : public ViewWindow {
  public:
    explicit RecordingWindow(CKymoraView& view) : view_(view) { view.SetWindow(this); }
    ~RecordingWindow() override { view_.SetWindow(nullptr); }

    void Invalidate() override { ++repaints; }
    void ShowTimes() override {}
    void LayoutChanged() override {}
    void ShowStatus(std::string_view text) override { status = text; }
    void CopyText(std::string_view text) override { copied = text; }
    void CopyPicture() override { ++pictures; }
    void EditLimit(int axis, bool isMax) override { limits.emplace_back(axis, isMax); }
    void SetSize(int width, int height) override { size = {width, height}; }

    std::string status, copied;
    int pictures = 0, repaints = 0;
    std::vector<std::pair<int, bool>> limits;
    Extent size;

  private:
    CKymoraView& view_;
};

}  // namespace kymora::test
