#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QString>

// Converts the wire types to bytes and text and back. Multi-byte values become bytes in memory order. The
// family is complete on purpose: each type has all conversions, whether or not the program calls them.

// Swaps the bytes in place, first with last.
void reverse_bytes(QByteArray &bytes);

// The value's own bytes: 1, 2, 4 or 6.
QByteArray to_bytes(uint8 value);
QByteArray to_bytes(int8 value);
QByteArray to_bytes(uint16 value);
QByteArray to_bytes(int16 value);
QByteArray to_bytes(uint32 value);
QByteArray to_bytes(const bd_addr &value);
// One byte with the low 8 bits of the size, then the bytes.
QByteArray array_to_bytes(const QByteArray &value);

// Reads hexadecimal for unsigned and decimal for signed types; 0 for text that is no number. Values that do
// not fit are cut to the type's width.
void from_text(const QString &text, uint8 &value);
void from_text(const QString &text, int8 &value);
void from_text(const QString &text, uint16 &value);
void from_text(const QString &text, int16 &value);
void from_text(const QString &text, uint32 &value);
// Hex digits to bytes; other characters are passed over.
void from_text(const QString &text, QByteArray &value);
// Six hexadecimal parts joined by ":", in text order; with fewer parts `value` stays as it was.
void from_text(const QString &text, bd_addr &value);

// Hexadecimal for unsigned, decimal for signed types, no padding.
QString to_text(uint8 value);
QString to_text(int8 value);
QString to_text(uint16 value);
QString to_text(int16 value);
QString to_text(uint32 value);

// Six lower-case hex pairs joined by ":": from byte 5 down to byte 0, as addresses are shown, or in wire
// order.
QString address_text(const bd_addr &address);
QString address_text_wire_order(const bd_addr &address);

// "1.2.3.4" with the highest byte first, and back. Parts are not checked: each is added to 256 times the sum
// so far.
QString dotted_text(uint32 value);
uint32 from_dotted_text(const QString &text);

// The address of such text with the highest byte first; empty parts are passed over, bytes without a part
// are 0.
bd_addr address_from_text(const QString &text);

// Lower-case digits, two a byte; and back, passing over what is no digit.
QString hex_text(const QByteArray &bytes);
QByteArray hex_bytes(const QString &text);
// The bytes as ASCII up to the first NUL.
QString ascii_text(const QByteArray &bytes);
