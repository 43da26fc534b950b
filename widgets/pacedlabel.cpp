#include "widgets/pacedlabel.h"

#include <QTimer>

namespace {

constexpr int pause = 20; // ms

} // namespace

void PacedLabel::paintEvent(QPaintEvent *event)
{
    QLabel::paintEvent(event);
    if (text() == painted)
        return;
    painted = text();
    setUpdatesEnabled(false);
    QTimer::singleShot(pause, this, [this] { setUpdatesEnabled(true); }); // paints once more
}
