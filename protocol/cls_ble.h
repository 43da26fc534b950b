#pragma once

#include "protocol/cls_ble_attclient.h"
#include "protocol/cls_ble_attributes.h"
#include "protocol/cls_ble_connection.h"
#include "protocol/cls_ble_dfu.h"
#include "protocol/cls_ble_flash.h"
#include "protocol/cls_ble_gap.h"
#include "protocol/cls_ble_hardware.h"
#include "protocol/cls_ble_sm.h"
#include "protocol/cls_ble_system.h"
#include "protocol/cls_ble_test.h"
#include "protocol/message_record.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QStringList>

// The protocol engine: cuts received bytes into frames and runs their handlers, and sends commands. It
// reports no errors: bytes that cannot start a frame are dropped one at a time, unknown messages pass without
// a handler.
class cls_ble : public QObject
{
    Q_OBJECT

public:
    explicit cls_ble(QObject *parent = nullptr);

    // Sends, or queues while flow control holds it back, the frame made of both pieces.
    virtual void send_message(uint8 header_len, const char *header, uint16 array_len, const char *array);

    // `header` is the frame's four header bytes as one little-endian word. The length bits are not looked at.
    // Null for an unknown class or message.
    static const message_record *find_response_or_event(uint32 header);

    // While on, a command waits until as many responses came in as commands went out.
    void set_flow_control(bool on);

    // Zeroes both counters and drops the queue. Unfinished received bytes stay.
    void reset_queue();

    void log_message(QStringList list);

    cls_ble_system system;
    cls_ble_flash flash;
    cls_ble_attributes attributes;
    cls_ble_connection connection;
    cls_ble_attclient attclient;
    cls_ble_sm sm;
    cls_ble_gap gap;
    cls_ble_hardware hardware;
    cls_ble_test test;
    cls_ble_dfu dfu;

Q_SIGNALS:
    // One decoded log line in pieces; the result codes in it are HTML.
    void parsed_message_str(QStringList str);
    // One whole received frame, header included.
    void parsed_message_data(QByteArray data);
    // One whole frame for the device.
    void tx_data(QByteArray data);

public Q_SLOTS:
    // Bytes from the device in any chunking. A call from within a receiver of a response or event only adds
    // its bytes; the call that is already running takes them up.
    void rx_data(QByteArray data);

private:
    bool take_frame();
    void send_next_queued();

    QByteArray rx_buffer;
    QList<QByteArray> tx_queue;
    int tx_count = 0;
    int rx_count = 0;
    bool flow_control = false;

    int rx_taken = 0; // bytes at the head of rx_buffer that the running rx_data() has consumed
    bool receiving = false;
};
