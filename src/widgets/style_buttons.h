#pragma once
// Buttons that show a colour or a font and let the user choose another.

#include <QPushButton>

#include "host/form.h"

namespace kymora {

class ColourButton : public QPushButton {
    Q_OBJECT

  public:
    explicit ColourButton(QWidget* parent);
    void Read(Field& field) const { field.colour = colour_; }
    void Write(const Field& field);
    // The name of the colour stands in the tool tip, where there is little room.
    void SetShort();

  signals:
    void Changed();

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void Choose();
    void Show();

    uint32_t colour_ = 0;  // 0x00BBGGRR
    bool isShort_ = false;
};

class FontButton : public QPushButton {
    Q_OBJECT

  public:
    explicit FontButton(QWidget* parent);
    void Read(Field& field) const { field.font = font_; }
    void Write(const Field& field);

  signals:
    void Changed();

  private:
    void Choose();
    void Show();

    FontSpec font_;
};

}  // namespace kymora
