#pragma once

#include "protocol/message_record.h"

#include <QByteArray>
#include <QStringList>

// The pieces of a decoded log line, one call a field. Received messages and commands differ on purpose: a
// received address reads last wire byte first with colons and an array is one run of hex digits, while a
// command shows both byte by byte in wire order, each byte a piece of its own.

// " value:     255 (0xff)": decimal in 8 columns, then at least `hex_width` hex digits of `bits`.
QString number_piece(QStringView label, qint64 value, uint32 bits, int hex_width);

// " result:0x0181 [<font color=red>'...'</font>]", green for 0.
QString result_piece(QStringView label, uint16 code);

inline QString field_piece(const field_text &field, uint8 value)
{
    return number_piece(field.label, value, value, 2);
}
// Signed values show their sign in decimal and all 32 bits in hexadecimal, whatever their width on the wire.
inline QString field_piece(const field_text &field, int8 value)
{
    return number_piece(field.label, value, uint32(value), 2);
}
inline QString field_piece(const field_text &field, int16 value)
{
    return number_piece(field.label, value, uint32(value), 4);
}
inline QString field_piece(const field_text &field, uint16 value)
{
    return field.is_result ? result_piece(field.label, value) : number_piece(field.label, value, value, 4);
}
inline QString field_piece(const field_text &field, uint32 value)
{
    return number_piece(field.label, value, value, 8);
}

// Appends without the copy and its two counter updates, which cost as much as making a short piece.
inline void append_piece(QStringList &line, QString &&piece)
{
    line.append(QString());
    line.last().swap(piece);
}

QString received_piece(const field_text &field, const bd_addr &address);
QString received_piece(const field_text &field, const QByteArray &bytes);
template <typename Number>
QString received_piece(const field_text &field, Number value)
{
    return field_piece(field, value);
}

void append_sent(QStringList &line, const field_text &field, const bd_addr &address);
void append_sent(QStringList &line, const field_text &field, const QByteArray &bytes);
template <typename Number>
void append_sent(QStringList &line, const field_text &field, Number value)
{
    append_piece(line, field_piece(field, value));
}
