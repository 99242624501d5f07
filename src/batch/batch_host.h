#pragma once
// The host of recordings that a batch opens. Nobody is asked: what a reader or a save has to say is kept for
// the report, questions take the answer that changes nothing, and all progress is shown in the one
// box of the batch, whose Cancel ends the file at work and the batch.

#include <string>
#include <utility>
#include <vector>

#include "host/host.h"

namespace kymora {

class BatchHost : public Host {
  public:
    // `person` shows the progress box and keeps the log.
    BatchHost(Host& person, std::string_view label, size_t fileCount);

    // The next file begins. False when the user has cancelled the batch.
    bool BeginFile(size_t index);
    bool WasCancelled() const { return cancelled_; }
    // What was said since the last call.
    std::vector<std::string> TakeMessages() { return std::exchange(messages_, {}); }

    void Message(std::string_view text, std::string_view title) override;
    bool Confirm(std::string_view text, std::string_view title) override;
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override;
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest&) override { return std::nullopt; }
    std::optional<std::vector<std::byte>> ReadClipboard(std::string_view format) override {
        return person_.ReadClipboard(format);
    }
    std::string ReadClipboardText() override { return person_.ReadClipboardText(); }
    void WriteClipboard(std::string_view format, std::span<const std::byte> block) override {
        person_.WriteClipboard(format, block);
    }
    bool AcceptFileDetails(const FileDetails&, bool&) override { return true; }
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override;
    void Log(std::string_view text) override { person_.Log(text); }

  private:
    class PartOfFile;
    bool Update(uint64_t step);
    void ShowPart(std::string_view part);

    Host& person_;
    std::unique_ptr<Progress> progress_;
    const size_t fileCount_;
    std::string file_;  // "file 2 of 9"
    uint64_t fileStart_ = 0;
    bool cancelled_ = false;
    std::vector<std::string> messages_;
};

}  // namespace kymora
