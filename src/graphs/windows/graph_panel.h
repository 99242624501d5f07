#pragma once
// A graph with its tool bar: what is seen, how it is read, and its copies.

#include <QPointer>
#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "graphs/graph_output.h"
#include "graphs/windows/graph_widget.h"
#include "host/session.h"
#include "results/result.h"

class QAction;
class QHBoxLayout;
class QLabel;
class QMenu;
class QPushButton;
class QToolButton;

namespace kymora {

class GraphPanel : public QWidget {
    Q_OBJECT

  public:
    // The session outlives it: its host asks for names and limits, and its habits are those of all graphs.
    explicit GraphPanel(Session& session, QWidget* parent = nullptr);

    GraphWidget& Widget() const { return *widget_; }
    // What is copied and saved: what is seen of the graph, or of the pane in focus where the user wants that.
    Graph Target() const;

    void CopyPicture();
    void CopyVectors();
    void CopyText();
    // As a picture, a text or a table, as the name's extension says.
    void Save();

    // Puts a button of the graph's owner in front of the tool bar.
    void AddButton(QPushButton* button);

    // What the graph was made from, for a table of it; empty where there is none.
    std::function<std::vector<Result>()> results;

  protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    QAction* AddAction(const char* name, const char* icon, const QString& label, const QString& tip,
                       const QKeySequence& key, std::function<void()> does);
    QAction* AddCheck(const char* name, const char* icon, const QString& label, const QString& tip,
                      const QKeySequence& key, bool GraphHabits::*habit);
    QToolButton* AddButton(QAction* action);
    void MakeActions();
    void MakeBar();
    void TakeHabits();
    void TellReadouts();
    void AskAxis(int pane, bool isX);
    // A box has the keyboard while it stands; then the graph has it again.
    void TakeBackKeyboard();
    std::vector<std::byte> Picture(PictureFormat format, double scale = 1.0) const;
    void Write(const std::filesystem::path& path);
    // Does it; why it cannot be is told to the user.
    void Try(const char* what, const std::function<void()>& does);

    Session& session_;
    GraphWidget* widget_;
    QHBoxLayout *bar_ = nullptr, *readoutRow_ = nullptr;
    std::vector<QLabel*> readouts_;
    QMenu *menu_ = nullptr, *copies_ = nullptr;
    QAction *showAll_ = nullptr, *zoom_ = nullptr, *pan_ = nullptr, *select_ = nullptr, *grid_ = nullptr,
            *values_ = nullptr, *dropLines_ = nullptr, *copyPicture_ = nullptr, *copyVectors_ = nullptr,
            *copyText_ = nullptr, *save_ = nullptr, *onePane_ = nullptr;
};

}  // namespace kymora
