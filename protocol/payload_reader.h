#pragma once

#include "protocol/message_record.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <cstring>

// Reads the fields of a payload in wire order and never past its end: a field that is not wholly there reads
// as 0, and an array goes as far as the payload does.
class payload_reader
{
public:
    explicit payload_reader(const message_payload &payload)
        : at(payload.data)
        , end(payload.data + payload.size)
    {
    }

    template <typename T>
    T take()
    {
        T value{};
        if (const char *bytes = advance(int(sizeof(T))))
            value = decode(bytes, value);
        return value;
    }

private:
    const char *advance(int size)
    {
        const char *bytes = at;
        if (end - at < size) {
            at = end;
            return nullptr;
        }
        at += size;
        return bytes;
    }

    static bd_addr decode(const char *bytes, bd_addr address)
    {
        std::memcpy(address.addr, bytes, sizeof(address.addr));
        return address;
    }

    template <typename Number>
    static Number decode(const char *bytes, Number)
    {
        return qFromLittleEndian<Number>(bytes);
    }

    const char *at;
    const char *end;
};

template <>
inline QByteArray payload_reader::take<QByteArray>()
{
    const auto announced = int(take<uint8>());
    const int size = std::min(announced, int(end - at));
    return size == 0 ? QByteArray() : QByteArray(advance(size), size);
}
