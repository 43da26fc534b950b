#include "bench/engine/plain_engine.h"

#include "protocol/error_table.h"

#include <QtEndian>

#include <cstring>

PlainEngine::PlainEngine(cls_ble &outlet)
    : m_outlet(outlet)
{
    QObject *const objects[] = {&outlet.system,    &outlet.flash, &outlet.attributes, &outlet.connection,
                                &outlet.attclient, &outlet.sm,    &outlet.gap,        &outlet.hardware,
                                &outlet.test,      &outlet.dfu};
    for (int i = command_count; i < record_count; ++i) {
        const message_record &record = *record_at(i);
        const int class_id = record.header[2];
        const bool is_event = i >= command_count + response_count;
        const message_text &text = message_text_at(i);
        Message message{objects[class_id], record.header[3], text.prefix, {}};
        if (is_event)
            message.signal += m_responses[class_id].size();
        for (int f = 0; f < text.field_count; ++f) {
            Field field{(record.parameter_types >> (4 * f)) & 0xf, text.fields[f].is_result,
                        text.fields[f].label.toString()};
            if (field.is_result)
                field.text += QStringLiteral("0x%1 [<font color=%2>'%3'</font>]");
            else if (field.code == code_bd_addr)
                field.text += QStringLiteral("%1:%2:%3:%4:%5:%6");
            else if (field.code == code_uint8array)
                field.text += QStringLiteral("%1");
            else
                field.text += QStringLiteral("%1 (0x%2)");
            message.fields.append(field);
        }
        (is_event ? m_events : m_responses)[class_id].append(message);
    }
}

const PlainEngine::Message &PlainEngine::message_of(const QByteArray &frame) const
{
    const auto class_id = static_cast<uint8>(frame.at(2));
    const auto id = static_cast<uint8>(frame.at(3));
    return (frame.at(0) & 0x80 ? m_events : m_responses)[class_id].at(id);
}

void PlainEngine::rx_data(const QByteArray &data)
{
    m_buffer.append(data);
    while (m_buffer.size() >= 4) {
        const int total = (((m_buffer.at(0) & 7) << 8) | static_cast<uint8>(m_buffer.at(1))) + 4;
        if (total > m_buffer.size())
            return;
        take_frame(m_buffer.left(total));
        m_buffer = m_buffer.mid(total);
    }
}

void PlainEngine::take_frame(const QByteArray &frame)
{
    const Message &message = message_of(frame);
    QStringList line(message.prefix);
    Value values[8];
    void *arguments[9] = {};
    const char *at = frame.constData() + 4;
    for (int i = 0; i < message.fields.size(); ++i) {
        decode(message.fields.at(i), at, values[i]);
        arguments[i + 1] = argument(message.fields.at(i), values[i]);
    }
    QMetaObject::activate(message.sender, message.sender->metaObject(), message.signal, arguments);
    for (int i = 0; i < message.fields.size(); ++i)
        line.append(piece(message.fields.at(i), values[i]));
    m_outlet.log_message(line);
    Q_EMIT m_outlet.parsed_message_data(frame);
}

void PlainEngine::decode(const Field &field, const char *&at, Value &value)
{
    int size = 1;
    switch (field.code) {
    case code_uint8: value.number = static_cast<uint8>(*at); break;
    // NOLINTNEXTLINE(bugprone-signed-char-misuse) // the sign is wanted
    case code_int8: value.number = static_cast<uint32>(static_cast<int8>(*at)); break;
    case code_uint16:
        value.number = qFromLittleEndian<uint16>(at);
        size = 2;
        break;
    case code_int16:
        value.number = static_cast<uint32>(qFromLittleEndian<int16>(at));
        size = 2;
        break;
    case code_uint32:
        value.number = qFromLittleEndian<uint32>(at);
        size = 4;
        break;
    case code_bd_addr:
        std::memcpy(value.address.addr, at, 6);
        size = 6;
        break;
    default:
        value.bytes = QByteArray(at + 1, static_cast<uint8>(*at));
        size = 1 + value.bytes.size();
        break;
    }
    at += size;
}

void *PlainEngine::argument(const Field &field, Value &value)
{
    switch (field.code) {
    case code_bd_addr: return &value.address;
    case code_uint8array: return &value.bytes;
    default: return &value.number; // little-endian machines only: the low bytes come first
    }
}

QString PlainEngine::piece(const Field &field, const Value &value)
{
    const QChar zero = QLatin1Char('0');
    const uint32 number = value.number;
    switch (field.code) {
    case code_uint8: return field.text.arg(number, 8).arg(number, 2, 16, zero);
    case code_int8: return field.text.arg(static_cast<int>(number), 8).arg(number, 2, 16, zero);
    case code_int16: return field.text.arg(static_cast<int>(number), 8).arg(number, 4, 16, zero);
    case code_uint32: return field.text.arg(number, 8).arg(number, 8, 16, zero);
    case code_uint16:
        if (field.is_result)
            return field.text.arg(number, 4, 16, zero)
                .arg(number == 0 ? QStringLiteral("green") : QStringLiteral("red"),
                     error_text(static_cast<uint16>(number)));
        return field.text.arg(number, 8).arg(number, 4, 16, zero);
    case code_bd_addr: {
        QString text = field.text;
        for (int i = 5; i >= 0; --i)
            text = text.arg(value.address.addr[i], 2, 16, zero);
        return text;
    }
    default: return field.text.arg(QString::fromLatin1(value.bytes.toHex()));
    }
}
