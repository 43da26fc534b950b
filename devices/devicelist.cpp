#include "devices/devicelist.h"

#include "devices/devicelistitem.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QPushButton>
#include <QScrollBar>

#include <algorithm>
#include <utility>

DeviceList::DeviceList(QWidget *parent)
    : QScrollArea(parent)
{
}

DeviceListItem *DeviceList::createItem()
{
    QWidget *const column = widget() ? widget() : viewport();
    auto *const item = new DeviceListItem(column);
    const auto relay = [this, item](auto signal, auto relayed) { connect(item, signal, this, relayed); };
    using Item = DeviceListItem;
    relay(&Item::Connect, &DeviceList::Connect);
    relay(&Item::Disconnect, &DeviceList::Disconnect);
    relay(&Item::cmd_read_by_group_type, &DeviceList::cmd_read_by_group_type);
    relay(&Item::cmd_read_by_type, &DeviceList::cmd_read_by_type);
    relay(&Item::cmd_find_information, &DeviceList::cmd_find_information);
    relay(&Item::EncryptConnection, &DeviceList::EncryptConnection);
    relay(&Item::AttributeRead, &DeviceList::AttributeRead);
    relay(&Item::AttributeReadLong, &DeviceList::AttributeReadLong);
    relay(&Item::AttributeWrite, &DeviceList::AttributeWrite);
    relay(&Item::AttributeWriteCommand, &DeviceList::AttributeWriteCommand);
    relay(&Item::cmd_get_status, &DeviceList::cmd_get_status);
    relay(&Item::cmd_features_get, &DeviceList::cmd_features_get);
    relay(&Item::cmd_version_update, &DeviceList::cmd_version_update);
    connect(item->unfoldButton(), &QPushButton::toggled, this, [this, item](bool isUnfolded) {
        if (isUnfolded)
            scrollTo(item);
    });
    if (auto *const layout = qobject_cast<QBoxLayout *>(column->layout()))
        layout->insertWidget(0, item);
    items.append(item);
    item->show();
    item->dev_mode(developing);
    putFirstInTabOrder(item);
    return item;
}

// The toolkit would have the Tab key reach what is made last after all else in the window.
void DeviceList::putFirstInTabOrder(DeviceListItem *item)
{
    QWidgetList inside;
    for (QWidget *next = item->nextInFocusChain(); item->isAncestorOf(next); next = next->nextInFocusChain())
        inside.append(next);
    QWidget *previous = this;
    for (QWidget *next : qAsConst(inside)) {
        if (next->focusPolicy() == Qt::NoFocus)
            continue;
        setTabOrder(previous, next);
        previous = next;
    }
}

void DeviceList::scrollTo(const DeviceListItem *item)
{
    if (!widget() || !widget()->layout())
        return;
    // The panel has just changed its size: have the column follow before its place is read.
    widget()->layout()->activate();
    QCoreApplication::sendPostedEvents(viewport(), QEvent::LayoutRequest);
    QScrollBar *const bar = verticalScrollBar();
    const int top = item->y();
    const int bottom = top + item->height() - viewport()->height();
    bar->setValue(std::min(top, std::max(bar->value(), bottom)));
}

// The oldest panel of the connection, or null.
DeviceListItem *DeviceList::findByHandle(uint8 handle) const
{
    for (DeviceListItem *const item : items) {
        if (item->connectionHandle() == handle)
            return item;
    }
    return nullptr;
}

DeviceListItem *DeviceList::findOrCreate(bd_addr address, uint8 addrtype, bool create)
{
    for (DeviceListItem *const item : qAsConst(items)) {
        if (item->hasAddress(address, addrtype))
            return item;
    }
    if (!create)
        return nullptr;
    DeviceListItem *const item = createItem();
    item->setAddress(address, addrtype);
    return item;
}

void DeviceList::dev_mode(bool enabled)
{
    developing = enabled;
    const QList<DeviceListItem *> panels = items;
    for (DeviceListItem *const item : panels)
        item->dev_mode(enabled);
}

void DeviceList::evt_service_found(uint8 handle, uint16 start, uint16 end, QByteArray uuid)
{
    if (DeviceListItem *const item = findByHandle(handle))
        item->evt_service_found(start, end, uuid);
}

void DeviceList::evt_status(uint8 connection, uint8 flags, bd_addr address, uint8 address_type, uint16,
                            uint16, uint16, uint8)
{
    const bool connected = (flags & 1) != 0;
    DeviceListItem *const item =
        connected ? findOrCreate(address, address_type, true) : findByHandle(connection);
    if (item)
        item->setConnected(connected, connection);
}

void DeviceList::evt_disconnected(uint8 handle, uint16 reason)
{
    if (DeviceListItem *const item = findByHandle(handle))
        item->setConnected(false, reason);
}

void DeviceList::clear()
{
    qDeleteAll(std::exchange(items, {}));
}

void DeviceList::evt_characteristic_value(uint8 handle, uint16 chrhandle, uint8 type, QByteArray value)
{
    if (DeviceListItem *const item = findByHandle(handle))
        item->evt_characteristic_value(chrhandle, type, value);
}

void DeviceList::evt_scan_response(int8 rssi, uint8 header, bd_addr sender, uint8 addr_type, uint8,
                                   QByteArray advertising)
{
    findOrCreate(sender, addr_type, true)->setScanData(rssi, header, advertising);
}

void DeviceList::evt_characteristic_found(uint8 handle, uint16 chrdecl, uint16 value, uint8 properties,
                                          QByteArray uuid)
{
    if (DeviceListItem *const item = findByHandle(handle))
        item->evt_characteristic_found(chrdecl, value, properties, uuid);
}

void DeviceList::evt_find_information_found(uint8 handle, uint16 chrhandle, QByteArray uuid)
{
    if (DeviceListItem *const item = findByHandle(handle))
        item->evt_find_information_found(chrhandle, uuid);
}

void DeviceList::evt_characteristic_error(uint8 handle, uint16 chrhandle, uint8 error_code)
{
    if (DeviceListItem *const item = findByHandle(handle))
        item->evt_characteristic_error(chrhandle, error_code);
}
