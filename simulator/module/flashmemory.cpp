#include "simulator/module/flashmemory.h"

#include <algorithm>
#include <random>

namespace simulator {

FlashMemory::FlashMemory(uint32 seed)
    : cells(int(size), '\xff')
{
    std::mt19937 random(seed);
    std::generate_n(cells.begin(), firmwareEnd, [&random] { return char(random() & 0xff); });
}

void FlashMemory::erasePage(uint8 page)
{
    std::fill_n(cells.begin() + std::ptrdiff_t{page} * pageSize, pageSize, '\xff');
}

bool FlashMemory::write(uint32 address, const QByteArray &data)
{
    if (address > size || uint32(data.size()) > size - address)
        return false;
    std::transform(data.begin(), data.end(), cells.begin() + address, cells.begin() + address,
                   [](char wanted, char cell) { return char(wanted & cell); });
    return true;
}

QByteArray FlashMemory::read(uint32 address, uint32 length) const
{
    return address < size ? cells.mid(int(address), int(std::min(length, size - address))) : QByteArray();
}

} // namespace simulator
