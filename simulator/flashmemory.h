#pragma once

#include "protocol/types.h"

#include <QByteArray>

namespace simulator {

// The module's program memory: 256 pages of 2048 bytes. Erasing a page sets all its bits; writing can only
// clear them. The lower part holds a made-up firmware that depends on the seed, the rest is erased.
class FlashMemory
{
public:
    static constexpr uint32 pageSize = 0x800;
    static constexpr uint32 size = 0x80000;
    static constexpr uint32 firmwareEnd = 0x1f000; // above it lies the user's data

    explicit FlashMemory(uint32 seed);

    void erasePage(uint8 page);

    // Clears the bits that are zero in `data`; false and nothing written if any byte lies beyond the end.
    bool write(uint32 address, const QByteArray &data);

    // Up to `length` bytes, fewer at the end of the memory, none beyond it.
    QByteArray read(uint32 address, uint32 length) const;

    // CRC-16/X.25 of the bootloader, which lies in the first page.
    uint16 bootloaderCrc() const;

private:
    QByteArray cells;
};

} // namespace simulator
