#include "simulator/loopbackendpoint.h"

namespace simulator {

bool LoopbackEndpoint::put(const QByteArray &data)
{
    if (data.size() > room())
        return false;
    buffer += data;
    return true;
}

bool LoopbackEndpoint::take(int size, QByteArray *data)
{
    if (size > buffer.size())
        return false;
    *data = buffer.left(size);
    buffer.remove(0, size);
    return true;
}

void LoopbackEndpoint::setWatermarks(uint8 rx, uint8 tx)
{
    if (rx != keepWatermark)
        rxWatermark = rx;
    if (tx != keepWatermark)
        txWatermark = tx;
}

} // namespace simulator
