#pragma once
// The window of a transform's preview: its picture with buttons and keys to move through it. It stands beside
// the window of the transform, which stays usable, and destroys itself when it is closed.

#include <QDialog>
#include <QRect>

#include "display/preview/transform_preview.h"
#include "display/windows/view_widget.h"

class QBoxLayout;
class QCheckBox;
class QLabel;

namespace kymora {

// What the next preview of the session begins with.
struct PreviewLook {
    QRect place;  // invalid: where the system puts it
    bool superimpose = false, equalScale = false;
};

class PreviewWindow : public QDialog {
    Q_OBJECT

  public:
    // All of them outlive the window, but the view, which is asked once.
    PreviewWindow(CPreviewHost& host, CDataDoc& doc, const DocumentView* view, PreviewLook& look,
                  QWidget* parent);
    ~PreviewWindow() override;

    CTransformPreview& Model() { return model_; }
    // The settings of the transform have changed.
    void Refresh();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

  private:
    class Picture;

    void MakeButtons(QBoxLayout* row);
    void MakeTraceChoice(QBoxLayout* row, const CDataDoc& doc);
    QCheckBox* MakeCheck(const char* text, const char* name, bool CTransformPreview::*member, bool& look);
    void Run(std::string_view command);
    void ShowState();
    void PlaceAs(const QRect& place);

    CTransformPreview model_;
    PreviewLook& look_;
    Picture* picture_ = nullptr;
    QLabel *status_ = nullptr, *message_ = nullptr;
    WheelTurn wheel_;
};

}  // namespace kymora
