#include "simulator/dfubehaviour.h"

#include "simulator/simulatedmodule.h"

namespace simulator {
namespace {

constexpr uint32 firstAddress = 0x1000; // below it lies the bootloader itself

} // namespace

DfuBehaviour::DfuBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    static constexpr CommandEntry<DfuBehaviour> commands[] = {
        {"dfu_flash_set_address", &DfuBehaviour::setAddress},
        {"dfu_flash_upload", &DfuBehaviour::upload},
        {"dfu_flash_upload_finish", &DfuBehaviour::finish},
    };
    module.addCommands(this, commands);
}

void DfuBehaviour::restart()
{
    next.reset();
}

void DfuBehaviour::setAddress(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint32>();
    Result result = resultOk;
    if (!module.isInBootloader())
        result = resultWrongState;
    else if (address < firstAddress || address >= FlashMemory::size)
        result = resultInvalidParameter;
    response.put(uint16(result));
    if (result != resultOk)
        return;
    next = address;
    erasedEnd = address - address % FlashMemory::pageSize;
}

// A page is erased when its first byte comes, the one that the upload begins in as a whole.
void DfuBehaviour::upload(payload_reader &command, PayloadWriter &response)
{
    const auto data = command.take<QByteArray>();
    Result result = resultOk;
    if (!next)
        result = resultWrongState;
    else if (uint32(data.size()) > FlashMemory::size - *next)
        result = resultInvalidParameter;
    response.put(uint16(result));
    if (result != resultOk)
        return;
    const uint32 end = *next + uint32(data.size());
    for (; erasedEnd < end; erasedEnd += FlashMemory::pageSize)
        module.flash().erasePage(uint8(erasedEnd / FlashMemory::pageSize));
    module.flash().write(*next, data);
    next = end;
}

void DfuBehaviour::finish(payload_reader &, PayloadWriter &response)
{
    response.put(uint16(next ? resultOk : resultWrongState));
    next.reset();
}

} // namespace simulator
