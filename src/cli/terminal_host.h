#pragma once
// The host of the command line. Nobody is waited for: a question is answered by --yes or by no.

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/host.h"

namespace kymora {

class TerminalHost : public Host {
  public:
    // `yes` answers every question with its affirmative; `quiet` silences notices and progress.
    TerminalHost(bool yes, bool quiet);

    void Message(std::string_view text, std::string_view title = "Kymora") override;
    bool Confirm(std::string_view text, std::string_view title = "Kymora") override;
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override;
    // Nobody can be asked.
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest&) override { return std::nullopt; }
    bool AcceptFileDetails(const FileDetails&, bool&) override { return true; }
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override;
    // Goes to standard error when the environment has KYMORA_LOG.
    void Log(std::string_view text) override;

    // What was said since the last call, one text each: what a window would show in a box.
    std::vector<std::string> TakeMessages() { return std::exchange(messages_, {}); }

    // No bar is drawn from here on.
    void HideProgress() { showsProgress_ = false; }
    // Progress that is never shown, for output that goes to the terminal itself.
    static std::unique_ptr<Progress> SilentProgress();

  private:
    void Say(std::string_view text);

    std::vector<std::string> messages_;
    bool yes_;
    bool quiet_;
    bool log_;
    bool showsProgress_;
    std::set<std::string, std::less<>> noticesShown_;
};

// Writes each line of a text to standard error, led by "kymora: ". Control characters become blanks.
void TellUser(std::string_view text);

}  // namespace kymora
