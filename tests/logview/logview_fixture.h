#pragma once

#include "logview/logview.h"

#include <QCoreApplication>
#include <QGraphicsTextItem>
#include <QScrollBar>
#include <QtTest>

inline QString stamp(int index)
{
    return QStringLiteral("<b>2026.01.02 03:04:05.%1</b> ").arg(index % 1000, 3, 10, QLatin1Char('0'));
}

inline QString line_text(int index)
{
    return QStringLiteral("line %1").arg(index);
}

inline void add_lines(LogView &view, int count)
{
    for (int i = 0; i < count; ++i)
        view.addLine(stamp(view.line_store.size()), line_text(view.line_store.size()));
}

// Lets all that was posted take place, and what that posts in turn.
inline void settle()
{
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

inline void set_up_line(QGraphicsTextItem &item)
{
    item.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

// The height of an empty line, as the toolkit itself gives it.
inline double stock_pitch()
{
    QGraphicsTextItem item;
    set_up_line(item);
    return item.boundingRect().height();
}

// The item of a line, or null if the line has none now.
inline QGraphicsTextItem *item_of(const LogView &view, int index)
{
    const double y = index * stock_pitch();
    const auto items = view.scene->items();
    for (QGraphicsItem *item : items) {
        if (item->y() == y)
            return qgraphicsitem_cast<QGraphicsTextItem *>(item);
    }
    return nullptr;
}

inline void show_view(QWidget &view, QSize size = {500, 300})
{
    view.resize(size);
    view.show();
    view.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&view));
}
