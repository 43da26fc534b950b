#include "widgets/fittingscrollarea.h"

#include "widgets/windowfit.h"

#include <QEvent>
#include <QMainWindow>
#include <QScrollBar>

namespace {

// Lines of text that a main window needs above and below: menus, tool bar, title of a dock, status.
constexpr int linesBeside = 6;

} // namespace

QSize FittingScrollArea::sizeHint() const
{
    return fitting(widget() ? widget()->sizeHint() : QSize());
}

QSize FittingScrollArea::minimumSizeHint() const
{
    return fitting(widget() ? widget()->minimumSizeHint() : QSize());
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
    QSize available = maxContentSize(window());
    if (qobject_cast<const QMainWindow *>(window()))
        available.rheight() -= linesBeside * fontMetrics().height();
    if (whole.height() > available.height())
        whole.rwidth() += verticalScrollBar()->sizeHint().width();
    return whole.boundedTo(available);
}
