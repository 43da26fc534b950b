#include "protocol/log_text.h"

#include "protocol/error_table.h"

#include <algorithm>

namespace {

// Pieces are written digit by digit into strings of their final size: every frame of a busy link makes
// several, and QString::arg would take most of the time.
constexpr char16_t hex_digits[] = u"0123456789abcdef";
constexpr int decimal_width = 8;

QChar *put(QChar *at, QStringView text)
{
    return std::copy(text.begin(), text.end(), at);
}

// The compiler knows the size and makes this a few stores, where std::copy would call memmove.
template <std::size_t Size>
QChar *put(QChar *at, const char16_t (&text)[Size])
{
    for (std::size_t i = 0; i + 1 < Size; ++i)
        *at++ = text[i];
    return at;
}

QChar *put_byte(QChar *at, uint8 value)
{
    *at++ = hex_digits[value >> 4];
    *at++ = hex_digits[value & 0xf];
    return at;
}

QChar *put_hex(QChar *at, uint32 value, int digits)
{
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        *at++ = hex_digits[(value >> shift) & 0xf];
    return at;
}

int hex_size(uint32 value, int width)
{
    while (width < 8 && (value >> (4 * width)) != 0)
        ++width;
    return width;
}

uint32 magnitude(qint64 value)
{
    return static_cast<uint32>(value < 0 ? -value : value);
}

int decimal_size(qint64 value)
{
    int size = value < 0 ? 2 : 1;
    for (uint32 rest = magnitude(value); rest >= 10; rest /= 10)
        ++size;
    return size;
}

// `value` right-aligned in `width` columns.
QChar *put_decimal(QChar *at, qint64 value, int width)
{
    QChar *const end = at + width;
    QChar *digit = end;
    std::fill(at, end, QChar(u' '));
    uint32 rest = magnitude(value);
    do {
        *--digit = hex_digits[rest % 10];
        rest /= 10;
    } while (rest != 0);
    if (value < 0)
        *--digit = u'-';
    return end;
}

QString one_byte(uint8 value)
{
    QString text(2, Qt::Uninitialized);
    put_byte(text.data(), value);
    return text;
}

} // namespace

QString number_piece(QStringView label, qint64 value, uint32 bits, int hex_width)
{
    const int width = std::max(decimal_width, decimal_size(value));
    const int hex_count = hex_size(bits, hex_width);
    QString piece(int(label.size()) + width + 4 + hex_count + 1, Qt::Uninitialized);
    QChar *at = put_decimal(put(piece.data(), label), value, width);
    *put_hex(put(at, u" (0x"), bits, hex_count) = u')';
    return piece;
}

QString result_piece(QStringView label, uint16 code)
{
    const QString &words = error_text(code);
    constexpr int fixed_size = 6 + 14 + 2 + 9; // "0x....", " [<font color=", ">'", "'</font>]"
    const QStringView colour = code == 0 ? QStringView(u"green") : QStringView(u"red");
    QString piece(int(label.size() + colour.size() + words.size()) + fixed_size, Qt::Uninitialized);
    QChar *at = put(put(piece.data(), label), u"0x");
    at = put(put(put_hex(at, code, 4), u" [<font color="), colour);
    put(put(put(at, u">'"), words), u"'</font>]");
    return piece;
}

QString received_piece(const field_text &field, const bd_addr &address)
{
    QString piece(int(field.label.size()) + 17, Qt::Uninitialized);
    QChar *at = put_byte(put(piece.data(), field.label), address.addr[5]);
    for (int i = 4; i >= 0; --i) {
        *at++ = u':';
        at = put_byte(at, address.addr[i]);
    }
    return piece;
}

QString received_piece(const field_text &field, const QByteArray &bytes)
{
    QString piece(int(field.label.size()) + 2 * bytes.size(), Qt::Uninitialized);
    QChar *at = put(piece.data(), field.label);
    for (const char byte : bytes)
        at = put_byte(at, static_cast<uint8>(byte));
    return piece;
}

void append_sent(QStringList &line, const field_text &field, const bd_addr &address)
{
    line.append(field.label.toString());
    for (const uint8 byte : address.addr)
        append_piece(line, one_byte(byte));
}

void append_sent(QStringList &line, const field_text &field, const QByteArray &bytes)
{
    line.append(field.label.toString());
    line.reserve(line.size() + bytes.size());
    for (const char byte : bytes)
        append_piece(line, one_byte(static_cast<uint8>(byte)));
}
