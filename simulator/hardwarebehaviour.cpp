#include "simulator/hardwarebehaviour.h"

#include "simulator/simulatedmodule.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr int longestI2cTransfer = 64; // bytes

// Timers with comparators; the numbers between belong to timers without any.
struct ComparatorTimer
{
    uint8 number;
    uint8 channels;
    uint16 greatest;
};

constexpr ComparatorTimer comparatorTimers[] = {{1, 5, 0xffff}, {3, 2, 0xff}, {4, 2, 0xff}};
constexpr uint8 lastComparatorMode = 7;

} // namespace

HardwareBehaviour::HardwareBehaviour(SimulatedModule &owner)
    : Behaviour(owner)
    , adc(owner.identity().seed)
{
    using H = HardwareBehaviour;
    static constexpr CommandEntry<H> commands[] = {
        {"hardware_io_port_config_irq", &H::configIrq},
        {"hardware_set_soft_timer", &H::setSoftTimer},
        {"hardware_adc_read", &H::adcRead},
        {"hardware_io_port_config_direction", &H::configDirection},
        {"hardware_io_port_config_function", &H::configFunction},
        {"hardware_io_port_config_pull", &H::configPull},
        {"hardware_io_port_write", &H::portWrite},
        {"hardware_io_port_read", &H::portRead},
        {"hardware_spi_config", &H::spiConfig},
        {"hardware_spi_transfer", &H::spiTransfer},
        {"hardware_i2c_read", &H::i2cRead},
        {"hardware_i2c_write", &H::i2cWrite},
        {"hardware_timer_comparator", &H::timerComparator},
        {"hardware_io_port_irq_enable", &H::irqEnable},
        {"hardware_io_port_irq_direction", &H::irqDirection},
        {"hardware_analog_comparator_enable", &H::comparatorEnable},
        {"hardware_analog_comparator_read", &H::comparatorRead},
        {"hardware_analog_comparator_config_irq", &H::comparatorConfigIrq},
        {"hardware_usb_enable", &H::checkSwitch},
        {"hardware_sleep_enable", &H::checkSwitch},
        {"hardware_get_timestamp", &H::getTimestamp},
    };
    module.addCommands(this, commands);
    QObject::connect(&timers, &SoftTimers::expired, &module, [this](uint8 handle) {
        module.raise("hardware_soft_timer", PayloadWriter().put(handle));
    });
    clock.start();
}

void HardwareBehaviour::restart()
{
    for (IoPort &port : ports)
        port.reset();
    spiConfigured.fill(false);
    timers.stopAll();
    comparator = {};
    clock.start();
}

bool HardwareBehaviour::drivePins(uint port, uint8 levels, uint8 driven)
{
    if (port >= ports.size())
        return false;
    const uint8 irq = ports[port].drive(levels, driven);
    if (irq != 0)
        module.raise("hardware_io_port_status",
                     PayloadWriter().put(timestamp()).put(uint8(port)).put(irq).put(ports[port].levels()));
    return true;
}

void HardwareBehaviour::setComparatorOutput(bool high)
{
    const bool isChange = high != comparatorOutput;
    comparatorOutput = high;
    if (isChange && comparator.enabled && comparator.irqEnabled)
        module.raise("hardware_analog_comparator_status", PayloadWriter().put(timestamp()).put(uint8(high)));
}

// Ticks of 1/32768 s since the start, which wrap after 36 hours.
uint32 HardwareBehaviour::timestamp() const
{
    constexpr qint64 ticksPerSecond = 32768, second = 1'000'000'000; // nanoseconds
    const qint64 elapsed = clock.nsecsElapsed();
    return uint32(elapsed / second * ticksPerSecond + elapsed % second * ticksPerSecond / second);
}

void HardwareBehaviour::getTimestamp(payload_reader &, PayloadWriter &response)
{
    response.put(timestamp());
}

template <typename Change>
void HardwareBehaviour::changePort(payload_reader &command, PayloadWriter &response, Change change)
{
    const auto number = command.take<uint8>();
    const bool exists = number < ports.size();
    response.put(uint16(exists ? resultOk : resultInvalidParameter));
    if (exists)
        change(ports[number]);
}

void HardwareBehaviour::configIrq(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response, [&command](IoPort &port) {
        port.irqEnabled = command.take<uint8>();
        port.irqOnFalling = command.take<uint8>() != 0;
    });
}

void HardwareBehaviour::irqEnable(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response, [&command](IoPort &port) { port.irqEnabled = command.take<uint8>(); });
}

void HardwareBehaviour::irqDirection(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response,
               [&command](IoPort &port) { port.irqOnFalling = command.take<uint8>() != 0; });
}

void HardwareBehaviour::configDirection(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response, [&command](IoPort &port) { port.direction = command.take<uint8>(); });
}

void HardwareBehaviour::configFunction(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response, [&command](IoPort &port) { port.function = command.take<uint8>(); });
}

void HardwareBehaviour::configPull(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response, [&command](IoPort &port) {
        port.tristate = command.take<uint8>();
        port.pullUp = command.take<uint8>() != 0;
    });
}

void HardwareBehaviour::portWrite(payload_reader &command, PayloadWriter &response)
{
    changePort(command, response, [&command](IoPort &port) {
        const auto mask = command.take<uint8>();
        const auto data = command.take<uint8>();
        port.latch = uint8((port.latch & ~mask) | (data & mask));
    });
}

void HardwareBehaviour::portRead(payload_reader &command, PayloadWriter &response)
{
    const auto number = command.take<uint8>();
    const auto mask = command.take<uint8>();
    const bool exists = number < ports.size();
    const int data = exists ? ports[number].levels() & mask : 0;
    response.put(uint16(exists ? resultOk : resultInvalidParameter)).put(number).put(uint8(data));
}

void HardwareBehaviour::setSoftTimer(payload_reader &command, PayloadWriter &response)
{
    const auto time = command.take<uint32>();
    const auto handle = command.take<uint8>();
    const auto singleShot = command.take<uint8>();
    response.put(uint16(singleShot > 1 ? resultInvalidParameter : timers.set(handle, time, singleShot == 1)));
}

void HardwareBehaviour::adcRead(payload_reader &command, PayloadWriter &response)
{
    const auto input = command.take<uint8>();
    const auto decimation = command.take<uint8>();
    const auto value = adc.convert(input, decimation, command.take<uint8>());
    response.put(uint16(value ? resultOk : resultInvalidParameter));
    if (value)
        module.raise("hardware_adc_result", PayloadWriter().put(input).put(*value));
}

void HardwareBehaviour::spiConfig(payload_reader &command, PayloadWriter &response)
{
    constexpr uint8 greatestExponent = 0x1f;
    const auto channel = command.take<uint8>();
    const auto polarity = command.take<uint8>();
    const auto phase = command.take<uint8>();
    const auto bitOrder = command.take<uint8>();
    const bool valid = channel < spiConfigured.size() && polarity <= 1 && phase <= 1 && bitOrder <= 1 &&
                       command.take<uint8>() <= greatestExponent;
    response.put(uint16(valid ? resultOk : resultInvalidParameter));
    if (valid)
        spiConfigured[channel] = true;
}

// What goes out comes in again: MISO is wired to MOSI.
void HardwareBehaviour::spiTransfer(payload_reader &command, PayloadWriter &response)
{
    const auto channel = command.take<uint8>();
    Result result = resultOk;
    if (channel >= spiConfigured.size())
        result = resultInvalidParameter;
    else if (!spiConfigured[channel])
        result = resultWrongState;
    const auto data = command.take<QByteArray>();
    response.put(uint16(result)).put(channel).put(result == resultOk ? data : QByteArray());
}

// Nobody else is on the bus, so that it makes no difference whether it is kept for a repeated start.
void HardwareBehaviour::i2cRead(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint8>();
    command.take<uint8>();
    const auto length = command.take<uint8>();
    Result result = resultOk;
    if (length == 0 || length > longestI2cTransfer)
        result = resultInvalidParameter;
    else if (!I2cMemory::answersTo(address))
        result = resultTimeout;
    response.put(uint16(result)).put(result == resultOk ? i2cMemory.read(length) : QByteArray());
}

void HardwareBehaviour::i2cWrite(payload_reader &command, PayloadWriter &response)
{
    const auto address = command.take<uint8>();
    command.take<uint8>();
    const auto data = command.take<QByteArray>();
    const bool isTaken = I2cMemory::answersTo(address) && data.size() <= longestI2cTransfer;
    if (isTaken)
        i2cMemory.write(data);
    response.put(uint8(isTaken ? data.size() : 0));
}

void HardwareBehaviour::timerComparator(payload_reader &command, PayloadWriter &response)
{
    const auto number = command.take<uint8>();
    const auto channel = command.take<uint8>();
    const auto mode = command.take<uint8>();
    const auto value = command.take<uint16>();
    const bool valid =
        mode <= lastComparatorMode &&
        std::any_of(std::begin(comparatorTimers), std::end(comparatorTimers),
                    [=](const ComparatorTimer &timer) {
                        return timer.number == number && channel < timer.channels && value <= timer.greatest;
                    });
    response.put(uint16(valid ? resultOk : resultInvalidParameter));
}

void HardwareBehaviour::comparatorEnable(payload_reader &command, PayloadWriter &)
{
    comparator.enabled = command.take<uint8>() != 0;
}

void HardwareBehaviour::comparatorRead(payload_reader &, PayloadWriter &response)
{
    const bool isHigh = comparator.enabled && comparatorOutput;
    response.put(uint16(comparator.enabled ? resultOk : resultWrongState)).put(uint8(isHigh));
}

void HardwareBehaviour::comparatorConfigIrq(payload_reader &command, PayloadWriter &response)
{
    const auto enabled = command.take<uint8>();
    response.put(uint16(enabled <= 1 ? resultOk : resultInvalidParameter));
    if (enabled <= 1)
        comparator.irqEnabled = enabled == 1;
}

// There is neither a USB host nor any sleep that a host could notice.
void HardwareBehaviour::checkSwitch(payload_reader &command, PayloadWriter &response)
{
    response.put(uint16(command.take<uint8>() <= 1 ? resultOk : resultInvalidParameter));
}

} // namespace simulator
