#pragma once

#include "devices/devicelistitem.h"
#include "tests/e2e/window.h"

// One remote device's panel in the window, used by mouse and keyboard.
class Panel
{
public:
    // The panel that shows this name, if there is one by now.
    Panel(Window &window, const QString &name)
    {
        for (DeviceListItem *item : window.widget().findChildren<DeviceListItem *>()) {
            if (item->findChild<QLabel *>("address"_s)->text() == name)
                found = item;
        }
    }

    bool exists() const { return found != nullptr; }
    DeviceListItem *widget() const { return found; }
    QString status() const { return find<QLabel>("status")->text(); }

    template <typename Widget>
    Widget *find(const char *name) const
    {
        auto *widget = found ? found->findChild<Widget *>(QLatin1String(name)) : nullptr;
        if (!widget)
            qFatal("no %s", name);
        return widget;
    }

    // The raw value of the attribute with that handle.
    QString raw(int handle) const
    {
        constexpr int rawColumn = 4;
        const int row = rowOf(handle);
        const QTableWidgetItem *item = row < 0 ? nullptr : table()->item(row, rawColumn);
        return item ? item->text() : QString();
    }

    // Nothing for handle 0.
    void select(int handle) const
    {
        table()->clearSelection();
        if (handle == 0)
            return;
        const int row = rowOf(handle);
        if (row < 0)
            qFatal("no row of handle %d", handle);
        const QTableWidgetItem *item = table()->item(row, 0);
        table()->scrollToItem(item);
        QTest::mouseClick(table()->viewport(), Qt::LeftButton, Qt::NoModifier,
                          table()->visualItemRect(item).center());
    }

    QTableWidget *table() const { return find<QTableWidget>("tableGATT"); }

private:
    int rowOf(int handle) const
    {
        for (int row = 0; row < table()->rowCount(); ++row) {
            if (table()->item(row, 0)->text().toInt() == handle)
                return row;
        }
        return -1;
    }

    DeviceListItem *found = nullptr;
};
