#include "app/desktop_host.h"

#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QLabel>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QProgressDialog>
#include <QVBoxLayout>

#include "archive/text_encoding.h"
#include "display/number_text.h"

namespace kymora {

namespace {

Q_LOGGING_CATEGORY(hostLog, "kymora", QtWarningMsg)

constexpr int progressDelayMs = 300;
constexpr int progressSteps = 1000;

class DesktopProgress : public Progress {
  public:
    DesktopProgress(QWidget* parent, const QString& label, uint64_t total)
        : box_(label, QObject::tr("Cancel"), 0, progressSteps, parent), total_(std::max<uint64_t>(1, total)) {
        box_.setWindowTitle("Kymora");
        box_.setWindowModality(Qt::ApplicationModal);
        box_.setMinimumDuration(progressDelayMs);
        box_.setAutoReset(false);
        box_.setAutoClose(false);
        box_.setValue(0);
    }
    bool Update(uint64_t done) override {
        const double fraction = static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
        box_.setValue(static_cast<int>(fraction * progressSteps));
        return !box_.wasCanceled();
    }

  private:
    QProgressDialog box_;
    uint64_t total_;
};

}  // namespace

QString ToQString(std::string_view text) { return QString::fromStdString(ToDisplayText(text)); }

QString FileName(const std::filesystem::path& path) {
    return QFile::decodeName(QByteArray::fromStdString(path.string()));
}

std::filesystem::path ToPath(const QString& name) { return QFile::encodeName(name).toStdString(); }

QString ToQtFilter(std::string_view filter) {
    const QStringList parts = ToQString(filter).split('|', Qt::SkipEmptyParts);
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString text = parts[i];
        if (const auto bracket = text.lastIndexOf('('); bracket > 0) text = text.left(bracket).trimmed();
        QString patterns = parts[i + 1];
        filters += text + " (" + patterns.replace(';', ' ') + ")";
    }
    return filters.join(";;");
}

void DesktopHost::Message(std::string_view text, std::string_view title) {
    QMessageBox box(QMessageBox::Information, ToQString(title), ToQString(text), QMessageBox::Ok, parent_);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

bool DesktopHost::Confirm(std::string_view text, std::string_view title) {
    QMessageBox box(QMessageBox::Question, ToQString(title), ToQString(text),
                    QMessageBox::Ok | QMessageBox::Cancel, parent_);
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Ok;
}

bool DesktopHost::Notice(std::string_view key, std::string_view title, std::string_view text) {
    if (silenced_.contains(key)) return true;
    QMessageBox box(QMessageBox::Information, ToQString(title), ToQString(text), QMessageBox::Ok, parent_);
    box.setTextFormat(Qt::PlainText);
    auto* silence = new QCheckBox(QObject::tr("Do not show this again"));
    box.setCheckBox(silence);
    box.exec();
    if (silence->isChecked()) silenced_.emplace(key);
    return true;
}

std::optional<std::filesystem::path> DesktopHost::ChooseSaveFile(const FileRequest& request) {
    QFileDialog dialog(parent_, ToQString(request.title));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilter(ToQtFilter(request.filter));
    dialog.setDefaultSuffix(ToQString(request.defaultExtension));
    if (!request.suggestion.empty()) dialog.selectFile(FileName(request.suggestion));
    if (dialog.exec() != QDialog::Accepted) return {};
    return ToPath(dialog.selectedFiles().front());
}

bool DesktopHost::AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) {
    QDialog dialog(parent_);
    dialog.setWindowTitle(QObject::tr("File details"));
    auto* form = new QFormLayout;
    const auto add = [&](const char* name, const QString& value) {
        auto* label = new QLabel(value);
        label->setTextFormat(Qt::PlainText);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setWordWrap(true);
        form->addRow(QObject::tr(name), label);
    };
    add("Name", ToQString(details.name));
    add("File version", QString::number(details.fileVersion));
    add("Traces", QString::number(details.traceCount));
    add("Samples per trace", QString::number(details.sampleCount));
    add("Sample interval (ms)", ToQString(ShortNumber(details.sampleInterval)));
    add("Duration (ms)", ToQString(ShortNumber(details.durationMs)));
    add("Comment", ToQString(details.comment));
    auto* skip = new QCheckBox(QObject::tr("Do not show this again"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* column = new QVBoxLayout(&dialog);
    column->addLayout(form);
    column->addWidget(skip);
    column->addWidget(buttons);
    dialog.setMinimumWidth(420);
    const bool accepted = dialog.exec() == QDialog::Accepted;
    skipFromNowOn = skip->isChecked();
    return accepted;
}

std::unique_ptr<Progress> DesktopHost::StartProgress(std::string_view label, uint64_t total) {
    return std::make_unique<DesktopProgress>(parent_, ToQString(label), total);
}

void DesktopHost::Log(std::string_view text) { qCDebug(hostLog).noquote() << ToQString(text).trimmed(); }

}  // namespace kymora
