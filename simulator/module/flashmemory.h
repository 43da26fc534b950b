#pragma once

#include "protocol/types.h"

#include <QByteArray>

namespace simulator {

// The program memory: 256 pages of 2048 bytes. Erasing a page sets all its bits, writing can only clear bits.
// A new memory holds a firmware that depends on the seed; the rest is erased.
class FlashMemory
{
public:
    static constexpr uint32 pageSize = 0x800;
    static constexpr uint32 size = 0x80000;
    static constexpr uint32 firmwareEnd = 0x1f000; // start of the user's data

    explicit FlashMemory(uint32 seed);

    void erasePage(uint8 page);

    // Clears the bits that are zero in `data`. Returns false and writes nothing if a byte lies past the end.
    bool write(uint32 address, const QByteArray &data);

    // Returns up to `length` bytes: fewer at the end of the memory, none past it.
    QByteArray read(uint32 address, uint32 length) const;

private:
    QByteArray cells;
};

} // namespace simulator
