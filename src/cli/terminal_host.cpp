#include "cli/terminal_host.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "cli/interrupt.h"
#include "host/time_left.h"
#include "results/number_text.h"

namespace kymora {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto redrawInterval = std::chrono::milliseconds(100);
// What is over sooner needs no bar.
constexpr auto patience = std::chrono::milliseconds(300);
constexpr int barCells = 30;
constexpr const char* clearLine = "\r\033[K";

bool barOnScreen = false;  // of the one terminal of the process

void ToStandardError(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

void ClearBar() {
    if (barOnScreen) ToStandardError(clearLine);
    barOnScreen = false;
}

class TerminalProgress : public Progress {
  public:
    TerminalProgress(std::string_view label, uint64_t total, bool shown)
        : name_(TerminalLine(label)),
          label_(name_),
          total_(total),
          shown_(shown),
          next_(Clock::now() + patience) {}
    ~TerminalProgress() override {
        if (shown_) ClearBar();
    }
    bool Update(uint64_t done) override {
        if (shown_ && Clock::now() >= next_) Draw(done);
        return !WasInterrupted();
    }
    void SetPart(std::string_view part) override { label_ = LabelWithPart(name_, part); }

  private:
    void Draw(uint64_t done) {
        next_ = Clock::now() + redrawInterval;
        const double share =
            total_ == 0 ? 1.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
        const auto filled = static_cast<size_t>(share * barCells);
        const std::string bar = std::string(filled, '#') + std::string(barCells - filled, '.');
        char percent[8];
        std::snprintf(percent, sizeof percent, "%3d%%", static_cast<int>(share * 100.0));
        const std::string left = left_.Text(share);
        ToStandardError(clearLine + std::string("kymora: ") + percent + " [" + bar + "] " + label_ +
                        (left.empty() ? "" : ", " + left));
        barOnScreen = true;
    }

    const std::string name_;
    std::string label_;  // the name, and which part of it is at hand
    TimeLeft left_;
    uint64_t total_;
    bool shown_;
    Clock::time_point next_;
};

bool TerminalTakesBars() {
    const char* kind = std::getenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

}  // namespace

void TellUser(std::string_view text) {
    ClearBar();
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
    std::string lines;
    for (bool more = true; more;) {
        const size_t end = text.find('\n');
        more = end != std::string_view::npos;
        std::string_view line = text.substr(0, end);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines += "kymora: " + TerminalLine(line) + "\n";
        if (more) text.remove_prefix(end + 1);
    }
    ToStandardError(lines);
}

TerminalHost::TerminalHost(bool yes, bool quiet)
    : yes_(yes),
      quiet_(quiet),
      log_(std::getenv("KYMORA_LOG") != nullptr),
      showsProgress_(!quiet && TerminalTakesBars()) {}

void TerminalHost::Say(std::string_view text) {
    messages_.emplace_back(text);
    TellUser(text);
}

void TerminalHost::Message(std::string_view text, std::string_view) { Say(text); }

bool TerminalHost::Confirm(std::string_view text, std::string_view) {
    if (yes_ && quiet_) return true;
    Say(text);
    TellUser(yes_ ? "Answered with yes." : "Answered with no; --yes answers with yes.");
    return yes_;
}

bool TerminalHost::Notice(std::string_view key, std::string_view, std::string_view text) {
    // Said once, but told of every file that it concerns.
    messages_.emplace_back(text);
    if (noticesShown_.emplace(key).second && !quiet_) TellUser(text);
    return true;
}

std::unique_ptr<Progress> TerminalHost::StartProgress(std::string_view label, uint64_t total) {
    return std::make_unique<TerminalProgress>(label, total, showsProgress_);
}

std::unique_ptr<Progress> TerminalHost::SilentProgress() {
    return std::make_unique<TerminalProgress>("", 0, false);
}

void TerminalHost::Log(std::string_view text) {
    if (log_) TellUser(text);
}

}  // namespace kymora
