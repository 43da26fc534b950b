#include "devices/onelinelabel.h"

#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace {

// Whether the character shows nothing itself but tells how to show others: those would seem to be others than
// the sender's. The marks that a right-to-left name is written with are not among them.
bool isDisguise(QChar character)
{
    const ushort code = character.unicode();
    const bool turns = (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
    return turns || character.category() == QChar::Other_Control;
}

} // namespace

QSize OneLineLabel::sizeHint() const
{
    const QFontMetrics metrics = fontMetrics();
    return {12 * metrics.averageCharWidth(), metrics.height()};
}

void OneLineLabel::paintEvent(QPaintEvent *)
{
    // More characters than pixels cannot be seen, and shaping a long text takes long. Blanks at the end count
    // for nothing, line breaks as blanks.
    QString start = text().left(width()).simplified();
    std::replace_if(start.begin(), start.end(), isDisguise, QChar(QChar::ReplacementCharacter));
    const QString line = fontMetrics().elidedText(start, Qt::ElideRight, width());
    QPainter painter(this);
    style()->drawItemText(&painter, rect(), int(QStyle::visualAlignment(layoutDirection(), alignment())),
                          palette(), isEnabled(), line, foregroundRole());
}
