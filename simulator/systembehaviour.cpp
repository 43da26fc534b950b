#include "simulator/systembehaviour.h"

#include "simulator/simulatedmodule.h"

namespace simulator {
namespace {

constexpr uint8 apiEndpoint = 0; // the protocol itself, which carries no data of its user
constexpr uint8 freeBuffers = 15;
constexpr uint8 usbNotEnumerated = 0;

DeviceAddress takeDevice(payload_reader &command)
{
    DeviceAddress device;
    device.address = command.take<bd_addr>();
    device.type = command.take<uint8>();
    return device;
}

} // namespace

SystemBehaviour::SystemBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
{
    static constexpr CommandEntry<SystemBehaviour> commands[] = {
        {"system_reset", &SystemBehaviour::reset},
        {"system_hello", &SystemBehaviour::hello},
        {"system_address_get", &SystemBehaviour::addressGet},
        {"system_reg_write", &SystemBehaviour::regWrite},
        {"system_reg_read", &SystemBehaviour::regRead},
        {"system_get_counters", &SystemBehaviour::getCounters},
        {"system_get_connections", &SystemBehaviour::getConnections},
        {"system_read_memory", &SystemBehaviour::readMemory},
        {"system_get_info", &SystemBehaviour::getInfo},
        {"system_endpoint_tx", &SystemBehaviour::endpointTx},
        {"system_whitelist_append", &SystemBehaviour::whitelistAppend},
        {"system_whitelist_remove", &SystemBehaviour::whitelistRemove},
        {"system_whitelist_clear", &SystemBehaviour::whitelistClear},
        {"system_endpoint_rx", &SystemBehaviour::endpointRx},
        {"system_endpoint_set_watermarks", &SystemBehaviour::endpointSetWatermarks},
        {"system_aes_setkey", &SystemBehaviour::aesSetKey},
        {"system_aes_encrypt", &SystemBehaviour::aesEncrypt},
        {"system_aes_decrypt", &SystemBehaviour::aesDecrypt},
        {"system_usb_enumeration_status_get", &SystemBehaviour::usbEnumerationStatus},
        {"system_get_bootloader_crc", &SystemBehaviour::bootloaderCrc},
        {"system_delay_reset", &SystemBehaviour::delayReset},
        {"dfu_reset", &SystemBehaviour::reset},
        {"dfu_get_bootloader_crc", &SystemBehaviour::bootloaderCrc},
        {"dfu_delay_reset", &SystemBehaviour::delayReset},
    };
    module.addCommands(this, commands);
}

void SystemBehaviour::restart()
{
    registers.clear();
    endpoints.fill({});
    module.whitelist().clear();
    aes.clearKey();
}

PayloadWriter SystemBehaviour::info()
{
    constexpr uint16 major = 2, minor = 1, patch = 0, build = 57, linkLayer = 9;
    constexpr uint8 protocol = 1, hardware = 4;
    return PayloadWriter().put(major).put(minor).put(patch).put(build).put(linkLayer).put(protocol).put(
        hardware);
}

void SystemBehaviour::reset(payload_reader &command, PayloadWriter &)
{
    module.restartAfter(0, command.take<uint8>() != 0);
}

void SystemBehaviour::delayReset(payload_reader &command, PayloadWriter &)
{
    const bool intoBootloader = command.take<uint8>() != 0;
    module.restartAfter(command.take<uint16>(), intoBootloader);
}

void SystemBehaviour::hello(payload_reader &, PayloadWriter &) {}

void SystemBehaviour::addressGet(payload_reader &, PayloadWriter &response)
{
    response.put(module.identity().address);
}

void SystemBehaviour::regWrite(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint16>();
    registers[address] = command.take<uint8>();
    response.put(uint16(resultOk));
}

void SystemBehaviour::regRead(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint16>();
    response.put(address).put(registers.value(address, 0));
}

void SystemBehaviour::getCounters(payload_reader &, PayloadWriter &response)
{
    const FrameCounters &seen = module.counters();
    constexpr uint8 retried = 0;
    response.put(seen.sent).put(retried).put(seen.accepted).put(seen.refused).put(freeBuffers);
}

void SystemBehaviour::getConnections(payload_reader &, PayloadWriter &response)
{
    response.put(uint8(Links::capacity));
    for (uint8 handle = 0; handle < Links::capacity; ++handle)
        module.links().raiseStatus(handle);
}

// A bus reads whatever is asked for: there is nothing but zeros beyond the memory, yet the length is what was
// wanted.
void SystemBehaviour::readMemory(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint32>();
    const auto length = command.take<uint8>();
    response.put(address).put(module.flash().read(address, length).leftJustified(length, '\0'));
}

void SystemBehaviour::getInfo(payload_reader &, PayloadWriter &response)
{
    response = info();
}

LoopbackEndpoint *SystemBehaviour::endpoint(uint8 number)
{
    return number == apiEndpoint || number >= endpointCount ? nullptr : &endpoints[number];
}

void SystemBehaviour::reportWatermarks(uint8 number, bool rx, bool tx)
{
    const LoopbackEndpoint &end = endpoints[number];
    if (rx && end.rxReached())
        module.raise("system_endpoint_watermark_rx",
                     PayloadWriter().put(number).put(uint8(end.buffer.size())));
    if (tx && end.txReached())
        module.raise("system_endpoint_watermark_tx", PayloadWriter().put(number).put(uint8(end.room())));
}

void SystemBehaviour::endpointTx(payload_reader &command, PayloadWriter &response)
{
    const auto number = command.take<uint8>();
    LoopbackEndpoint *end = endpoint(number);
    if (!end) {
        response.put(uint16(resultInvalidParameter));
        return;
    }
    const bool taken = end->put(command.take<QByteArray>());
    response.put(uint16(taken ? resultOk : resultOverflow));
    if (taken)
        reportWatermarks(number, true, false);
}

void SystemBehaviour::endpointRx(payload_reader &command, PayloadWriter &response)
{
    const auto number = command.take<uint8>();
    LoopbackEndpoint *end = endpoint(number);
    QByteArray data;
    Result result = resultOk;
    if (!end)
        result = resultInvalidParameter;
    else if (!end->take(command.take<uint8>(), &data))
        result = resultOverflow;
    response.put(uint16(result)).put(data);
    if (!data.isEmpty())
        reportWatermarks(number, false, true);
}

void SystemBehaviour::endpointSetWatermarks(payload_reader &command, PayloadWriter &response)
{
    const auto number = command.take<uint8>();
    const auto rx = command.take<uint8>();
    const auto tx = command.take<uint8>();
    LoopbackEndpoint *end = endpoint(number);
    response.put(uint16(end ? resultOk : resultInvalidParameter));
    if (!end)
        return;
    end->setWatermarks(rx, tx);
    reportWatermarks(number, rx != LoopbackEndpoint::keepWatermark, tx != LoopbackEndpoint::keepWatermark);
}

void SystemBehaviour::whitelistAppend(payload_reader &command, PayloadWriter &response)
{
    response.put(uint16(module.whitelist().append(takeDevice(command))));
}

void SystemBehaviour::whitelistRemove(payload_reader &command, PayloadWriter &response)
{
    response.put(uint16(module.whitelist().remove(takeDevice(command))));
}

void SystemBehaviour::whitelistClear(payload_reader &, PayloadWriter &)
{
    module.whitelist().clear();
}

// The response has no room for a refusal, so that one follows as an event.
void SystemBehaviour::aesSetKey(payload_reader &command, PayloadWriter &)
{
    if (!aes.setKey(command.take<QByteArray>()))
        module.raise("system_protocol_error", PayloadWriter().put(uint16(resultInvalidParameter)));
}

void SystemBehaviour::aesEncrypt(payload_reader &command, PayloadWriter &response)
{
    response.put(aes.encrypt(command.take<QByteArray>()).value_or(QByteArray()));
}

void SystemBehaviour::aesDecrypt(payload_reader &command, PayloadWriter &response)
{
    response.put(aes.decrypt(command.take<QByteArray>()).value_or(QByteArray()));
}

void SystemBehaviour::usbEnumerationStatus(payload_reader &, PayloadWriter &response)
{
    response.put(uint16(resultOk)).put(usbNotEnumerated);
}

void SystemBehaviour::bootloaderCrc(payload_reader &, PayloadWriter &response)
{
    response.put(module.flash().bootloaderCrc());
}

} // namespace simulator
