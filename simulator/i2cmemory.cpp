#include "simulator/i2cmemory.h"

namespace simulator {

void I2cMemory::write(const QByteArray &data)
{
    if (data.isEmpty())
        return;
    pointer = uint8(data[0]);
    for (int i = 1; i < data.size(); ++i)
        memory[int(pointer++)] = data[i];
}

QByteArray I2cMemory::read(uint8 length)
{
    QByteArray data;
    for (int i = 0; i < length; ++i)
        data.append(memory[int(pointer++)]);
    return data;
}

} // namespace simulator
