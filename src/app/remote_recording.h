#pragma once
// The window in which one records, as the remote control sees it.

#include "remote/remote_recorder.h"

namespace kymora {

class CMainFrame;

class DesktopRecorder : public RemoteRecorder {
  public:
    // The frame outlives it.
    explicit DesktopRecorder(CMainFrame& frame) : frame_(frame) {}

    RecorderState State() override;
    bool OpenSource(const std::string& source) override;
    bool Load(const std::filesystem::path& configuration) override;
    std::string Set(const std::string& key, const std::string& value) override;
    bool Press(std::string_view button) override;
    bool Review(const std::filesystem::path& recording) override;
    bool SelectSweep(int sweep) override;
    bool Note(std::string_view text) override;
    bool Close(bool discards) override;
    void Detect(int trace, double level, bool isFalling) override;
    void Resize(int width, int height) override;
    bool ShowPage(std::string_view title) override;
    std::vector<std::byte> Picture() override;

  private:
    CMainFrame& frame_;
};

}  // namespace kymora
