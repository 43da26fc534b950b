#include "tests/protocol/catalogue.h"

#include <QFile>
#include <QMap>

#include <algorithm>

namespace catalogue {

namespace {

const QList<QByteArray> classNames = QByteArray("system flash attributes connection attclient "
                                                "sm gap hardware test dfu")
                                         .split(' ');
const QMap<QByteArray, int> sizes = {{"uint8", 1},  {"int8", 1},    {"uint16", 2},    {"int16", 2},
                                     {"uint32", 4}, {"bd_addr", 6}, {"uint8array", 1}};
const QMap<int, const char *> results = {{0x0000, "No Error"},
                                         {0x0181, "Device is in wrong state to receive command"},
                                         {0x0100, "No error"},
                                         {0xffff, ""}};

// "0 3 reg_write" and "3 uint16 address, uint8 value".
Message read(Kind kind, const QString &head, const QString &part)
{
    const QList<QByteArray> words = head.toLatin1().split(' ');
    const char *const prefixes[] = {"cmd_", "rsp_", "evt_"};
    Message m{kind, words[0].toInt(), words[1].toInt(), classNames.at(words[0].toInt()), words.at(2), {}, 0,
              {}};
    m.method = prefixes[int(kind)] + m.name;
    m.fixedLength = part.section(u' ', 0, 0).toInt();
    for (const QString &entry : part.section(u' ', 1).split(u',', Qt::SkipEmptyParts)) {
        QByteArray type = entry.trimmed().section(u' ', 0, 0).toLatin1();
        const bool isResult = type.endsWith('!');
        type.chop(isResult);
        m.fields.append({type, entry.trimmed().section(u' ', 1).toLatin1(), isResult, type == "uint8array",
                         sizes.value(type)});
    }
    return m;
}

QVector<Message> readAll()
{
    QVector<Message> commands;
    QVector<Message> responses;
    QVector<Message> events;
    for (const QStringList &row : rows("messages.txt")) {
        const QStringList parts = row.at(0).split(QStringLiteral(" | "));
        if (parts.size() == 2) {
            events.append(read(Kind::event, parts.at(0), parts.at(1)));
            continue;
        }
        commands.append(read(Kind::command, parts.at(0), parts.at(1)));
        responses.append(read(Kind::response, parts.at(0), parts.at(2)));
    }
    return commands + responses + events;
}

qint64 number(const Field &field, const QByteArray &wire)
{
    qint64 value = 0;
    for (int at = field.size - 1; at >= 0; --at)
        value = value * 256 + quint8(wire.at(at));
    const qint64 range = 1LL << (8 * field.size);
    return field.type.startsWith("int") && value >= range / 2 ? value - range : value;
}

QString piece(Kind kind, const Field &field, const QByteArray &wire)
{
    const QString label = QStringLiteral(" %1:").arg(QString::fromLatin1(field.name));
    if (field.isArray || field.type == "bd_addr") {
        QByteArray bytes = wire;
        if (kind != Kind::command && !field.isArray)
            std::reverse(bytes.begin(), bytes.end());
        const char separator = kind == Kind::command ? '|' : field.isArray ? '\0' : ':';
        const QString pairs = QString::fromLatin1(bytes.toHex(separator));
        return label + (kind == Kind::command && !wire.isEmpty() ? QLatin1String("|") + pairs : pairs);
    }
    const qint64 value = number(field, wire);
    if (!field.isResult)
        return (label + QStringLiteral("%1 (0x%2)"))
            .arg(value, 8)
            .arg(quint32(value), 2 * field.size, 16, QLatin1Char('0'));
    return (label + QStringLiteral("0x%1 [<font color=%2>'%3'</font>]"))
        .arg(value, 4, 16, QLatin1Char('0'))
        .arg(QLatin1String(value == 0 ? "green" : "red"), QLatin1String(results.value(int(value), "")));
}

} // namespace

QByteArray Message::title() const
{
    return className + ' ' + method;
}

QByteArray Message::signature() const
{
    QList<QByteArray> types;
    for (const Field &field : fields)
        types.append(field.isArray ? QByteArray("QByteArray") : field.type);
    return method + '(' + types.join(',') + ')';
}

const QVector<Message> &messages()
{
    static const QVector<Message> all = readAll();
    return all;
}

const Message &message(const QByteArray &title)
{
    const auto found = std::find_if(messages().begin(), messages().end(),
                                    [&](const Message &m) { return m.title() == title; });
    if (found == messages().end())
        qFatal("no message %s", title.constData());
    return *found;
}

Values sample(const Message &message, int seed)
{
    static const int arraySizes[] = {7, 0, 20, 255};
    static const char *const resultCodes[] = {"0000", "8101", "0001", "ffff"};
    Values values;
    int next = 0x2b + 0x51 * seed + 5 * message.id + message.classId;
    for (const Field &field : message.fields) {
        QByteArray wire(field.isArray ? arraySizes[seed % 4] : field.size, '\0');
        for (char &byte : wire)
            byte = char(next += 0x4d);
        values.append(field.isResult ? hex(resultCodes[seed % 4]) : wire);
    }
    return values;
}

QByteArray payload(const Message &message, const Values &values)
{
    QByteArray bytes;
    for (int i = 0; i < values.size(); ++i) {
        if (message.fields.at(i).isArray)
            bytes.append(char(values.at(i).size()));
        bytes.append(values.at(i));
    }
    return bytes;
}

QByteArray frame(const Message &message, const QByteArray &payload)
{
    QByteArray bytes;
    const int first = (message.kind == Kind::event ? 0x80 : 0) | (payload.size() >> 8);
    for (const int byte : {first, payload.size() & 0xff, message.classId, message.id})
        bytes.append(char(byte));
    return bytes + payload;
}

QString shown(const Message &message, const Values &values)
{
    QByteArray text = "message " + message.title();
    for (const QByteArray &value : values)
        text += ' ' + value.toHex();
    return QString::fromLatin1(text);
}

QString logLine(const Message &message, const Values &values)
{
    QStringList pieces(
        QString::fromLatin1("ble_" + message.method.left(4) + message.className + '_' + message.name + '\t'));
    for (int i = 0; i < values.size(); ++i)
        pieces += piece(message.kind, message.fields.at(i), values.at(i));
    return pieces.join(u'|');
}

QStringList received(const Message &message, const QByteArray &payload)
{
    Values values;
    int offset = 0;
    for (const Field &field : message.fields) {
        const bool there = offset + field.size <= payload.size();
        const QByteArray wire = there ? payload.mid(offset, field.size) : QByteArray(field.size, '\0');
        offset += field.size;
        values.append(field.isArray ? payload.mid(offset, quint8(wire.at(0))) : wire);
    }
    return {shown(message, values), QLatin1String("line ") + logLine(message, values),
            QString::fromLatin1("data " + frame(message, payload).toHex())};
}

QVector<QStringList> rows(const char *file, int columns)
{
    QFile source(QStringLiteral(TEST_DATA "/") + QLatin1String(file));
    if (!source.open(QIODevice::ReadOnly | QIODevice::Text))
        qFatal("no file %s", file);
    QVector<QStringList> found;
    for (QString line : QString::fromUtf8(source.readAll()).split(u'\n', Qt::SkipEmptyParts)) {
        if (line.startsWith(u'#'))
            continue;
        line.replace(QLatin1String("\\t"), QLatin1String("\t"));
        QStringList row;
        for (int i = 0; i < columns; ++i)
            row.append(line.section(u';', i, i + 1 < columns ? i : -1));
        std::transform(row.begin(), row.end(), row.begin(),
                       [](const QString &s) { return s.startsWith(u' ') ? s.mid(1) : s; });
        found.append(row);
    }
    return found;
}

} // namespace catalogue
