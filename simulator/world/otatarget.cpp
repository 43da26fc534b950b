#include "simulator/world/otatarget.h"

namespace simulator {
namespace {

constexpr unsigned bit(OtaTarget::Order order)
{
    return 1u << order;
}

constexpr unsigned powered = bit(OtaTarget::powerOn);
constexpr unsigned loading = bit(OtaTarget::loadStart);

// The orders that must be in effect before each order.
constexpr unsigned needed[] = {
    powered, powered, powered | bit(OtaTarget::eraseBlock0) | bit(OtaTarget::eraseBlock1), loading, 0,
};

} // namespace

Result OtaTarget::obey(uint8 order)
{
    if (const auto chosen = resultOverride ? resultOverride(order) : std::nullopt)
        return Result(*chosen);
    if (order > powerOn || (done & needed[order]) != needed[order] || (order == finish && overrun))
        return resultApplicationError;
    switch (order) {
    case powerOn: done = powered; break;
    case loadStart:
        done = powered | loading;
        loaded.clear();
        overrun = false;
        break;
    case finish: done = 0; break;
    default: done = (done | 1u << order) & ~loading;
    }
    return resultOk;
}

void OtaTarget::append(const QByteArray &data)
{
    if ((done & loading) == 0)
        return;
    overrun = overrun || data.size() > maxSize - loaded.size();
    if (!overrun)
        loaded.append(data);
}

} // namespace simulator
