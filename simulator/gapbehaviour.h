#pragma once

#include "simulator/behaviour.h"

namespace simulator {

// The class gap, as far as which procedure is running: at most one, until it is ended.
class GapBehaviour : public Behaviour
{
public:
    explicit GapBehaviour(SimulatedModule &owner);

    void restart() override;

private:
    void discover(payload_reader &command, PayloadWriter &response);
    void connectTo(payload_reader &command, PayloadWriter &response);
    void endProcedure(payload_reader &command, PayloadWriter &response);
    Result begin();

    bool procedureRunning = false;
};

} // namespace simulator
