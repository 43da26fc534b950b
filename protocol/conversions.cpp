#include "protocol/conversions.h"

#include <QStringList>

#include <algorithm>

namespace {

template <typename T>
QByteArray own_bytes(const T &value)
{
    return QByteArray(reinterpret_cast<const char *>(&value), int(sizeof(value)));
}

QString pair_text(uint8 byte)
{
    return QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0'));
}

QString unsigned_text(uint32 value)
{
    return QStringLiteral("%0").arg(value, 0, 16, QLatin1Char(' '));
}

QString signed_text(int value)
{
    return QStringLiteral("%0").arg(value);
}

} // namespace

void reverse_bytes(QByteArray &bytes)
{
    std::reverse(bytes.begin(), bytes.end());
}

QByteArray to_bytes(uint8 value)
{
    return own_bytes(value);
}
QByteArray to_bytes(int8 value)
{
    return own_bytes(value);
}
QByteArray to_bytes(uint16 value)
{
    return own_bytes(value);
}
QByteArray to_bytes(int16 value)
{
    return own_bytes(value);
}
QByteArray to_bytes(uint32 value)
{
    return own_bytes(value);
}
QByteArray to_bytes(const bd_addr &value)
{
    return own_bytes(value);
}

QByteArray array_to_bytes(const QByteArray &value)
{
    return QByteArray(1, char(value.size() & 0xff)) + value;
}

void from_text(const QString &text, uint8 &value)
{
    value = uint8(text.toInt(nullptr, 16));
}
void from_text(const QString &text, int8 &value)
{
    value = int8(text.toInt(nullptr, 10));
}
void from_text(const QString &text, uint16 &value)
{
    value = uint16(text.toInt(nullptr, 16));
}
void from_text(const QString &text, int16 &value)
{
    value = int16(text.toInt(nullptr, 10));
}
void from_text(const QString &text, uint32 &value)
{
    value = text.toUInt(nullptr, 16);
}
void from_text(const QString &text, QByteArray &value)
{
    value = hex_bytes(text);
}

void from_text(const QString &text, bd_addr &value)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() < 6)
        return;
    for (int i = 0; i < 6; ++i)
        from_text(parts.at(i), value.addr[i]);
}

QString to_text(uint8 value)
{
    return unsigned_text(value);
}
QString to_text(int8 value)
{
    return signed_text(value);
}
QString to_text(uint16 value)
{
    return unsigned_text(value);
}
QString to_text(int16 value)
{
    return signed_text(value);
}
QString to_text(uint32 value)
{
    return unsigned_text(value);
}

QString address_text(const bd_addr &address)
{
    bd_addr reversed = address;
    std::reverse(std::begin(reversed.addr), std::end(reversed.addr));
    return address_text_wire_order(reversed);
}

QString address_text_wire_order(const bd_addr &address)
{
    QStringList pairs;
    for (const uint8 byte : address.addr)
        pairs += pair_text(byte);
    return pairs.join(QLatin1Char(':'));
}

bd_addr address_from_text(const QString &text)
{
    bd_addr address{};
    uint8 *byte = std::end(address.addr);
    for (const QString &part : text.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        if (byte == std::begin(address.addr))
            break;
        from_text(part, *--byte);
    }
    return address;
}

QString dotted_text(uint32 value)
{
    return QStringLiteral("%0.%1.%2.%3")
        .arg(value >> 24)
        .arg((value >> 16) & 0xff)
        .arg((value >> 8) & 0xff)
        .arg(value & 0xff);
}

uint32 from_dotted_text(const QString &text)
{
    uint32 value = 0;
    const QStringList parts = text.split(QLatin1Char('.'));
    for (const QString &part : parts)
        value = value * 256 + uint32(part.toInt());
    return value;
}

QString hex_text(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

QByteArray hex_bytes(const QString &text)
{
    return QByteArray::fromHex(text.toLatin1());
}

QString ascii_text(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.constData(), int(qstrnlen(bytes.constData(), uint(bytes.size()))));
}
