#pragma once
// Plays what a view shows, with a line in it at what is heard.

#include <QObject>
#include <QTimer>
#include <memory>

#include "acquisition/sound_player.h"

namespace kymora {

class ViewWidget;

// The traces that are played, two at most: of the selected axes; where there are none, and of sound, of all
// that are shown.
std::vector<int> PlayedTraces(const ViewWidget& widget);

class ViewPlayback : public QObject {
    Q_OBJECT

  public:
    // Begins. It goes with the widget, at the end, and where the view gets another window. Throws
    // SoundError, FileError and Cancelled.
    ViewPlayback(ViewWidget& widget, std::shared_ptr<SoundSystem> sound);
    ~ViewPlayback() override;

  signals:
    // It has ended by itself; the text says why where it has failed.
    void Ended(const QString& fault);

  private:
    void Follow();

    ViewWidget& widget_;
    std::shared_ptr<SoundSystem> sound_;
    std::unique_ptr<SoundPlayer> player_;
    QWidget* line_ = nullptr;
    QTimer timer_;
};

}  // namespace kymora
