#pragma once
// The text that an operation gave, in columns: as much of it as a window can show, and all of it for the
// clipboard.

#include <QWidget>
#include <functional>
#include <string>

#include "operations/batch_base_dlg.h"

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace kymora {

inline constexpr const char* resultsCutText =
    "Not all data displayed in Results. Consider saving to disk instead.";
inline constexpr const char* tooLongToCopyText =
    "This result is too long for the clipboard. Consider saving to disk instead.";
inline constexpr size_t mostCopiedResults = size_t{256} << 20;  // bytes
inline constexpr size_t mostShownResults = size_t{1} << 20;     // bytes

// Puts all that `writer` writes on the clipboard, its lines ending as a text's in memory do. False when it is
// too long; the clipboard is as it was.
bool CopyText(const std::function<void(const TextSink&)>& writer);

class FlowLayout;

class ResultsPane : public QWidget {
    Q_OBJECT

  public:
    // Writes the whole text to a sink; it is asked at Show, and again for a copy of what was cut.
    using Writer = std::function<void(const TextSink&)>;

    ResultsPane(Writer writer, QWidget* parent);

    void Show();
    void Clear();
    bool HasText() const;
    // Saves all of it; the button for it is there where this is set.
    void SetSave(std::function<void()> save);
    // Stands behind the button "Copy".
    void AddButton(QPushButton* button);
    // What takes the keyboard, in the order of reading.
    std::vector<QWidget*> TabStops() const;

    QSize sizeHint() const override;

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void Copy();
    void EnableButtons(bool hasText);
    void SetColumns(const std::string& text);
    void FitLines();

    Writer writer_;
    QPlainTextEdit* text_;
    QLabel* notice_;
    QPushButton* copy_;
    QPushButton* save_ = nullptr;
    FlowLayout* buttons_;
    bool isCut_ = false;
    size_t tableLetters_ = 0;  // of the widest line with columns
};

}  // namespace kymora
