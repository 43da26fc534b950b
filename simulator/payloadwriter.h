#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QtEndian>

#include <type_traits>

namespace simulator {

// Builds a payload field by field in wire order, numbers little-endian. The caller keeps to the fields of the
// message; nothing is checked here.
class PayloadWriter
{
public:
    template <typename Number>
    PayloadWriter &put(Number value)
    {
        static_assert(std::is_integral_v<Number>, "a plain number of the wire's own width");
        const Number wire = qToLittleEndian(value);
        bytes.append(reinterpret_cast<const char *>(&wire), sizeof(wire));
        return *this;
    }

    PayloadWriter &put(const bd_addr &address)
    {
        bytes.append(reinterpret_cast<const char *>(address.addr), sizeof(address.addr));
        return *this;
    }

    // A length byte, then the data; what exceeds 255 bytes is cut off.
    PayloadWriter &put(const QByteArray &array)
    {
        const QByteArray data = array.left(255);
        bytes.append(char(data.size())).append(data);
        return *this;
    }

    const QByteArray &payload() const { return bytes; }

private:
    QByteArray bytes;
};

} // namespace simulator
