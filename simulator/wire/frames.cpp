#include "simulator/wire/frames.h"

#include <QHash>
#include <QVector>
#include <QtEndian>

#include <algorithm>

namespace simulator {
namespace {

constexpr int firstEvent = command_count + response_count;

struct Field
{
    QStringView label;
    bool isResult;
    uint32 code;
    int offset;
    int size; // an array with its length byte
};

int fixedSize(uint32 code)
{
    switch (code) {
    case code_uint8:
    case code_int8:
    case code_uint8array: return 1;
    case code_uint16:
    case code_int16: return 2;
    case code_uint32: return 4;
    case code_bd_addr: return 6;
    default: return 0;
    }
}

// The fields of a payload, up to the first incomplete one.
QVector<Field> fieldsOf(int index, const QByteArray &payload)
{
    QVector<Field> fields;
    const message_text &text = message_text_at(index);
    uint32 types = record_at(index)->parameter_types;
    int offset = 0;
    for (int i = 0; i < text.field_count; ++i, types >>= 4) {
        const uint32 code = types & 0xf;
        int size = fixedSize(code);
        if (code == code_uint8array && offset < payload.size())
            size += uint8(payload[offset]);
        if (offset + size > payload.size())
            break;
        fields.append({text.fields[i].label, text.fields[i].is_result, code, offset, size});
        offset += size;
    }
    return fields;
}

QHash<QString, int> namesOf(int first, int count)
{
    QHash<QString, int> names;
    for (int i = first; i < first + count; ++i)
        names.insert(message_name(i), i);
    return names;
}

QString fieldText(const Field &field, const QByteArray &payload)
{
    QByteArray bytes = payload.mid(field.offset, field.size);
    if (field.code == code_uint8array)
        bytes.remove(0, 1);
    else
        std::reverse(bytes.begin(), bytes.end());
    return field.label.toString() + QString::fromLatin1(bytes.toHex());
}

} // namespace

int commandIndex(const QString &name)
{
    static const QHash<QString, int> names = namesOf(0, command_count);
    return names.value(name, -1);
}

int eventIndex(const QString &name)
{
    static const QHash<QString, int> names = namesOf(firstEvent, event_count);
    return names.value(name, -1);
}

int frameIndex(const QByteArray &frame, bool fromHost)
{
    if (frame.size() < headerSize)
        return -1;
    const uint8 header[headerSize] = {uint8(frame[0]), uint8(frame[1]), uint8(frame[2]), uint8(frame[3])};
    const message_record *record = find_record_forward(header);
    if (!record)
        return -1;
    const int index = int(record - record_at(0));
    return index < command_count && !fromHost ? responseIndex(index) : index;
}

int announcedLength(const char *header)
{
    return (uint8(header[0]) & 7) << 8 | uint8(header[1]);
}

bool lengthFits(int index, const QByteArray &payload)
{
    const int fixed = record_at(index)->header[1];
    int expected = fixed;
    const QVector<Field> fields = fieldsOf(index, QByteArray(fixed, '\0'));
    if (!fields.isEmpty() && fields.last().code == code_uint8array) {
        if (payload.size() < fixed)
            return false;
        expected += uint8(payload[fixed - 1]);
    }
    return payload.size() == expected;
}

QByteArray makeFrame(int index, const QByteArray &payload)
{
    const message_record &record = *record_at(index);
    const int length = std::max(payload.size(), int(record.header[1]));
    QByteArray frame;
    frame.reserve(headerSize + length);
    frame.append(char(record.header[0] | (length >> 8 & 7)));
    frame.append(char(length & 0xff));
    frame.append(char(record.header[2])).append(char(record.header[3]));
    return frame.append(payload).append(length - payload.size(), '\0');
}

QByteArray defaultResponse(int command, const QByteArray &payload, uint16 result)
{
    const int response = responseIndex(command);
    const QVector<Field> given = fieldsOf(command, payload);
    QByteArray answer(record_at(response)->header[1], '\0');
    for (const Field &field : fieldsOf(response, answer)) {
        const auto same = std::find_if(given.begin(), given.end(), [&field](const Field &other) {
            return other.label == field.label && other.code == field.code;
        });
        if (field.isResult)
            qToLittleEndian(result, answer.data() + field.offset);
        else if (same != given.end() && field.code != code_uint8array)
            answer.replace(field.offset, field.size, payload.mid(same->offset, same->size));
    }
    return makeFrame(response, answer);
}

bool hasResult(int command)
{
    const message_text &text = message_text_at(responseIndex(command));
    return std::any_of(text.fields, text.fields + text.field_count,
                       [](const field_text &field) { return field.is_result; });
}

QString describeFrame(const QByteArray &frame, bool fromHost)
{
    const int index = frameIndex(frame, fromHost);
    if (index < 0)
        return QStringLiteral("unknown");
    const QByteArray payload = frame.mid(headerSize);
    QString text = message_name(index);
    for (const Field &field : fieldsOf(index, payload))
        text += fieldText(field, payload);
    return text;
}

} // namespace simulator
