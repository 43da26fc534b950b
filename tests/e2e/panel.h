#pragma once

#include "devices/devicelistitem.h"
#include "tests/e2e/window.h"

#include <QGroupBox>
#include <QHeaderView>
#include <QScrollArea>
#include <QTableWidget>

// One remote device's panel in the window, used by mouse and keyboard.
class Panel
{
public:
    // The panel that shows this name, if there is one by now.
    Panel(Window &window, const QString &name)
        : m_window(window)
    {
        for (DeviceListItem *item : window.widget().findChildren<DeviceListItem *>()) {
            if (item->findChild<QLabel *>(QStringLiteral("address"))->text() == name)
                m_item = item;
        }
    }

    bool exists() const { return m_item != nullptr; }
    QString status() const { return find<QLabel>("status")->text(); }

    template <typename Widget>
    Widget *find(const char *name) const
    {
        auto *widget = m_item ? m_item->findChild<Widget *>(QLatin1String(name)) : nullptr;
        if (!widget)
            qFatal("no %s", name);
        return widget;
    }

    void click(const char *button) const
    {
        auto *widget = find<QPushButton>(button);
        m_window.find<QScrollArea>("deviceList")->ensureWidgetVisible(widget);
        QTest::mouseClick(widget, Qt::LeftButton);
    }

    // All cells, blank where there is none, "|" between cells, a row a line.
    QStringList rows() const
    {
        QStringList all;
        for (int row = 0; row < table()->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < table()->columnCount(); ++column)
                cells << cell(row, column);
            all << cells.join(QLatin1Char('|'));
        }
        return all;
    }

    // The raw value of the attribute with that handle.
    QString raw(int handle) const
    {
        constexpr int raw_column = 4;
        const int row = row_of(handle);
        return row < 0 ? QString() : cell(row, raw_column);
    }

    void select(int handle) const
    {
        const int row = row_of(handle);
        if (row < 0)
            qFatal("no row of handle %d", handle);
        const QTableWidgetItem *item = table()->item(row, 0);
        table()->scrollToItem(item);
        QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier,
                          table()->visualItemRect(item).center());
    }

    // Types the value and uses the button on the attribute.
    void write(int handle, const char *hex, const char *button) const
    {
        select(handle);
        auto *edit = find<QLineEdit>("lineEditAttr");
        edit->setFocus();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, QString::fromLatin1(hex));
        click(button);
    }

    QTableWidget *table() const { return find<QTableWidget>("tableGATT"); }

private:
    QString cell(int row, int column) const
    {
        const QTableWidgetItem *item = table()->item(row, column);
        return item ? item->text() : QString();
    }

    int row_of(int handle) const
    {
        for (int row = 0; row < table()->rowCount(); ++row) {
            if (cell(row, 0).toInt() == handle)
                return row;
        }
        return -1;
    }

    Window &m_window;
    DeviceListItem *m_item = nullptr;
};
