#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QList>
#include <QScrollArea>

class DeviceListItem;

// The column of remote devices, a panel each, the newest on top. A device is an address together with its
// type; while connected it is also known by its connection handle. Panels stay until clear().
//
// The panels go into the box layout of the area's inner widget, which the form makes.
class DeviceList : public QScrollArea
{
    Q_OBJECT

public:
    explicit DeviceList(QWidget *parent = nullptr);

Q_SIGNALS:
    // The 13 signals of a panel, repeated because the window is connected to the list and never to a panel.
    // `handle`: the connection, 0xff without one. UUIDs have their least significant byte first.
    void Connect(bd_addr address, uint8 addrtype);
    void Disconnect(uint8 handle);
    void cmd_read_by_group_type(uint8 handle, uint16 start, uint16 end, QByteArray uuid);
    void cmd_read_by_type(uint8 handle, uint16 start, uint16 end, QByteArray uuid);
    void cmd_find_information(uint8 handle, uint16 start, uint16 end);
    void cmd_get_status(uint8 handle);
    void cmd_version_update(uint8 handle);
    void cmd_features_get(uint8 handle);
    void AttributeRead(uint8 handle, uint16 atthandle);
    void AttributeReadLong(uint8 handle, uint16 atthandle);
    void AttributeWrite(uint8 handle, uint16 chrhandle, QByteArray value);
    void AttributeWriteCommand(uint8 handle, uint16 chrhandle, QByteArray value);
    void EncryptConnection(uint8 handle, uint8 bonding);

public Q_SLOTS:
    // Whether panels, those to come too, have their page of link layer requests.
    void dev_mode(bool enabled);

    // Events of a connection go to its panel; with none they are dropped. A status that says connected and a
    // scan response make the device's panel if there is none.
    void evt_service_found(uint8 handle, uint16 start, uint16 end, QByteArray uuid);
    void evt_status(uint8 connection, uint8 flags, bd_addr address, uint8 address_type, uint16 connInterval,
                    uint16 timeout, uint16 latency, uint8 bonding);
    void evt_disconnected(uint8 handle, uint16 reason);

    // Deletes all panels, at once. No connection is closed by that.
    void clear();

    void evt_characteristic_value(uint8 handle, uint16 chrhandle, uint8 type, QByteArray value);
    void evt_scan_response(int8 rssi, uint8 header, bd_addr sender, uint8 addr_type, uint8 bond,
                           QByteArray advertising);
    void evt_characteristic_found(uint8 handle, uint16 chrdecl, uint16 value, uint8 properties,
                                  QByteArray uuid);
    void evt_find_information_found(uint8 handle, uint16 chrhandle, QByteArray uuid);
    void evt_characteristic_error(uint8 handle, uint16 chrhandle, uint8 error_code);

private:
    DeviceListItem *createItem();
    void putFirstInTabOrder(DeviceListItem *item);
    // Brings the panel into view; of one that is taller than the view, its top.
    void scrollTo(const DeviceListItem *item);
    DeviceListItem *findByHandle(uint8 handle) const;
    DeviceListItem *findOrCreate(bd_addr address, uint8 addrtype, bool create);

    QList<DeviceListItem *> items; // in order of creation
    bool developing = false;       // what dev_mode() was last told
};
