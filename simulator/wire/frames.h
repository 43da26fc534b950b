#pragma once

#include "protocol/message_record.h"

#include <QByteArray>
#include <QString>

namespace simulator {

constexpr int headerSize = 4;

// Index of a record by name as in "system_hello", or -1. Commands and their responses share names.
int commandIndex(const QString &name);
int eventIndex(const QString &name);

constexpr int responseIndex(int command)
{
    return command + command_count;
}

// Index of the record that a whole frame belongs to, or -1. Bit 7 clear means a command if it came from the
// host and a response otherwise.
int frameIndex(const QByteArray &frame, bool fromHost);

// Payload length that the header announces. The frame needs at least its header.
int announcedLength(const char *header);

// Whether a payload has exactly the length that the record asks for, an array's own length byte included.
bool lengthFits(int index, const QByteArray &payload);

// A frame of the message with this payload; a payload shorter than the fixed fields is filled up with zeros.
QByteArray makeFrame(int index, const QByteArray &payload);

// The response of a command that the module does not model: scalar fields that the command has too, by name
// and type, are echoed, result fields hold `result`, all else is zero or empty.
QByteArray defaultResponse(int command, const QByteArray &payload, uint16 result);

// Whether the command's response has a result field.
bool hasResult(int command);

// "system_reg_write address:1234 value:56", numbers in hex; "unknown" for a frame without a record.
QString describeFrame(const QByteArray &frame, bool fromHost);

} // namespace simulator
