#pragma once

#include "protocol/types.h"

#include <QByteArray>

namespace simulator {

// The one device on the I2C bus: 256 bytes behind a pointer that goes on by one with each byte and wraps. It
// has a supply of its own, so that a reset of the module does not reach it.
class I2cMemory
{
public:
    // As the first byte on the wire carries it: seven bits of address, then a bit for the direction, which
    // the module sets itself.
    static constexpr uint8 address = 0xa0;

    // Whether the device is the one that an address byte means.
    static bool answersTo(uint8 addressByte) { return (addressByte | 1) == (address | 1); }

    // The first byte sets the pointer, the rest is stored from there on.
    void write(const QByteArray &data);

    QByteArray read(uint8 length);

private:
    QByteArray memory = QByteArray(256, '\xff');
    uint8 pointer = 0;
};

} // namespace simulator
