#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QtEndian>

#include <type_traits>

namespace simulator {

inline void appendField(QByteArray &payload, const bd_addr &address)
{
    payload.append(reinterpret_cast<const char *>(address.addr), sizeof(address.addr));
}

// A length byte, then the data; data beyond 255 bytes are cut off.
inline void appendField(QByteArray &payload, const QByteArray &array)
{
    const QByteArray data = array.left(255);
    payload.append(char(data.size())).append(data);
}

// A number, or an enumerator, little-endian in the width of its type.
template <typename Number>
void appendField(QByteArray &payload, Number value)
{
    static_assert(!std::is_same_v<Number, int>, "the wire has no field of this width");
    if constexpr (std::is_enum_v<Number>) {
        appendField(payload, std::underlying_type_t<Number>(value));
    } else {
        const Number wire = qToLittleEndian(value);
        payload.append(reinterpret_cast<const char *>(&wire), sizeof(wire));
    }
}

// The payload of a message: its fields in wire order. Missing fields at the end are sent as zeros.
template <typename... Fields>
QByteArray payload(const Fields &...fields)
{
    QByteArray bytes;
    (appendField(bytes, fields), ...);
    return bytes;
}

} // namespace simulator
