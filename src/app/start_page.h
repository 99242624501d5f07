#pragma once
// What the main window shows while no recording is open: the ways to one, and where help is.

#include <QTreeWidget>
#include <QWidget>
#include <ctime>
#include <filesystem>
#include <vector>

class QLabel;
class QPushButton;

namespace kymora {

// Rows of which one click, or Enter, chooses one; arrows move, as in every list. It is as high as its rows
// where there is room.
class StartList : public QTreeWidget {
    Q_OBJECT

  public:
    StartList(int columns, QWidget* parent);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  signals:
    void Chosen(int row);
    void RemovalWanted(int row);

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    int HeightOf(int rows) const;
};

class StartPage : public QWidget {
    Q_OBJECT

  public:
    struct Recent {
        std::filesystem::path path;
        std::time_t opened = 0;  // 0 where it is not known
        bool isThere = true;
    };

    explicit StartPage(QWidget* parent);

    // The newest first; `now` is what "today" is taken from.
    void ShowRecent(std::vector<Recent> recent, std::time_t now);
    // The keyboard goes to what is wanted most: the last recording, or the way to open one.
    void TakeKeys();

  signals:
    void CommandWanted(const QString& id);
    void RecentChosen(const std::filesystem::path& path);
    void RecentRemoved(const std::filesystem::path& path);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    QWidget* MakeHead();
    QWidget* MakeOpenRow();
    QWidget* MakeHelpRow();
    QLabel* MakeHeading(const QString& text);
    QPushButton* MakeButton(const char* commandId);
    void FillDemos();
    void FillRecent();

    QPushButton* open_ = nullptr;
    QLabel* recentHeading_ = nullptr;
    StartList* recentList_ = nullptr;
    StartList* demoList_ = nullptr;
    std::vector<Recent> recent_;
    std::time_t now_ = 0;
};

// "today 14:05", "yesterday 9:30", or the date; empty for 0.
QString WhenText(std::time_t when, std::time_t now);

}  // namespace kymora
