#include "commandline/commandparser.h"

#include "commandline/definitiondocument.h"
#include "commandline/definitions.h"

#include <QFile>
#include <QFileInfo>
#include <QRegExp>

#include <algorithm>
#include <utility>

namespace {

constexpr qint64 maxFileSize = 0x100000;

// One or more of closing square bracket, blank or tab.
QRegExp separator()
{
    return QRegExp(QStringLiteral("[] \t]+"));
}

// The text from `begin` to the next underscore or the end.
QStringRef sectionAt(const QString &line, int begin)
{
    const int end = line.indexOf(u'_', begin);
    return line.midRef(begin, end < 0 ? -1 : end - begin);
}

int signedByte(const QByteArray &bytes, int at)
{
    return qint8(bytes.at(at));
}

} // namespace

CommandParser::CommandParser(QObject *parent)
    : QObject(parent)
{
}

int CommandParser::loadDefinitions(const QString &path)
{
    QFile file(path);
    const QFileInfo info(path);
    // Opening a pipe without a writer would wait for one, and a device may have no end.
    const bool refused = info.exists() && !info.isFile();
    if (refused || !file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        const int error = refused ? QFileDevice::OpenError : file.error();
        Q_EMIT log_message(
            QStringLiteral("%1 %2 %3").arg(path, QStringLiteral("file open failed"), QString::number(error)));
        return -1;
    }

    QDomDocument parsed;
    Definitions definitions;
    if (file.size() > maxFileSize || !parseDocument(file.readAll(), parsed) ||
        !readDefinitions(parsed, definitions)) {
        Q_EMIT log_message(QStringLiteral("%1 %2").arg(path, QStringLiteral("file read failed")));
        return -1;
    }
    device_name = definitions.device_name;
    device_id = definitions.device_id;
    document = parsed;
    constants.insert(definitions.constants);
    classes += definitions.classes;
    return 0;
}

QByteArray CommandParser::parseLine(QString line, QString &message) const
{
    const QByteArray packet = parseNames(line, message);
    return packet.isEmpty() ? parseHex(std::move(line), message) : packet;
}

QByteArray CommandParser::parseNames(QString line, QString &message) const
{
    if (sectionAt(line, 0) == device_name && sectionAt(line, device_name.size() + 1) == u"cmd")
        line.remove(0, device_name.size() + 5);

    const QString className = sectionAt(line, 0).toString();
    QStringList words = line.mid(className.size() + 1).split(separator());
    const QString command = words.takeFirst();

    const auto found = std::find_if(classes.cbegin(), classes.cend(),
                                    [&](const ApiClass &candidate) { return candidate.name == className; });
    if (found == classes.cend())
        return {};
    QByteArray packet = found->findCommand(command, words, message);
    if (!packet.isEmpty())
        packet[0] = char(device_id & 0xff);
    return packet;
}

QByteArray CommandParser::parseHex(QString line, QString &message) const
{
    line.remove(separator());
    QByteArray packet = QByteArray::fromHex(line.toLatin1());
    if (QString::fromLatin1(packet.toHex()) != line)
        return {};
    const int payload = packet.size() - 4;
    if (packet.size() < 2) {
        message += QStringLiteral("Length of hex string must be at least two bytes");
    } else if (signedByte(packet, 0) != device_id) {
        message += htmlOf(QStringLiteral("First byte must be correct device_id %1=%2")
                              .arg(device_name, QString::number(device_id)));
    } else if (packet.size() < 4) {
        message += QStringLiteral("Packet length invalid must be at least 4");
    } else if (signedByte(packet, 1) != payload) {
        message += QStringLiteral("Packet length field invalid expected:%1").arg(payload);
    } else {
        return packet;
    }
    return {};
}
