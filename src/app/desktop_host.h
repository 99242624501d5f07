#pragma once
// The host of the desktop: message boxes, file dialogs and a progress box.

#include <QPointer>
#include <QString>
#include <QWidget>
#include <set>

#include "host/host.h"

namespace kymora {

class DesktopHost : public Host {
  public:
    // Dialogs stand on this window; none before it is set.
    void SetParentWindow(QWidget* window) { parent_ = window; }

    void Message(std::string_view text, std::string_view title = "Kymora") override;
    bool Confirm(std::string_view text, std::string_view title = "Kymora") override;
    bool Notice(std::string_view key, std::string_view title, std::string_view text) override;
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest& request) override;
    bool AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) override;
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override;
    void Log(std::string_view text) override;

  private:
    QPointer<QWidget> parent_;
    std::set<std::string, std::less<>> silenced_;  // keys of notices
};

QString ToQString(std::string_view text);
QString FileName(const std::filesystem::path& path);
std::filesystem::path ToPath(const QString& name);

// "text|*.a;*.b|other|*.c||" in the form of Qt's file dialogs.
QString ToQtFilter(std::string_view filter);

}  // namespace kymora
