#pragma once

#include "protocol/types.h"

namespace simulator {

// A port of eight pins, in each mask a bit a pin. The members set here are those after a reset; what is wired
// to the pins outlives one.
struct IoPort
{
    uint8 direction = 0; // set for an output
    uint8 function = 0;  // set for a pin of a peripheral, which the latch does not drive
    uint8 tristate = 0;  // set for an input that is not pulled
    bool pullUp = true;  // the other inputs, all the same way
    uint8 latch = 0xff;
    uint8 irqEnabled = 0;
    bool irqOnFalling = false;

    uint8 outsideLevels = 0;
    uint8 outsideDriven = 0; // set where something stronger than a pull holds the level

    // What the pins show: an output its latch, an input what drives it from outside, else its pull, else 0.
    uint8 levels() const;

    // Wires other levels to the pins in `driven` and nothing to the rest. Gives the pins whose interrupt that
    // causes; outputs keep their level.
    uint8 drive(uint8 levels, uint8 driven);

    void reset();
};

} // namespace simulator
