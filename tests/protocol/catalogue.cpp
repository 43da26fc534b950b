#include "tests/protocol/catalogue.h"

#include <QMap>
#include <QtEndian>

#include <cstring>

namespace catalogue {

namespace {

const char *const class_names[] = {"system", "flash", "attributes", "connection", "attclient",
                                   "sm",     "gap",   "hardware",   "test",       "dfu"};

const struct
{
    quint16 code;
    const char *words;
} sample_results[] = {{0x0000, "No Error"},
                      {0x0181, "Device is in wrong state to receive command"},
                      {0x0100, "No error"},
                      {0xffff, ""}};

Message read(Kind kind, const QList<QByteArray> &head, const QByteArray &part)
{
    Message result{kind, head.at(0).toInt(), head.at(1).toInt(), head.at(2), 0, {}};
    const int gap = part.indexOf(' ');
    result.fixed_length = part.left(gap < 0 ? part.size() : gap).toInt();
    if (gap < 0)
        return result;
    for (const QByteArray &entry : part.mid(gap + 1).split(',')) {
        const QList<QByteArray> words = entry.trimmed().split(' ');
        const bool is_result = words.at(0).endsWith('!');
        result.fields.append({words.at(0).chopped(is_result ? 1 : 0), words.at(1), is_result});
    }
    return result;
}

QVector<Message> read_all()
{
    QVector<Message> sent;
    QVector<Message> received;
    QVector<Message> unasked;
    for (const QByteArray &text : QByteArray(commands_and_responses).trimmed().split('\n')) {
        const QList<QByteArray> parts = text.split('|');
        const QList<QByteArray> head = parts.at(0).trimmed().split(' ');
        sent.append(read(Kind::command, head, parts.at(1).trimmed()));
        received.append(read(Kind::response, head, parts.at(2).trimmed()));
    }
    for (const QByteArray &text : QByteArray(events).trimmed().split('\n')) {
        const QList<QByteArray> parts = text.split('|');
        unasked.append(read(Kind::event, parts.at(0).trimmed().split(' '), parts.at(1).trimmed()));
    }
    return sent + received + unasked;
}

qint64 number(const Field &field, const QByteArray &wire)
{
    const char *bytes = wire.constData();
    if (field.type == "int8")
        return static_cast<qint8>(bytes[0]);
    if (field.type == "int16")
        return qFromLittleEndian<qint16>(bytes);
    if (wire.size() == 1)
        return static_cast<quint8>(bytes[0]);
    return wire.size() == 2 ? qFromLittleEndian<quint16>(bytes) : qFromLittleEndian<quint32>(bytes);
}

QString pair(char byte)
{
    return QStringLiteral("%1").arg(static_cast<quint8>(byte), 2, 16, QLatin1Char('0'));
}

QStringList pieces(const Message &message, const Field &field, const QByteArray &wire)
{
    const QString label = QLatin1Char(' ') + QString::fromLatin1(field.name) + QLatin1Char(':');
    if (is_array(field) || field.type == "bd_addr") {
        QStringList pairs;
        for (const char byte : wire)
            pairs.append(pair(byte));
        if (message.kind == Kind::command)
            return QStringList(label) + pairs;
        if (is_array(field))
            return {label + pairs.join(QString())};
        std::reverse(pairs.begin(), pairs.end());
        return {label + pairs.join(QLatin1Char(':'))};
    }
    const qint64 value = number(field, wire);
    if (field.is_result) {
        const char *words = "";
        for (const auto &known : sample_results) {
            if (known.code == value)
                words = known.words;
        }
        return {(label + QStringLiteral("0x%1 [<font color=%2>'%3'</font>]"))
                    .arg(value, 4, 16, QLatin1Char('0'))
                    .arg(value == 0 ? QStringLiteral("green") : QStringLiteral("red"),
                         QString::fromLatin1(words))};
    }
    const auto bits = static_cast<quint32>(value);
    return {(label + QStringLiteral("%1 (0x%2)"))
                .arg(value, 8)
                .arg(bits, 2 * wire_size(field), 16, QLatin1Char('0'))};
}

QByteArray kind_name(Kind kind)
{
    return kind == Kind::command ? "cmd" : kind == Kind::response ? "rsp" : "evt";
}

} // namespace

QByteArray Message::class_name() const
{
    return class_names[class_id];
}

QByteArray Message::method_name() const
{
    return kind_name(kind) + '_' + name;
}

QByteArray Message::signature() const
{
    QList<QByteArray> types;
    for (const Field &field : fields)
        types.append(is_array(field) ? QByteArray("QByteArray") : field.type);
    return method_name() + '(' + types.join(',') + ')';
}

QByteArray Message::title() const
{
    return class_name() + ' ' + method_name();
}

const QVector<Message> &messages()
{
    static const QVector<Message> all = read_all();
    return all;
}

const Message &message(const char *title)
{
    for (const Message &candidate : messages()) {
        if (candidate.title() == title)
            return candidate;
    }
    qFatal("no message %s", title);
}

int wire_size(const Field &field)
{
    static const QMap<QByteArray, int> sizes = {{"uint8", 1},  {"int8", 1},    {"uint16", 2},    {"int16", 2},
                                                {"uint32", 4}, {"bd_addr", 6}, {"uint8array", 1}};
    return sizes.value(field.type);
}

bool is_array(const Field &field)
{
    return field.type == "uint8array";
}

Values sample(const Message &message, int seed)
{
    static const int array_sizes[] = {7, 0, 20, 255};
    Values values;
    int next = 0x2b + 0x51 * seed + 5 * message.id + message.class_id;
    for (const Field &field : message.fields) {
        if (field.is_result) {
            const quint16 code = qToLittleEndian(sample_results[seed % 4].code);
            values.append(QByteArray(reinterpret_cast<const char *>(&code), 2));
            continue;
        }
        QByteArray wire(is_array(field) ? array_sizes[seed % 4] : wire_size(field), '\0');
        for (char &byte : wire)
            byte = static_cast<char>(next += 0x4d);
        values.append(wire);
    }
    return values;
}

QByteArray payload(const Message &message, const Values &values)
{
    QByteArray bytes;
    for (int i = 0; i < values.size(); ++i) {
        if (is_array(message.fields.at(i)))
            bytes.append(static_cast<char>(values.at(i).size()));
        bytes.append(values.at(i));
    }
    return bytes;
}

QByteArray frame(const Message &message, const Values &values)
{
    return frame_of(message, payload(message, values));
}

QByteArray frame_of(const Message &message, const QByteArray &payload)
{
    const int first = (message.kind == Kind::event ? 0x80 : 0) | (payload.size() >> 8);
    const int header[] = {first, payload.size() & 0xff, message.class_id, message.id};
    QByteArray bytes;
    for (const int byte : header)
        bytes.append(static_cast<char>(byte));
    return bytes + payload;
}

Values decoded(const Message &message, const QByteArray &payload)
{
    Values values;
    int offset = 0;
    for (const Field &field : message.fields) {
        const int size = wire_size(field);
        const bool there = offset + size <= payload.size();
        const QByteArray wire = there ? payload.mid(offset, size) : QByteArray(size, '\0');
        offset += size;
        values.append(is_array(field) ? payload.mid(offset, static_cast<quint8>(wire.at(0))) : wire);
    }
    return values;
}

QStringList log_line(const Message &message, const Values &values)
{
    QStringList line(QString::fromLatin1("ble_" + kind_name(message.kind) + '_' + message.class_name() + '_' +
                                         message.name + '\t'));
    for (int i = 0; i < values.size(); ++i)
        line += pieces(message, message.fields.at(i), values.at(i));
    return line;
}

} // namespace catalogue
