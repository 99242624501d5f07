#pragma once
// The host of the desktop: message boxes, file dialogs, forms, texts and a progress box.

#include <QMessageBox>
#include <QPointer>
#include <QString>
#include <QWidget>
#include <functional>
#include <set>

#include "host/form.h"
#include "host/host.h"
#include "widgets/text.h"

namespace kymora {

class DesktopHost : public Host {
  public:
    // Dialogs stand on this window; none before it is set.
    void SetParentWindow(QWidget* window) { parent_ = window; }
    // The window that asks, whichever is in front; null: the one in front.
    void StandOn(QWidget* window) { asker_ = window; }
    // Who gets messages in place of boxes that wait for an answer; null: the boxes are shown.
    using MessageTaker = std::function<void(std::string_view text)>;
    void SetMessageTaker(const MessageTaker* taker) { taker_ = taker; }
    // Where file dialogs begin: where the last one ended.
    QString lastFolder;

    void Message(std::string_view text, std::string_view title = "Kymora") override;
    void Inform(std::string_view text) override;
    void Failure(std::string_view text) override;
    bool Confirm(std::string_view text, std::string_view title = "Kymora") override;
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override;
    bool NoticeWithCancel(std::string_view key, std::string_view title, std::string_view text) override;
    std::vector<std::filesystem::path> ChooseOpenFiles(const FileRequest& request) override;
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest& request) override;
    bool AskForm(Form& form) override;
    std::vector<std::byte> PictureOf(Form& form) override;
    void ShowText(std::string_view title, std::string_view text, std::string_view json) override;
    std::optional<std::vector<std::byte>> ReadClipboard(std::string_view format) override;
    std::string ReadClipboardText() override;
    void WriteClipboard(std::string_view format, std::span<const std::byte> block) override;
    bool AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) override;
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override;
    void Log(std::string_view text) override;

  private:
    // A dialog stands on the dialog that asked for it.
    QWidget* Parent() const;
    void Show(QMessageBox::Icon icon, std::string_view text, std::string_view title);
    bool AskNotice(std::string_view key, std::string_view title, std::string_view text, bool withCancel);

    QPointer<QWidget> parent_, asker_;
    const MessageTaker* taker_ = nullptr;
    std::set<std::string, std::less<>> silenced_;  // keys of notices
};

// "text|*.a;*.b|other|*.c||" in the form of Qt's file dialogs.
QString ToQtFilter(std::string_view filter);

}  // namespace kymora
