#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QWidget>

#include <memory>

namespace Ui {
class DeviceListItem;
}
class QPushButton;

// The panel of one remote device: name, signal strength and status, buttons for the connection, and a table
// of the device's attributes. A button sends one request out as a signal; an event fills in what it brings.
//
// Nothing of the panel may be touched behind a signal: the receiver may have deleted the panel.
class DeviceListItem : public QWidget
{
    Q_OBJECT

public:
    explicit DeviceListItem(QWidget *parent = nullptr);
    ~DeviceListItem() override;

    // Who the panel stands for. `addrtype`: 0 is public, anything else random.
    void setAddress(bd_addr address, uint8 addrtype);
    bool hasAddress(const bd_addr &address, uint8 addrtype) const;

    // The button that shows and hides the pages.
    const QPushButton *unfoldButton() const;

    // Connection handle, 0xff without a connection.
    uint8 connectionHandle() const { return handle; }

    // Shows an advertisement or scan response: `rssi` in dBm, the packet type in the low four bits of
    // `header`, and the advertising data, which is read as far as it is well formed.
    void setScanData(int8 rssi, uint8 header, QByteArray advertising);

    // `value` is the connection handle when connected, of which 8 bits count, and else the reason.
    void setConnected(bool connected, uint16 value);

Q_SIGNALS:
    void Connect(bd_addr address, uint8 addrtype);
    void Disconnect(uint8 handle);
    void cmd_read_by_group_type(uint8 handle, uint16 start, uint16 end, QByteArray uuid);
    void cmd_read_by_type(uint8 handle, uint16 start, uint16 end, QByteArray uuid);
    void cmd_find_information(uint8 handle, uint16 start, uint16 end);
    void cmd_get_status(uint8 handle);
    void cmd_version_update(uint8 handle);
    void cmd_features_get(uint8 handle);
    void AttributeRead(uint8 handle, uint16 chrhandle);
    void AttributeReadLong(uint8 handle, uint16 chrhandle);
    void AttributeWrite(uint8 handle, uint16 chrhandle, QByteArray value);
    void AttributeWriteCommand(uint8 handle, uint16 chrhandle, QByteArray value);
    void EncryptConnection(uint8 handle, uint8 bonding);

public Q_SLOTS:
    // Whether the page of link layer requests is there.
    void dev_mode(bool enabled);

    // What a discovery or a read brought, for the row of its attribute handle; none for handle 0. UUIDs have
    // their least significant byte first.
    void evt_characteristic_value(uint16 chrhandle, uint8 type, QByteArray value);
    void evt_service_found(uint16 start, uint16 end, QByteArray uuid);
    void evt_characteristic_found(uint16 chrdecl, uint16 value, uint8 properties, QByteArray uuid);
    void evt_characteristic_error(uint16 chrhandle, uint8 error_code);
    void evt_find_information_found(uint16 chrhandle, QByteArray uuid);

    // Signal strength of a connection, in dBm; not of another handle than the panel's.
    void rsp_get_status(uint8 handle, int8 rssi);

    void on_pushGATTWriteCommand_clicked();
    void on_pushVersion_clicked();
    void on_pushFeature_clicked();
    void on_pushGATTWrite_clicked();
    void on_pushGATTRead_clicked();
    void on_pushEncrypt_clicked();
    void on_pushGATTDescriptors_clicked();
    void on_pushGATTCharacteristicDiscover_clicked();
    void on_pushGATTServiceDiscover_clicked();
    void on_pushGATTClear_clicked();
    void on_pushShow_toggled(bool checked);
    void on_pushConnect_clicked();
    void on_pushUpdate_clicked();
    void on_pushGATTReadLong_clicked();

private:
    void sizeTable();
    QString readAdvertisingData(const QByteArray &advertising);
    void showRssi(int8 rssi);

    int rowForHandle(uint16 handle);
    void setCell(int row, int column, const QString &text);
    void setUuid(int row, QByteArray uuid);
    void selectedRange(int &start, int &end) const;
    uint16 selectedHandle() const;
    QByteArray valueToWrite() const;

    std::unique_ptr<Ui::DeviceListItem> ui;
    bd_addr address{}; // wire order
    uint8 addr_type = 0;
    uint8 handle;
    int flags = 0; // of the last advertisement that had any, sign-extended
};
