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

// Both digits of every byte, so that long arrays take one step a byte.
struct hex_pairs
{
    char16_t digits[256][2]{};
    constexpr hex_pairs()
    {
        for (unsigned byte = 0; byte < 256; ++byte) {
            digits[byte][0] = hex_digits[byte >> 4];
            digits[byte][1] = hex_digits[byte & 0xf];
        }
    }
};
constexpr hex_pairs pairs;

QChar *put_byte(QChar *at, uint8 value)
{
    at[0] = pairs.digits[value][0];
    at[1] = pairs.digits[value][1];
    return at + 2;
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

// A decimal number right-aligned in at least 8 columns.
struct decimal_text
{
    explicit decimal_text(qint64 value)
        : start(room + room_size)
    {
        std::fill(start - decimal_width, start, u' ');
        auto rest = uint32(value < 0 ? -value : value);
        do {
            *--start = static_cast<char16_t>(u'0' + rest % 10);
            rest /= 10;
        } while (rest != 0);
        if (value < 0)
            *--start = u'-';
        start = std::min(start, room + room_size - decimal_width);
    }

    int size() const { return int(room + room_size - start); }
    QChar *put(QChar *at) const { return std::copy<const char16_t *>(start, room + room_size, at); }

    static constexpr int room_size = 12;
    char16_t room[room_size];
    char16_t *start;
};

QString one_byte(uint8 value)
{
    QString text(2, Qt::Uninitialized);
    put_byte(text.data(), value);
    return text;
}

} // namespace

QString number_piece(QStringView label, qint64 value, uint32 bits, int hex_width)
{
    const decimal_text decimal(value);
    const int hex_count = hex_size(bits, hex_width);
    QString piece(int(label.size()) + decimal.size() + 4 + hex_count + 1, Qt::Uninitialized);
    QChar *at = decimal.put(put(piece.data(), label));
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
        at = put_byte(at, uint8(byte));
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
        append_piece(line, one_byte(uint8(byte)));
}
