#pragma once

#include "protocol/cls_ble.h"

#include <QVector>

// The plain way to do what the engine does: cut a frame off the buffer, decode the fields, emit the message's
// signal, fill each field's template by QString::arg, emit the line and the frame. It speaks through the
// signals of an engine that it is handed, so that both ways have the same receivers.
class PlainEngine
{
public:
    explicit PlainEngine(cls_ble &outlet);

    // Bytes from the device; they must be frames of known messages.
    void rx_data(const QByteArray &data);

private:
    struct Field
    {
        uint32 code;
        bool is_result;
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

    void take_frame(const QByteArray &frame);
    const Message &message_of(const QByteArray &frame) const;
    static void decode(const Field &field, const char *&at, Value &value);
    static void *argument(const Field &field, Value &value);
    static QString piece(const Field &field, const Value &value);

    cls_ble &m_outlet;
    QByteArray m_buffer;
    QVector<Message> m_responses[class_count];
    QVector<Message> m_events[class_count];
};
