#pragma once
// The host while a request runs. It answers from the request and writes down what it heard:
//   "answers"   the values of forms: an object for one, a list of objects for several in turn
//   "yes"       what questions are answered: true, false, or a list for several in turn. Without it the safe
//               answer, which changes nothing
//   "files"     the files that are opened where the program asks for some
//   "file"      the name where the program asks for one to save under; one that exists needs "yes"
//   "clipboard" the text that stands for the clipboard; without it, the clipboard itself
// A form without an answer is cancelled.

#include "host/file_system.h"
#include "host/form.h"
#include "host/host.h"
#include "remote/remote_json.h"

namespace kymora {

class RequestHost : public Host {
  public:
    // The person's host shows the progress of long operations, which can be cancelled there.
    RequestHost(Host& person, FileSystem& files, const Json& request);

    void Message(std::string_view text, std::string_view title) override;
    void Failure(std::string_view text) override { Blame(std::string(text)); }
    bool Confirm(std::string_view text, std::string_view title) override;
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override;
    bool NoticeWithCancel(std::string_view key, std::string_view title, std::string_view text) override;
    std::vector<std::filesystem::path> ChooseOpenFiles(const FileRequest& request) override;
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest& request) override;
    bool AskForm(Form& form) override;
    void ShowText(std::string_view title, std::string_view text, std::string_view json) override;
    std::optional<std::vector<std::byte>> ReadClipboard(std::string_view format) override;
    std::string ReadClipboardText() override;
    void WriteClipboard(std::string_view format, std::span<const std::byte> block) override {
        person_.WriteClipboard(format, block);
    }
    bool AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) override;
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override;
    void Log(std::string_view text) override { person_.Log(text); }

    // "messages", "questions", "forms" and "texts", each only when there is one.
    void Report(Json& answer) const;
    // Why an answer of the request did not fit, or what could not be done; empty when all went well.
    const std::string& Fault() const { return fault_; }
    // What was said, in one text, as the reason of a failure.
    std::string AllMessages() const;

  private:
    const Json* NextAnswers();
    void Blame(const std::string& fault) {
        if (fault_.empty()) fault_ = fault;
    }

    Host& person_;
    FileSystem& files_;
    const Json& request_;
    size_t questionsAsked_ = 0, formsAsked_ = 0;
    Json messages_ = Json::array(), questions_ = Json::array(), forms_ = Json::array(),
         texts_ = Json::array();
    std::string fault_;
};

}  // namespace kymora
