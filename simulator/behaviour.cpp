#include "simulator/behaviour.h"

namespace simulator {

Behaviour::Behaviour(SimulatedModule &owner)
    : module(owner)
{
}

Behaviour::~Behaviour() = default;

void Behaviour::restart() {}

} // namespace simulator
