#include "widgets/fittingscrollarea.h"

#include <QEvent>
#include <QMainWindow>
#include <QScreen>
#include <QScrollBar>
#include <QStyle>

namespace {

// What a main window has above and below: menus, tool bar, title of a dock, status.
constexpr int linesBeside = 6;

} // namespace

QSize FittingScrollArea::sizeHint() const
{
    return fitting(widget() != nullptr ? widget()->sizeHint() : QSize());
}

QSize FittingScrollArea::minimumSizeHint() const
{
    return fitting(widget() != nullptr ? widget()->minimumSizeHint() : QSize());
}

// The scroll area hears of its content's events, but not that others must make room for it.
bool FittingScrollArea::eventFilter(QObject *object, QEvent *event)
{
    if (object == widget() && event->type() == QEvent::LayoutRequest)
        updateGeometry();
    return QScrollArea::eventFilter(object, event);
}

QSize FittingScrollArea::fitting(QSize whole) const
{
    int beside = style()->pixelMetric(QStyle::PM_TitleBarHeight);
    if (qobject_cast<const QMainWindow *>(window()) != nullptr)
        beside += linesBeside * fontMetrics().height();
    const QSize room = screen()->availableSize() - QSize(0, beside);
    if (whole.height() > room.height())
        whole.rwidth() += verticalScrollBar()->sizeHint().width();
    return whole.boundedTo(room);
}
