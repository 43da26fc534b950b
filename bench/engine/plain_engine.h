#pragma once

#include "protocol/cls_ble.h"

#include <QVector>

// The plain way to do what the engine does: cut a frame off the buffer, decode the fields, emit the message's
// signal, fill each field's template by QString::arg, emit the line and the frame. It speaks through the
// signals of an engine that it is handed, so that both ways have the same receivers.
class PlainEngine
{
public:
    explicit PlainEngine(cls_ble &engine);

    // Bytes from the device; they must be frames of known messages.
    void rx_data(const QByteArray &data);

private:
    struct Field
    {
        uint32 code;
        bool isResult;
        QString text; // the template
    };
    struct Message
    {
        QObject *sender;
        int signal; // among the sender's own
        QString prefix;
        QVector<Field> fields;
    };
    struct Value
    {
        uint32 number = 0;
        bd_addr address{};
        QByteArray bytes;
    };

    void takeFrame(const QByteArray &frame);
    const Message &messageOf(const QByteArray &frame) const;
    static void decode(const Field &field, const char *&at, Value &value);
    static void *argument(const Field &field, Value &value);
    static QString piece(const Field &field, const Value &value);

    cls_ble &outlet;
    QByteArray buffer;
    QVector<Message> responses[class_count];
    QVector<Message> events[class_count];
};
