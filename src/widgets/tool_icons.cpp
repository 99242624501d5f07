#include "widgets/tool_icons.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <map>
#include <string>

namespace kymora {

namespace {

// A picture is drawn in a square of 24 units, with round pens of the text's colour and one accent.
struct Brush {
    QPainter& painter;
    QColor ink, accent;

    void Pen(const QColor& colour, qreal width = 1.8) const {
        painter.setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
    }
    void Line(std::initializer_list<QPointF> points) const {
        painter.drawPolyline(QPolygonF(QList<QPointF>(points)));
    }
    void Fill(std::initializer_list<QPointF> points, const QColor& colour) const {
        painter.setPen(Qt::NoPen);
        painter.setBrush(colour);
        painter.drawPolygon(QPolygonF(QList<QPointF>(points)));
        painter.setBrush(Qt::NoBrush);
    }
};

void DrawOpen(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{3, 19}, {3, 5.5}, {9, 5.5}, {11, 8}, {19, 8}, {19, 10.5}});
    b.Line({{3, 19}, {6.5, 10.5}, {22, 10.5}, {18.5, 19}, {3, 19}});
}

void DrawSave(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{4, 4}, {17, 4}, {20, 7}, {20, 20}, {4, 20}, {4, 4}});
    b.Line({{8, 4}, {8, 9}, {15, 9}, {15, 4}});
    b.Pen(b.accent);
    b.Line({{8, 20}, {8, 14}, {16, 14}, {16, 20}});
}

// An arrow that turns back; mirrored for redo.
void DrawUndo(const Brush& b) {
    b.Pen(b.ink);
    QPainterPath arc(QPointF(5, 9));
    arc.lineTo(14, 9);
    arc.cubicTo(22, 9, 22, 19, 14, 19);
    arc.lineTo(9, 19);
    b.painter.drawPath(arc);
    b.Line({{9, 5}, {5, 9}, {9, 13}});
}

void Mirror(const Brush& b) {
    b.painter.translate(24, 0);
    b.painter.scale(-1, 1);
}

void DrawRedo(const Brush& b) {
    Mirror(b);
    DrawUndo(b);
}

void DrawLeftPage(const Brush& b) { b.Fill({{17, 5}, {7, 12}, {17, 19}}, b.ink); }

void DrawRightPage(const Brush& b) {
    Mirror(b);
    DrawLeftPage(b);
}

void DrawLeftPercent(const Brush& b) {
    b.Pen(b.ink, 2.2);
    b.Line({{15, 6}, {9, 12}, {15, 18}});
}

void DrawRightPercent(const Brush& b) {
    Mirror(b);
    DrawLeftPercent(b);
}

void DrawStart(const Brush& b) {
    b.Fill({{19, 5}, {9, 12}, {19, 19}}, b.ink);
    b.Pen(b.accent, 2.4);
    b.Line({{5.5, 5.5}, {5.5, 18.5}});
}

void DrawEnd(const Brush& b) {
    Mirror(b);
    DrawStart(b);
}

void DrawGlass(const Brush& b) {
    b.Pen(b.ink);
    b.painter.drawEllipse(QPointF(10, 10), 6.2, 6.2);
    b.Pen(b.ink, 2.6);
    b.Line({{15, 15}, {20, 20}});
    b.Pen(b.accent);
    b.Line({{7.3, 10}, {12.7, 10}});
}

void DrawExpand(const Brush& b) {
    DrawGlass(b);
    b.Line({{10, 7.3}, {10, 12.7}});
}

void DrawShowAll(const Brush& b) {
    b.Pen(b.accent);
    b.Line({{6, 12}, {9, 12}, {10.5, 7}, {13, 17}, {14.5, 12}, {18, 12}});
    b.Pen(b.ink);
    b.Line({{5.5, 4}, {3, 4}, {3, 20}, {5.5, 20}});
    b.Line({{18.5, 4}, {21, 4}, {21, 20}, {18.5, 20}});
}

void DrawGain(const Brush& b, qreal height) {
    b.Pen(b.accent);
    b.Line({{3, 12}, {5, 12}, {7, 12 - height}, {9.5, 12 + height}, {11.5, 12}, {13.5, 12}});
    b.Pen(b.ink);
    b.Line({{18.5, 5}, {18.5, 19}});
}

void DrawIncreaseGain(const Brush& b) {
    DrawGain(b, 8);
    b.Line({{15.8, 8}, {18.5, 5}, {21.2, 8}});
    b.Line({{15.8, 16}, {18.5, 19}, {21.2, 16}});
}

void DrawDecreaseGain(const Brush& b) {
    DrawGain(b, 3);
    b.Line({{15.8, 6.5}, {18.5, 9.5}, {21.2, 6.5}});
    b.Line({{15.8, 17.5}, {18.5, 14.5}, {21.2, 17.5}});
}

void DrawAutoscale(const Brush& b) {
    b.Pen(b.accent);
    b.Line({{4, 13}, {8, 13}, {10.5, 6}, {13.5, 18}, {15.5, 13}, {20, 13}});
    b.Pen(b.ink);
    b.Line({{4, 3.5}, {20, 3.5}});
    b.Line({{4, 20.5}, {20, 20.5}});
}

void DrawVerticalCursor(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{3, 14}, {7, 14}, {9, 8}, {12, 18}, {14, 14}, {21, 14}});
    b.Pen(b.accent, 2.2);
    b.Line({{15, 3}, {15, 21}});
}

void DrawMarker(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{7, 3}, {7, 21}});
    b.Fill({{7, 4}, {18, 7.5}, {7, 11}}, b.accent);
}

void DrawAnnotation(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{3, 5}, {21, 5}, {21, 16}, {11, 16}, {7, 20}, {7, 16}, {3, 16}, {3, 5}});
    b.Pen(b.accent);
    b.Line({{7, 9}, {17, 9}});
    b.Line({{7, 12.2}, {14, 12.2}});
}

void DrawZoomRectangle(const Brush& b) {
    b.Pen(b.ink, 1.4);
    b.painter.setPen(QPen(b.ink, 1.4, Qt::DashLine, Qt::FlatCap));
    b.painter.drawRect(QRectF(3, 4, 14, 11));
    b.Pen(b.accent);
    b.painter.drawEllipse(QPointF(15, 14), 4.5, 4.5);
    b.Line({{18.4, 17.4}, {21.5, 20.5}});
}

// A dashed rectangle with marks in it.
void DrawSelect(const Brush& b) {
    b.Pen(b.ink, 1.4);
    b.painter.setPen(QPen(b.ink, 1.4, Qt::DashLine, Qt::FlatCap));
    b.painter.drawRect(QRectF(3, 4, 18, 16));
    b.Pen(b.accent);
    for (const double x : {8.0, 12.0, 16.0})
        b.Line({{x, x == 12.0 ? 8.0 : 10.0}, {x, x == 12.0 ? 14.0 : 16.0}});
}

// Arrows to all sides.
void DrawPan(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{12, 3}, {12, 21}});
    b.Line({{3, 12}, {21, 12}});
    for (int side = 0; side < 4; ++side) {
        b.Line({{9.5, 5.5}, {12, 3}, {14.5, 5.5}});
        b.painter.translate(12, 12);
        b.painter.rotate(90);
        b.painter.translate(-12, -12);
    }
}

void DrawGrid(const Brush& b) {
    b.Pen(b.ink, 1.3);
    for (const qreal at : {8.5, 13.0, 17.5}) {
        b.Line({{at, 3}, {at, 20}});
        b.Line({{4, at - 1.5}, {21, at - 1.5}});
    }
    b.Pen(b.accent, 2.0);
    b.Line({{4, 3}, {4, 20}, {21, 20}});
}

void DrawValues(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{3, 18}, {8, 10}, {12, 14}, {20, 5}});
    b.Pen(b.accent);
    b.painter.drawEllipse(QPointF(12, 14), 2.6, 2.6);
    b.Line({{15, 18}, {21, 18}});
    b.Line({{15, 21}, {19, 21}});
}

void DrawDropLines(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{4, 3}, {4, 20}, {21, 20}});
    b.painter.setPen(QPen(b.accent, 1.6, Qt::DotLine, Qt::FlatCap));
    b.painter.drawLine(QPointF(4, 9), QPointF(14, 9));
    b.painter.drawLine(QPointF(14, 9), QPointF(14, 20));
    b.Pen(b.accent);
    b.painter.drawEllipse(QPointF(14, 9), 2.2, 2.2);
}

void DrawCopy(const Brush& b) {
    b.Pen(b.ink);
    b.Line({{8, 16}, {4, 16}, {4, 3}, {15, 3}, {15, 7}});
    b.painter.drawRect(QRectF(8.5, 7.5, 11.5, 13));
    b.Pen(b.accent);
    b.Line({{11, 17}, {13, 13}, {15, 15}, {17.5, 11}});
}

using Draw = void (*)(const Brush&);

const std::map<std::string, Draw, std::less<>>& Pictures() {
    static const std::map<std::string, Draw, std::less<>> pictures = {
        {"file-open", DrawOpen},
        {"file-save", DrawSave},
        {"save-eps", DrawSave},
        {"undo", DrawUndo},
        {"redo", DrawRedo},
        {"start", DrawStart},
        {"left-page", DrawLeftPage},
        {"right-page", DrawRightPage},
        {"left-percent", DrawLeftPercent},
        {"right-percent", DrawRightPercent},
        {"end", DrawEnd},
        {"compress", DrawGlass},
        {"expand", DrawExpand},
        {"show-all", DrawShowAll},
        {"increase-gain", DrawIncreaseGain},
        {"decrease-gain", DrawDecreaseGain},
        {"autoscale", DrawAutoscale},
        {"cursor-add-vert", DrawVerticalCursor},
        {"marker-add", DrawMarker},
        {"annotation-add", DrawAnnotation},
        {"graph-zoom", DrawZoomRectangle},
        {"graph-pan", DrawPan},
        {"graph-select", DrawSelect},
        {"graph-grid", DrawGrid},
        {"graph-values", DrawValues},
        {"graph-drop-lines", DrawDropLines},
        {"graph-copy", DrawCopy},
    };
    return pictures;
}

class DrawnIcon : public QIconEngine {
  public:
    explicit DrawnIcon(Draw draw) : draw_(draw) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        const QPalette palette = QApplication::palette();
        const QColor ink = palette.color(group, QPalette::WindowText);
        const bool dark = palette.color(QPalette::Window).lightness() < 128;
        const QColor accent = mode == QIcon::Disabled ? ink
                              : dark                  ? QColor(0x6F, 0xB2, 0xF2)
                                                      : QColor(0x1F, 0x66, 0xB0);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 24.0, rect.height() / 24.0);
        draw_({*painter, ink, accent});
        painter->restore();
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, QRect({}, size), mode, state);
        return picture;
    }
    QIconEngine* clone() const override { return new DrawnIcon(draw_); }

  private:
    Draw draw_;
};

}  // namespace

QIcon ToolIcon(std::string_view commandId) {
    const auto found = Pictures().find(commandId);
    return found == Pictures().end() ? QIcon() : QIcon(new DrawnIcon(found->second));
}

QIcon ProgramIcon() {
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(47, 111, 176), 3));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(3, 3, 58, 58), 10, 10);
    painter.setPen(QPen(QColor(128, 0, 0), 5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF{{10, 40}, {22, 40}, {27, 12}, {34, 54}, {40, 34}, {45, 40}, {54, 40}});
    return pixmap;
}

}  // namespace kymora
