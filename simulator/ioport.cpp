#include "simulator/ioport.h"

namespace simulator {

uint8 IoPort::levels() const
{
    const int pulled = pullUp ? ~tristate : 0;
    const int inputs = (outsideLevels & outsideDriven) | (pulled & ~outsideDriven);
    const int outputs = direction & ~function;
    return uint8((latch & outputs) | (inputs & ~outputs));
}

uint8 IoPort::drive(uint8 chosenLevels, uint8 driven)
{
    const uint8 before = levels();
    outsideLevels = chosenLevels;
    outsideDriven = driven;
    const uint8 after = levels();
    const int edges = irqOnFalling ? before & ~after : after & ~before;
    return uint8(edges & irqEnabled);
}

void IoPort::reset()
{
    IoPort fresh;
    fresh.outsideLevels = outsideLevels;
    fresh.outsideDriven = outsideDriven;
    *this = fresh;
}

} // namespace simulator
