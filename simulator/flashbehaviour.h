#pragma once

#include "simulator/behaviour.h"
#include "simulator/persistentstore.h"

namespace simulator {

// The class flash: the persistent store and the pages of the program memory. Both outlive a restart.
class FlashBehaviour : public Behaviour
{
public:
    explicit FlashBehaviour(SimulatedModule &owner);

private:
    void defragment(payload_reader &command, PayloadWriter &response);
    void dump(payload_reader &command, PayloadWriter &response);
    void eraseAll(payload_reader &command, PayloadWriter &response);
    void save(payload_reader &command, PayloadWriter &response);
    void load(payload_reader &command, PayloadWriter &response);
    void erase(payload_reader &command, PayloadWriter &response);
    void erasePage(payload_reader &command, PayloadWriter &response);
    void writeData(payload_reader &command, PayloadWriter &response);
    void readData(payload_reader &command, PayloadWriter &response);

    PersistentStore store;
};

} // namespace simulator
