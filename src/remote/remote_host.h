#pragma once
// The host of a program that is driven from outside. It stands between the logic and the host of the desktop:
// while a request runs, its stand-in hears and answers everything; at all other times the person does.

#include "host/form.h"
#include "host/host.h"

namespace kymora {

class RemoteHost : public Host {
  public:
    explicit RemoteHost(Host& person) : person_(person) {}

    // Null gives the word back to the person.
    void SetStandIn(Host* standIn) { standIn_ = standIn; }
    Host& Person() const { return person_; }
    // A long operation is under way; its events loop may run, but nothing may change under it.
    bool IsWorking() const { return running_ > 0; }

    void Message(std::string_view text, std::string_view title) override { Now().Message(text, title); }
    void Inform(std::string_view text) override { Now().Inform(text); }
    void Failure(std::string_view text) override { Now().Failure(text); }
    bool Confirm(std::string_view text, std::string_view title) override {
        return Now().Confirm(text, title);
    }
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override {
        return Now().Notice(key, title, text);
    }
    bool NoticeWithCancel(std::string_view key, std::string_view title, std::string_view text) override {
        return Now().NoticeWithCancel(key, title, text);
    }
    std::vector<std::filesystem::path> ChooseOpenFiles(const FileRequest& request) override {
        return Now().ChooseOpenFiles(request);
    }
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest& request) override {
        return Now().ChooseSaveFile(request);
    }
    bool AskForm(Form& form) override { return Now().AskForm(form); }
    void ShowText(std::string_view title, std::string_view text, std::string_view json) override {
        Now().ShowText(title, text, json);
    }
    std::vector<std::byte> PictureOf(Form& form) override { return person_.PictureOf(form); }
    std::optional<std::vector<std::byte>> ReadClipboard(std::string_view format) override {
        return Now().ReadClipboard(format);
    }
    std::string ReadClipboardText() override { return Now().ReadClipboardText(); }
    void WriteClipboard(std::string_view format, std::span<const std::byte> block) override {
        Now().WriteClipboard(format, block);
    }
    bool AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) override {
        return Now().AcceptFileDetails(details, skipFromNowOn);
    }
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override;
    void Log(std::string_view text) override { person_.Log(text); }

  private:
    class CountedProgress;

    Host& Now() const { return standIn_ != nullptr ? *standIn_ : person_; }

    Host& person_;
    Host* standIn_ = nullptr;
    int running_ = 0;
};

}  // namespace kymora
