#include "simulator/gapbehaviour.h"

#include "simulator/simulatedmodule.h"

namespace simulator {

GapBehaviour::GapBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    static constexpr CommandEntry<GapBehaviour> commands[] = {
        {"gap_discover", &GapBehaviour::discover},
        {"gap_connect_direct", &GapBehaviour::connectTo},
        {"gap_connect_selective", &GapBehaviour::connectTo},
        {"gap_end_procedure", &GapBehaviour::endProcedure},
    };
    module.addCommands(this, commands);
}

void GapBehaviour::restart()
{
    procedureRunning = false;
}

Result GapBehaviour::begin()
{
    if (procedureRunning)
        return resultWrongState;
    procedureRunning = true;
    return resultOk;
}

void GapBehaviour::discover(payload_reader &command, PayloadWriter &response)
{
    constexpr uint8 observation = 2;
    const bool known = command.take<uint8>() <= observation;
    response.put(uint16(known ? begin() : resultInvalidParameter));
}

void GapBehaviour::connectTo(payload_reader &, PayloadWriter &response)
{
    constexpr uint8 firstConnection = 0;
    response.put(uint16(begin())).put(firstConnection);
}

void GapBehaviour::endProcedure(payload_reader &, PayloadWriter &response)
{
    response.put(uint16(procedureRunning ? resultOk : resultWrongState));
    procedureRunning = false;
}

} // namespace simulator
