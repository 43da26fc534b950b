#include "devices/onelinelabel.h"

#include <QPainter>
#include <QStyle>

QSize OneLineLabel::sizeHint() const
{
    const QFontMetrics metrics = fontMetrics();
    return {12 * metrics.averageCharWidth(), metrics.height()};
}

void OneLineLabel::paintEvent(QPaintEvent *)
{
    // More characters than pixels cannot be seen, and shaping a long text takes long. Blanks at the end count
    // for nothing, line breaks as blanks.
    const QString start = text().left(width()).simplified();
    const QString line = fontMetrics().elidedText(start, Qt::ElideRight, width());
    QPainter painter(this);
    style()->drawItemText(&painter, rect(), int(QStyle::visualAlignment(layoutDirection(), alignment())),
                          palette(), isEnabled(), line, foregroundRole());
}
