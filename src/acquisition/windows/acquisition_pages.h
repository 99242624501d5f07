#pragma once
// The pages on which a recording session is set, one tab each (protocol/acq_prop_page.h), with their
// previews. What is entered counts at once where it may be used; what may not is marked, told below the
// pages, and the value before it counts.

#include <QWidget>
#include <memory>
#include <vector>

#include "protocol/acq_prop_page.h"

class QLabel;
class QTabWidget;

namespace kymora {

class AcquisitionPage;

class AcquisitionPages : public QWidget {
    Q_OBJECT

  public:
    // The session outlives it.
    AcquisitionPages(Session& session, QWidget* parent);
    ~AcquisitionPages() override;

    // What the opened board can do (CDTAcqView::Facts); its functions are called until the next one is set.
    // Without a board UnknownBoard().
    void SetBoard(BoardFacts board);
    // Takes the settings over.
    void Show(const AcquisitionSettings& settings, const SourceSettings& source);
    const AcquisitionSettings& Settings() const { return state_.settings; }
    const SourceSettings& Source() const { return state_.source; }
    // Why there may be no start with what is entered; empty when there may.
    std::string Fault() const;
    // Shows the page with the fault, and gives the keyboard to what is wrong there.
    void FocusFault();

    // An axis (V) that was changed elsewhere; of a channel from 0.
    void SetAxis(size_t channel, double top, double bottom);
    // The pages stand grey, with the words why; empty: they do not.
    void SetLocked(const QString& why);
    // Acquisitions done in the present sequence, and whether they are counted.
    void SetSequence(int64_t index, bool isPaused);
    // Of the refractory protocol.
    void SetRefractory(const RefractoryReadings& readings);
    void SetRefractoryCommands(RefractoryCommands commands);
    // The recordings of the main display, from which an output can be played.
    void SetOpenFiles(std::function<std::vector<std::filesystem::path>()> files);

    // By the title of its tab, without the mark of its key: "Stimulus". False where it is not there.
    bool ShowPage(const QString& title);

  signals:
    // The user has changed a setting.
    void Changed();
    void ResetSequence();
    void PauseSequence(bool isPaused);

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void Build();
    void ShowTabs();
    void Take(AcquisitionPage* page);
    AcquisitionPage* Current() const;
    void OnChanged();
    // What may not be used on any page, and what else is to be said of this one.
    void ShowFaults(const QString& more = {});

    ProtocolState state_;
    std::vector<AcquisitionPage*> pages_;
    QTabWidget* tabs_;
    QLabel *locked_, *fault_;
};

}  // namespace kymora
