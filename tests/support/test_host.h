#pragma once
// A host without a user: it keeps everything that it is told, and answers from a script.

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/form.h"
#include "host/host.h"

namespace kymora::test {

// A message, question or notice as it was asked.
struct Shown {
    std::string text;
    std::string title;
    std::string key;  // of a notice; of a text its JSON
};

// What one progress box went through.
struct ProgressRecord {
    std::string label;
    uint64_t total = 0;
    std::vector<uint64_t> updates;
    bool cancelled = false;
    bool closed = false;
    std::vector<std::string> parts;  // which were at hand, one after the other
};

class TestHost : public Host {
  public:
    // --- what was asked ---
    std::vector<Shown> messages;
    std::vector<Shown> questions;
    std::vector<Shown> notices;
    std::vector<FileRequest> fileRequests;
    std::vector<FileDetails> details;
    std::vector<std::string> forms;       // their titles
    std::vector<Shown> texts;             // of ShowText
    std::string formFault;                // why the last filled form was not accepted
    std::deque<ProgressRecord> progress;  // a deque: records stay in place while boxes are open
    std::vector<std::string> log;

    // --- the script ---
    std::deque<bool> nextAnswers;  // of Confirm, in turn; `answer` when they are used up
    bool answer = true;
    std::deque<bool> nextNoticeAnswers;  // of Notice, in turn; `noticeAnswer` when they are used up
    bool noticeAnswer = true;
    std::optional<std::filesystem::path> saveFile;     // of ChooseSaveFile; nothing cancels
    std::function<void()> whileChoosing;               // happens while ChooseSaveFile stands
    std::vector<std::filesystem::path> openFiles;      // of ChooseOpenFiles
    std::deque<std::function<bool(Form&)>> fillForms;  // of AskForm, in turn: fill in, and accept or cancel
    std::map<std::string, std::vector<std::byte>, std::less<>> clipboard;  // by format; what was copied, too
    std::optional<std::string> clipboardText;
    std::string clipboardFault;  // why the clipboard takes nothing
    bool acceptDetails = true;
    bool skipDetails = false;
    uint64_t cancelAtCall = 0;  // the n-th Update of each progress answers false, and all later; 0: none
    std::optional<uint64_t> cancelAtDone;  // Update answers false from this `done` on

    void Message(std::string_view text, std::string_view title = "Kymora") override {
        messages.push_back({std::string(text), std::string(title), {}});
    }
    bool Confirm(std::string_view text, std::string_view title = "Kymora") override {
        questions.push_back({std::string(text), std::string(title), {}});
        return Take(nextAnswers, answer);
    }
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override {
        notices.push_back({std::string(text), std::string(title), std::string(key)});
        return Take(nextNoticeAnswers, noticeAnswer);
    }
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest& request) override {
        fileRequests.push_back(request);
        if (whileChoosing) whileChoosing();
        return saveFile;
    }
    std::vector<std::filesystem::path> ChooseOpenFiles(const FileRequest& request) override {
        fileRequests.push_back(request);
        return openFiles;
    }
    bool AskForm(Form& form) override {
        forms.push_back(form.title);
        if (fillForms.empty()) return false;
        const auto fill = fillForms.front();
        fillForms.pop_front();
        if (!fill(form)) return false;
        formFault = form.Check();
        return formFault.empty();
    }
    void ShowText(std::string_view title, std::string_view text, std::string_view json) override {
        texts.push_back({std::string(text), std::string(title), std::string(json)});
    }
    std::optional<std::vector<std::byte>> ReadClipboard(std::string_view format) override {
        const auto found = clipboard.find(format);
        return found == clipboard.end() ? std::nullopt : std::optional(found->second);
    }
    std::string ReadClipboardText() override {
        if (!clipboardText) throw ClipboardError(clipboardNoTextText);
        return *clipboardText;
    }
    void WriteClipboard(std::string_view format, std::span<const std::byte> block) override {
        if (!clipboardFault.empty()) throw ClipboardError(clipboardFault);
        clipboard.clear();
        clipboardText.reset();
        clipboard[std::string(format)].assign(block.begin(), block.end());
    }
    bool AcceptFileDetails(const FileDetails& shown, bool& skipFromNowOn) override {
        details.push_back(shown);
        skipFromNowOn = skipDetails;
        return acceptDetails;
    }
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override {
        progress.push_back({std::string(label), total, {}, false, false, {}});
        return std::make_unique<RecordingProgress>(*this, progress.back());
    }
    void Log(std::string_view text) override { log.emplace_back(text); }

    // --- shorthands ---
    // The last message; empty when there was none.
    std::string LastMessage() const { return messages.empty() ? std::string() : messages.back().text; }
    // Nothing was shown and nothing asked; progress and log do not count.
    bool WasSilent() const {
        return messages.empty() && questions.empty() && notices.empty() && fileRequests.empty() &&
               details.empty() && forms.empty() && texts.empty();
    }
    // All that was logged, one text.
    std::string LogText() const {
        std::string all;
        for (const std::string& line : log) all += line;
        return all;
    }
    // Forgets what was asked; the script stays.
    void Forget() {
        messages.clear();
        questions.clear();
        notices.clear();
        fileRequests.clear();
        details.clear();
        log.clear();
    }

  private:
    class RecordingProgress : public Progress {
      public:
        RecordingProgress(const TestHost& host, ProgressRecord& record) : host_(host), record_(record) {}
        ~RecordingProgress() override { record_.closed = true; }
        bool Update(uint64_t done) override {
            record_.updates.push_back(done);
            if (host_.cancelAtCall != 0 && record_.updates.size() >= host_.cancelAtCall)
                record_.cancelled = true;
            if (host_.cancelAtDone && done >= *host_.cancelAtDone) record_.cancelled = true;
            return !record_.cancelled;
        }
        void SetPart(std::string_view part) override { record_.parts.emplace_back(part); }

      private:
        const TestHost& host_;
        ProgressRecord& record_;
    };

    static bool Take(std::deque<bool>& script, bool otherwise) {
        if (script.empty()) return otherwise;
        const bool next = script.front();
        script.pop_front();
        return next;
    }
};

}  // namespace kymora::test
