#pragma once

#include "fuzz.h"

#include "commandline/commandparser.h"

// Parses the line and holds what comes out against what every packet and every message must be. Gives the
// packet.
inline QByteArray parseChecked(const CommandParser &parser, const QString &line)
{
    QString message;
    const QByteArray packet = parser.parseLine(line, message);
    QString again;
    REQUIRE(parser.parseLine(line, again) == packet && again == message);

    // Only the parser's own elements: what was typed or stands in the file opens none.
    for (const char *own : {"<nobr>", "</nobr>", "<br>", "<b>", "</b>", "<qt>", "</qt>"})
        message.remove(QLatin1String(own));
    REQUIRE(!message.contains(QLatin1Char('<')));

    if (packet.isEmpty())
        return packet;
    REQUIRE(packet.size() >= 4 && uint8(packet.at(1)) == ((packet.size() - 4) & 0xff));
    REQUIRE(uint8(packet.at(0)) == (uint32(parser.device_id) & 0xff));
    return packet;
}
