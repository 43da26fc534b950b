#pragma once

#include "logview/logview.h"
#include "tests/text.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QClipboard>
#include <QGraphicsTextItem>
#include <QMimeData>
#include <QScrollBar>
#include <QTextCursor>
#include <QtTest>

inline QString stamp(int index)
{
    return "<b>2026.01.02 03:04:05.%1</b> "_s.arg(index % 1000, 3, 10, QLatin1Char('0'));
}

// What stands on the line that ShownLog::add() gives this index.
inline QString shownText(int index)
{
    return "2026.01.02 03:04:05.%1 line %2"_s.arg(index % 1000, 3, 10, QLatin1Char('0')).arg(index);
}

inline void setUpLine(QGraphicsTextItem &item)
{
    item.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

// The height of an empty line, as the toolkit itself gives it.
inline double stockPitch()
{
    QGraphicsTextItem item;
    setUpLine(item);
    return item.boundingRect().height();
}

inline void showView(QWidget &view)
{
    view.resize(500, 300);
    view.show();
    view.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&view));
}

class ShownLog : public LogView
{
public:
    explicit ShownLog(int lines = 0, bool follow = true)
    {
        scroll(follow);
        showView(*this);
        add(lines);
    }

    void add(int count)
    {
        for (int last = line_store.size() + count, i = line_store.size(); i < last; ++i)
            addLine(stamp(i), "line %1"_s.arg(i));
        settle();
    }

    // Runs the event loop until all lines are laid out and painted.
    void settle()
    {
        do {
            for (int i = 0; i < 10; ++i)
                QCoreApplication::processEvents();
        } while (isBehind());
    }

    // Whether a layout is due: nothing else in the view has a timer.
    bool isBehind() { return !QAbstractEventDispatcher::instance()->registeredTimers(this).isEmpty(); }

    void scrollTo(int value)
    {
        verticalScrollBar()->setValue(value);
        settle();
    }

    int end() const { return verticalScrollBar()->maximum(); }
    bool isAtEnd() const { return verticalScrollBar()->value() == end(); }
    int itemCount() const { return scene->items().size(); }

    // The item of a line, or null if the line has none now.
    QGraphicsTextItem *item(int index) const
    {
        const auto items = scene->items();
        for (QGraphicsItem *each : items) {
            if (each->y() == index * stockPitch())
                return qgraphicsitem_cast<QGraphicsTextItem *>(each);
        }
        return nullptr;
    }

    QString text(int index) const { return item(index) ? item(index)->toPlainText() : "no item"_s; }
    QString selected(int index) const
    {
        return item(index) ? item(index)->textCursor().selectedText() : "no item"_s;
    }
};
