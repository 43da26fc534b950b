#include "widgets/pacedlabel.h"

#include <QTimerEvent>

namespace {

constexpr int pauseTime = 20; // ms

} // namespace

void PacedLabel::setText(const QString &text)
{
    if (!pause.isActive()) {
        QLabel::setText(text);
        pause.start(pauseTime, this);
        return;
    }
    const bool wereDisabled = testAttribute(Qt::WA_UpdatesDisabled);
    setAttribute(Qt::WA_UpdatesDisabled);
    QLabel::setText(text);
    setAttribute(Qt::WA_UpdatesDisabled, wereDisabled);
    isBehind = true;
}

void PacedLabel::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != pause.timerId()) {
        QLabel::timerEvent(event);
        return;
    }
    if (isBehind)
        update();
    else
        pause.stop();
    isBehind = false;
}
