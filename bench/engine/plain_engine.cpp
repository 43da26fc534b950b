#include "bench/engine/plain_engine.h"

#include "protocol/error_table.h"

#include <QtEndian>

#include <cstring>

PlainEngine::PlainEngine(cls_ble &engine)
    : outlet(engine)
{
    QObject *const objects[] = {&engine.system,    &engine.flash, &engine.attributes, &engine.connection,
                                &engine.attclient, &engine.sm,    &engine.gap,        &engine.hardware,
                                &engine.test,      &engine.dfu};
    for (int i = command_count; i < record_count; ++i) {
        const message_record &record = *record_at(i);
        const int classId = record.header[2];
        const bool isEvent = i >= command_count + response_count;
        const message_text &text = message_text_at(i);
        Message message{objects[classId], record.header[3], text.prefix, {}};
        if (isEvent)
            message.signal += responses[classId].size();
        for (int f = 0; f < text.field_count; ++f) {
            Field field{(record.parameter_types >> (4 * f)) & 0xf, text.fields[f].is_result,
                        text.fields[f].label.toString()};
            if (field.isResult)
                field.text += QStringLiteral("0x%1 [<font color=%2>'%3'</font>]");
            else if (field.code == code_bd_addr)
                field.text += QStringLiteral("%1:%2:%3:%4:%5:%6");
            else if (field.code == code_uint8array)
                field.text += QStringLiteral("%1");
            else
                field.text += QStringLiteral("%1 (0x%2)");
            message.fields.append(field);
        }
        (isEvent ? events : responses)[classId].append(message);
    }
}

const PlainEngine::Message &PlainEngine::messageOf(const QByteArray &frame) const
{
    const auto classId = uint8(frame.at(2));
    const auto id = uint8(frame.at(3));
    return (frame.at(0) & 0x80 ? events : responses)[classId].at(id);
}

void PlainEngine::rx_data(const QByteArray &data)
{
    buffer.append(data);
    while (buffer.size() >= 4) {
        const int total = (((buffer.at(0) & 7) << 8) | uint8(buffer.at(1))) + 4;
        if (total > buffer.size())
            return;
        takeFrame(buffer.left(total));
        buffer = buffer.mid(total);
    }
}

void PlainEngine::takeFrame(const QByteArray &frame)
{
    const Message &message = messageOf(frame);
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
    outlet.log_message(line);
    Q_EMIT outlet.parsed_message_data(frame);
}

void PlainEngine::decode(const Field &field, const char *&at, Value &value)
{
    int size = 1;
    switch (field.code) {
    case code_uint8: value.number = uint8(*at); break;
    // NOLINTNEXTLINE(bugprone-signed-char-misuse) // the sign is wanted
    case code_int8: value.number = uint32(int8(*at)); break;
    case code_uint16:
        value.number = qFromLittleEndian<uint16>(at);
        size = 2;
        break;
    case code_int16:
        value.number = uint32(qFromLittleEndian<int16>(at));
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
        value.bytes = QByteArray(at + 1, uint8(*at));
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
    case code_int8: return field.text.arg(int(number), 8).arg(number, 2, 16, zero);
    case code_int16: return field.text.arg(int(number), 8).arg(number, 4, 16, zero);
    case code_uint32: return field.text.arg(number, 8).arg(number, 8, 16, zero);
    case code_uint16:
        if (field.isResult)
            return field.text.arg(number, 4, 16, zero)
                .arg(number == 0 ? QStringLiteral("green") : QStringLiteral("red"),
                     error_text(uint16(number)));
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
