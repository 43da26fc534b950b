#include "widgets/windowfit.h"

#include <QCoreApplication>
#include <QDialog>
#include <QEvent>
#include <QLayout>
#include <QScreen>

namespace {

// The frame of a window is not known before the window manager has made it; these are QDialog's own guesses.
constexpr QSize assumedFrame(10, 40);

class LayoutFinisher : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::Show && !event->spontaneous()) {
            auto *const dialog = static_cast<QDialog *>(object);
            // The children are shown by now; their requests for space are still queued.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
            if (dialog->layout())
                dialog->layout()->activate();
            dialog->resize(dialog->size().boundedTo(maxContentSize(dialog)));
        }
        return QObject::eventFilter(object, event);
    }
};

} // namespace

QSize maxContentSize(const QWidget *window)
{
    return window->screen()->availableSize() - assumedFrame;
}

void layOutBeforePlacing(QDialog *dialog)
{
    dialog->installEventFilter(new LayoutFinisher(dialog));
}
