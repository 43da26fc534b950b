#include "simulator/flashbehaviour.h"

#include "simulator/simulatedmodule.h"

namespace simulator {

FlashBehaviour::FlashBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    static constexpr CommandEntry<FlashBehaviour> commands[] = {
        {"flash_ps_defrag", &FlashBehaviour::defragment},  {"flash_ps_dump", &FlashBehaviour::dump},
        {"flash_ps_erase_all", &FlashBehaviour::eraseAll}, {"flash_ps_save", &FlashBehaviour::save},
        {"flash_ps_load", &FlashBehaviour::load},          {"flash_ps_erase", &FlashBehaviour::erase},
        {"flash_erase_page", &FlashBehaviour::erasePage},  {"flash_write_data", &FlashBehaviour::writeData},
        {"flash_read_data", &FlashBehaviour::readData},
    };
    module.addCommands(this, commands);
}

void FlashBehaviour::defragment(payload_reader &, PayloadWriter &)
{
    store.defragment();
}

void FlashBehaviour::dump(payload_reader &, PayloadWriter &)
{
    for (const PersistentStore::Record &record : store.dump())
        module.raise("flash_ps_key", PayloadWriter().put(record.key).put(record.value));
    module.raise("flash_ps_key", PayloadWriter().put(PersistentStore::endKey).put(QByteArray()));
}

void FlashBehaviour::eraseAll(payload_reader &, PayloadWriter &)
{
    store.eraseAll();
}

void FlashBehaviour::save(payload_reader &command, PayloadWriter &response)
{
    const auto key = command.take<uint16>();
    const auto value = command.take<QByteArray>();
    Result result = resultOk;
    if (key == PersistentStore::endKey)
        result = resultInvalidParameter;
    else if (!store.save(key, value))
        result = resultOutOfMemory;
    response.put(uint16(result));
}

void FlashBehaviour::load(payload_reader &command, PayloadWriter &response)
{
    const auto value = store.load(command.take<uint16>());
    response.put(uint16(value ? resultOk : resultInvalidParameter)).put(value.value_or(QByteArray()));
}

void FlashBehaviour::erase(payload_reader &command, PayloadWriter &)
{
    store.erase(command.take<uint16>());
}

void FlashBehaviour::erasePage(payload_reader &command, PayloadWriter &response)
{
    module.flash().erasePage(command.take<uint8>());
    response.put(uint16(resultOk));
}

void FlashBehaviour::writeData(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint32>();
    const bool written = module.flash().write(address, command.take<QByteArray>());
    response.put(uint16(written ? resultOk : resultInvalidParameter));
}

void FlashBehaviour::readData(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint32>();
    response.put(module.flash().read(address, command.take<uint8>()));
}

} // namespace simulator
