#include "protocol/log_text.h"

#include "protocol/error_table.h"

namespace {

// Pieces are written digit by digit into strings of their final size: every frame of a busy link makes
// several, and QString::arg would take most of the time.
constexpr char16_t hex_digits[] = u"0123456789abcdef";
constexpr int decimal_width = 8;

QChar *put(QChar *at, QStringView text)
{
    return std::copy(text.begin(), text.end(), at);
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

// The decimal digits and sign of `value`, right-aligned in the last characters before `end`; gives their
// start.
char16_t *decimal_before(char16_t *end, qint64 value)
{
    const bool negative = value < 0;
    auto rest = static_cast<quint64>(negative ? -value : value);
    do {
        *--end = hex_digits[rest % 10];
        rest /= 10;
    } while (rest != 0);
    if (negative)
        *--end = u'-';
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
    char16_t room[24];
    char16_t *const room_end = room + 24;
    char16_t *digits = decimal_before(room_end, value);
    while (room_end - digits < decimal_width)
        *--digits = u' ';
    const QStringView decimal(digits, room_end);
    const int hex_count = hex_size(bits, hex_width);
    const QStringView open(u" (0x");

    QString piece(int(label.size() + decimal.size() + open.size()) + hex_count + 1, Qt::Uninitialized);
    QChar *at = put(put(put(piece.data(), label), decimal), open);
    *put_hex(at, bits, hex_count) = u')';
    return piece;
}

QString result_piece(QStringView label, uint16 code)
{
    const QString &words = error_text(code);
    const QStringView open =
        code == 0 ? QStringView(u" [<font color=green>'") : QStringView(u" [<font color=red>'");
    const QStringView close(u"'</font>]");

    QString piece(int(label.size() + 6 + open.size() + words.size() + close.size()), Qt::Uninitialized);
    QChar *at = put(put(piece.data(), label), u"0x");
    put(put(put(put_hex(at, code, 4), open), words), close);
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
        line.append(one_byte(byte));
}

void append_sent(QStringList &line, const field_text &field, const QByteArray &bytes)
{
    line.append(field.label.toString());
    line.reserve(line.size() + bytes.size());
    for (const char byte : bytes)
        line.append(one_byte(static_cast<uint8>(byte)));
}
