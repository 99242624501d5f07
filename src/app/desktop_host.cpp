#include "app/desktop_host.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDialog>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressDialog>

#include "app/widget_picture.h"
#include "drawing/number_labels.h"
#include "host/form.h"
#include "host/time_left.h"
#include "widgets/form_dialog.h"
#include "widgets/text_window.h"

namespace kymora {

namespace {

Q_LOGGING_CATEGORY(hostLog, "kymora", QtWarningMsg)

constexpr int progressDelayMs = 300;
constexpr int progressSteps = 1000;
constexpr int pollMs = 100;

class DesktopProgress : public Progress {
  public:
    DesktopProgress(QWidget* parent, std::string_view label, uint64_t total)
        : name_(label),
          label_(ToQString(label)),
          box_(label_, QObject::tr("Cancel"), 0, progressSteps, parent),
          total_(std::max<uint64_t>(1, total)) {
        box_.setWindowTitle("Kymora");
        box_.setWindowModality(Qt::ApplicationModal);
        box_.setMinimumDuration(progressDelayMs);
        box_.setAutoReset(false);
        box_.setAutoClose(false);
        box_.setValue(0);
        sincePoll_.start();
    }
    bool Update(uint64_t done) override {
        const double fraction = static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
        const int step = static_cast<int>(fraction * progressSteps);
        // A step that lasts must not keep a press on Cancel waiting.
        if (step == box_.value() && sincePoll_.elapsed() >= pollMs && box_.isVisible())
            QApplication::processEvents();
        if (step != box_.value() || sincePoll_.elapsed() >= pollMs) {
            sincePoll_.start();
            ShowTimeLeft(fraction);
        }
        box_.setValue(step);
        return !box_.wasCanceled();
    }
    void SetPart(std::string_view part) override {
        label_ = ToQString(LabelWithPart(name_, part));
        ShowLabel();
    }

  private:
    // A box that has grown keeps its size.
    void ShowTimeLeft(double share) {
        const QString left = ToQString(left_.Text(share));
        if (!box_.isVisible() || left == shownLeft_) return;
        shownLeft_ = left;
        ShowLabel();
    }
    void ShowLabel() { box_.setLabelText(shownLeft_.isEmpty() ? label_ : label_ + "\n" + shownLeft_); }

    const std::string name_;
    QString label_;  // the name, and which part of it is at hand
    TimeLeft left_;
    QString shownLeft_;
    QProgressDialog box_;
    QElapsedTimer sincePoll_;
    uint64_t total_;
};

}  // namespace

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

// Where a question goes away, the window that it stood before is in front again.
QWidget* DesktopHost::Parent() const {
    if (QWidget* modal = QApplication::activeModalWidget()) return modal;
    if (asker_ && asker_->isVisible()) return asker_;
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeWindow());
    return dialog && dialog->isVisible() ? dialog : parent_.data();
}

// What is told without being asked for is a warning, unless it is only good to know.
void DesktopHost::Message(std::string_view text, std::string_view title) {
    Show(QMessageBox::Warning, text, title);
}

void DesktopHost::Inform(std::string_view text) { Show(QMessageBox::Information, text, usualTitle); }

void DesktopHost::Failure(std::string_view text) { Show(QMessageBox::Critical, text, usualTitle); }

void DesktopHost::Show(QMessageBox::Icon icon, std::string_view text, std::string_view title) {
    if (taker_) return (*taker_)(text);
    QMessageBox box(icon, ToQString(title), ToQString(text), QMessageBox::Ok, Parent());
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

bool DesktopHost::Confirm(std::string_view text, std::string_view title) {
    QMessageBox box(QMessageBox::Question, ToQString(title), ToQString(text),
                    QMessageBox::Ok | QMessageBox::Cancel, Parent());
    box.setTextFormat(Qt::PlainText);
    if (title != usualTitle) {  // what it is about; a title bar alone is easily overlooked
        box.setText(ToQString(title));
        box.setInformativeText(ToQString(text));
        box.setStyleSheet(
            "#qt_msgbox_label { font-weight: bold; } #qt_msgbox_informativelabel { min-width: 30em; }");
    }
    box.button(QMessageBox::Ok)->setText(QObject::tr("&OK"));
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Ok;
}

bool DesktopHost::Notice(std::string_view key, std::string_view title, std::string_view text) {
    return AskNotice(key, title, text, false);
}

bool DesktopHost::NoticeWithCancel(std::string_view key, std::string_view title, std::string_view text) {
    return AskNotice(key, title, text, true);
}

bool DesktopHost::AskNotice(std::string_view key, std::string_view title, std::string_view text,
                            bool withCancel) {
    if (silenced_.contains(key)) return true;
    const auto buttons = withCancel ? QMessageBox::Ok | QMessageBox::Cancel : QMessageBox::Ok;
    QMessageBox box(QMessageBox::Information, ToQString(title), ToQString(text), buttons, Parent());
    box.setTextFormat(Qt::PlainText);
    auto* silence = new QCheckBox(QObject::tr("Do not show this again"));
    box.setCheckBox(silence);
    const bool accepted = box.exec() == QMessageBox::Ok || !withCancel;
    if (accepted && silence->isChecked()) silenced_.emplace(key);
    return accepted;
}

// --- file dialogs ---

std::vector<std::filesystem::path> DesktopHost::ChooseOpenFiles(const FileRequest& request) {
    QFileDialog dialog(Parent(), ToQString(request.title), lastFolder);
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setNameFilters(ToQtFilter(request.filter).split(";;"));
    if (dialog.exec() != QDialog::Accepted) return {};
    lastFolder = dialog.directory().absolutePath();
    std::vector<std::filesystem::path> paths;
    for (const QString& name : dialog.selectedFiles()) paths.push_back(ToPath(name));
    return paths;
}

std::optional<std::filesystem::path> DesktopHost::ChooseSaveFile(const FileRequest& request) {
    QFileDialog dialog(Parent(), ToQString(request.title), lastFolder);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilters(ToQtFilter(request.filter).split(";;"));
    dialog.setDefaultSuffix(ToQString(request.defaultExtension));
    // The suffix is that of the type that the user chooses.
    QObject::connect(&dialog, &QFileDialog::filterSelected, [&dialog](const QString& filter) {
        const QString pattern = filter.section('(', -1).chopped(1);
        if (pattern.startsWith("*.") && !pattern.contains(' ')) dialog.setDefaultSuffix(pattern.mid(2));
    });
    if (!request.suggestion.empty()) {
        // The dialog begins beside the file that the new name is made of.
        const QFileInfo suggestion(FileName(request.suggestion));
        if (request.suggestion.has_parent_path() && suggestion.dir().exists())
            dialog.setDirectory(suggestion.dir());
        dialog.selectFile(suggestion.fileName());
    }
    if (dialog.exec() != QDialog::Accepted) return {};
    lastFolder = dialog.directory().absolutePath();
    return ToPath(dialog.selectedFiles().front());
}

// --- forms and texts ---

bool DesktopHost::AskForm(Form& form) { return FormDialog(form, Parent()).exec() == QDialog::Accepted; }

std::vector<std::byte> DesktopHost::PictureOf(Form& form) {
    FormDialog dialog(form, Parent());
    dialog.ensurePolished();
    return PngOf(dialog);
}

void DesktopHost::ShowText(std::string_view title, std::string_view text, std::string_view json) {
    QString shown = ToQString(text);
    shown.replace("\r\n", "\n");
    // Over a dialog it waits like one; otherwise it stays open beside the recordings.
    const bool modal = QApplication::activeModalWidget() != nullptr;
    auto* window = new TextWindow(ToQString(title), shown, modal ? Parent() : parent_.data());
    window->setAttribute(Qt::WA_DeleteOnClose);
    if (!json.empty()) window->OfferJson(ToQString(json));
    if (modal)
        window->exec();
    else
        window->show();
}

// --- the clipboard ---

std::optional<std::vector<std::byte>> DesktopHost::ReadClipboard(std::string_view format) {
    const QMimeData* data = QApplication::clipboard()->mimeData();
    const QString type = ToQString(format);
    if (!data || !data->hasFormat(type)) return {};
    const QByteArray bytes = data->data(type);
    const auto* first = reinterpret_cast<const std::byte*>(bytes.constData());
    return std::vector<std::byte>(first, first + bytes.size());
}

std::string DesktopHost::ReadClipboardText() {
    const QMimeData* data = QApplication::clipboard()->mimeData();
    if (!data) throw ClipboardError(clipboardNotAttachedText);
    if (!data->hasText()) throw ClipboardError(clipboardNoTextText);
    const QString text = data->text();
    if (text.isNull()) throw ClipboardError(clipboardNoDataText);
    if (text.isEmpty() && !data->data("text/plain").isEmpty()) throw ClipboardError(clipboardOddFormatText);
    return text.toStdString();
}

void DesktopHost::WriteClipboard(std::string_view format, std::span<const std::byte> block) {
    auto* data = new QMimeData;
    const QString type = ToQString(format);
    data->setData(
        type, QByteArray(reinterpret_cast<const char*>(block.data()), static_cast<qsizetype>(block.size())));
    QApplication::clipboard()->setMimeData(data);
    const QMimeData* held = QApplication::clipboard()->mimeData();
    if (!held || !held->hasFormat(type)) throw ClipboardError(clipboardBusyText);
}

bool DesktopHost::AcceptFileDetails(const FileDetails& details, bool& skipFromNowOn) {
    Form form("File details");
    form.AddNote("name", details.name, "Name");
    form.AddNote("fileVersion", std::to_string(details.fileVersion), "File version");
    form.AddNote("traceCount", std::to_string(details.traceCount), "Traces");
    form.AddNote("sampleCount", std::to_string(details.sampleCount), "Samples per trace");
    form.AddNote("sampleInterval", ShortNumber(details.sampleInterval), "Sample interval (ms)");
    form.AddNote("duration", ShortNumber(details.durationMs), "Duration (ms)");
    form.AddNote("comment", details.comment, "Comment");
    form.AddFlag("skip", "Do not show this again", skipFromNowOn,
                 "Files open without this dialog for the rest of the session.");
    if (!AskForm(form)) return false;
    skipFromNowOn = form.Flag("skip");
    return true;
}

std::unique_ptr<Progress> DesktopHost::StartProgress(std::string_view label, uint64_t total) {
    return std::make_unique<DesktopProgress>(Parent(), label, total);
}

void DesktopHost::Log(std::string_view text) { qCDebug(hostLog).noquote() << ToQString(text).trimmed(); }

}  // namespace kymora
