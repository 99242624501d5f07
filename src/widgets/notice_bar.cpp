#include "widgets/notice_bar.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QToolButton>

namespace kymora {

NoticeBar::NoticeBar(QWidget* parent) : QFrame(parent), text_(new QLabel(this)) {
    setObjectName("notice");
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    text_->setForegroundRole(QPalette::ToolTipText);
    text_->setObjectName("noticeText");
    text_->setTextFormat(Qt::PlainText);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* close = new QToolButton(this);
    close->setObjectName("closeNotice");
    close->setText(tr("Close"));
    close->setToolTip(tr("Takes this notice away (Esc)"));
    close->setFocusPolicy(Qt::TabFocus);
    connect(close, &QToolButton::clicked, this, &NoticeBar::Dismiss);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(10, 4, 6, 4);
    row->addWidget(text_, 1);
    row->addWidget(close, 0, Qt::AlignTop);
    hide();
}

void NoticeBar::Say(const QString& text) {
    QStringList lines;
    if (!isHidden()) lines = text_->text().split('\n');
    // Empty lines part the text of a box; here they would only take room from the recording.
    for (const QString& line : text.split('\n'))
        if (!line.trimmed().isEmpty()) lines += line.trimmed();
    text_->setText(lines.join('\n'));
    setAccessibleName(text_->text());
    show();
}

QString NoticeBar::Text() const { return isHidden() ? QString() : text_->text(); }

void NoticeBar::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Escape) return QFrame::keyPressEvent(event);
    Dismiss();
}

void NoticeBar::Dismiss() {
    hide();
    text_->clear();
}

}  // namespace kymora
