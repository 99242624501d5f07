#pragma once
// A window for a text to be read, searched, copied and saved.

#include <QDialog>

class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;

namespace kymora {

class TextWindow : public QDialog {
    Q_OBJECT

  public:
    TextWindow(const QString& title, const QString& text, QWidget* parent = nullptr);

    // A button that copies the same as JSON.
    void OfferJson(const QString& json);

    // Selects the next place of what the search box holds, from the cursor on and around the end. False when
    // there is none, which the window says.
    bool FindNext();
    bool FindPrevious();
    // Writes the text; false when it cannot be written, which the user was told.
    bool SaveTo(const QString& path);

  private:
    bool Find(bool backwards);
    void Copy();
    void Save();

    QDialogButtonBox* buttons_;
    QPlainTextEdit* text_;
    QLineEdit* search_;
    QLabel* found_;
};

}  // namespace kymora
