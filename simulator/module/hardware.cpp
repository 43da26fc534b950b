#include "simulator/module/behaviours.h"

#include <QElapsedTimer>

#include <algorithm>
#include <array>
#include <optional>
#include <random>

namespace simulator {
namespace {

// A port of eight pins, one bit a pin in each mask.
struct IoPort
{
    uint8 direction = 0; // set for an output
    uint8 tristate = 0;  // set for an input without a pull
    bool pullUp = true;  // direction of the pull of all other inputs
    uint8 latch = 0xff;
    uint8 irqEnabled = 0;
    bool irqOnFalling = false;

    // The wiring from outside survives a reset.
    uint8 outsideLevels = 0;
    uint8 outsideDriven = 0; // set where something stronger than a pull drives the pin

    // An output shows its latch, an input the level that drives it from outside, else its pull, else 0.
    uint8 levels() const
    {
        const int pulled = pullUp ? ~tristate : 0;
        const int inputs = (outsideLevels & outsideDriven) | (pulled & ~outsideDriven);
        return uint8((latch & direction) | (inputs & ~direction));
    }

    // Returns the pins whose interrupt the change causes.
    uint8 drive(uint8 chosenLevels, uint8 driven)
    {
        const uint8 before = levels();
        outsideLevels = chosenLevels;
        outsideDriven = driven;
        const uint8 after = levels();
        const int edges = irqOnFalling ? before & ~after : after & ~before;
        return uint8(edges & irqEnabled);
    }

    void reset()
    {
        IoPort fresh;
        fresh.outsideLevels = outsideLevels;
        fresh.outsideDriven = outsideDriven;
        *this = fresh;
    }
};

// An analog to digital converter. The voltages at its inputs depend on the seed, with a little noise.
class AdConverter
{
public:
    explicit AdConverter(uint32 seed)
        : random(seed)
    {
        for (std::size_t pair = 0; pair < 4; ++pair) {
            millivolts[2 * pair] = 200 + upTo(800);
            millivolts[2 * pair + 1] = millivolts[2 * pair] + 1 + upTo(7);
            millivolts[firstDifference + pair] = millivolts[2 * pair] - millivolts[2 * pair + 1];
        }
        millivolts[temperature] = 700 + upTo(50);
        millivolts[supplyThird] = supply / 3;
    }

    // Inputs 0 to 7 are pins, 8 to 11 differences of two pins, 12 ground. Decimations 0 to 3 give 7, 9, 10
    // and 12 bits with sign in the upper bits of the value. No value for numbers that do not exist.
    std::optional<int16> convert(uint8 input, uint8 decimation, uint8 reference)
    {
        constexpr int resolutions[] = {7, 9, 10, 12};
        constexpr int references[] = {1250, 2000, supply, 1500}; // mV
        constexpr int noise = 2;                                 // mV to either side
        if (input >= millivolts.size() || input == noInput || decimation >= std::size(resolutions) ||
            reference >= std::size(references))
            return std::nullopt;
        const int bits = resolutions[decimation];
        const int fullScale = 1 << (bits - 1);
        const int voltage = millivolts[input] - noise + upTo(2 * noise);
        const int steps = std::clamp(voltage * fullScale / references[reference], -fullScale, fullScale - 1);
        return int16(steps * (1 << (16 - bits)));
    }

private:
    static constexpr int supply = 3300; // mV
    static constexpr std::size_t firstDifference = 8, noInput = 13, temperature = 14, supplyThird = 15;

    int upTo(int max) { return int(random() % uint(max + 1)); }

    std::mt19937 random;
    std::array<int, 16> millivolts{};
};

// The class hardware: ports, timers, converters and buses, with what is wired to them.
class Hardware : public HardwareBehaviour
{
public:
    explicit Hardware(Module &owner)
        : HardwareBehaviour(owner)
        , adc(owner.options().seed)
    {
        addPorts();
        addPortInterrupts();
        addBuses();
        addComparator();
        on("hardware_get_timestamp", [this] { return payload(timestamp()); });
        on("hardware_adc_read", [this](uint8 input, uint8 decimation, uint8 reference) {
            const auto value = adc.convert(input, decimation, reference);
            if (value)
                module.raise("hardware_adc_result", input, *value);
            return value ? resultOk : resultInvalidParameter;
        });
        clock.start();
    }

    void restart() override
    {
        for (IoPort &port : ports)
            port.reset();
        spiConfigured.fill(false);
        comparatorEnabled = comparatorIrqEnabled = false;
        clock.start();
    }

    bool drivePins(uint port, uint8 levels, uint8 driven) override
    {
        if (port >= ports.size())
            return false;
        const uint8 irq = ports[port].drive(levels, driven);
        if (irq != 0)
            module.raise("hardware_io_port_status", timestamp(), uint8(port), irq, ports[port].levels());
        return true;
    }

    void setComparatorOutput(bool high) override
    {
        const bool isChange = high != comparatorOutput;
        comparatorOutput = high;
        if (isChange && comparatorEnabled && comparatorIrqEnabled)
            module.raise("hardware_analog_comparator_status", timestamp(), high);
    }

private:
    template <typename Change>
    Result changePort(uint8 number, Change change)
    {
        if (number >= ports.size())
            return resultInvalidParameter;
        change(ports[number]);
        return resultOk;
    }

    void addPorts()
    {
        on("hardware_io_port_config_direction", [this](uint8 number, uint8 direction) {
            return changePort(number, [=](IoPort &port) { port.direction = direction; });
        });
        on("hardware_io_port_config_pull", [this](uint8 number, uint8 tristate, uint8 pullUp) {
            return changePort(number, [=](IoPort &port) {
                port.tristate = tristate;
                port.pullUp = pullUp != 0;
            });
        });
        on("hardware_io_port_write", [this](uint8 number, uint8 mask, uint8 data) {
            return changePort(
                number, [=](IoPort &port) { port.latch = uint8((port.latch & ~mask) | (data & mask)); });
        });
        on("hardware_io_port_read", [this](uint8 number, uint8 mask) {
            if (number >= ports.size())
                return payload(resultInvalidParameter, number);
            return payload(resultOk, number, uint8(ports[number].levels() & mask));
        });
    }

    void addPortInterrupts()
    {
        on("hardware_io_port_config_irq", [this](uint8 number, uint8 enabled, uint8 falling) {
            return changePort(number, [=](IoPort &port) {
                port.irqEnabled = enabled;
                port.irqOnFalling = falling != 0;
            });
        });
    }

    // SPI: MISO is wired to MOSI. I2C: a memory whose first byte written sets the pointer.
    void addBuses()
    {
        on("hardware_spi_config", [this](uint8 channel, uint8, uint8, uint8, uint8, uint8) {
            if (channel >= spiConfigured.size())
                return resultInvalidParameter;
            spiConfigured[channel] = true;
            return resultOk;
        });
        on("hardware_spi_transfer", [this](uint8 channel, const QByteArray &data) {
            if (channel >= spiConfigured.size())
                return payload(resultInvalidParameter, channel);
            return spiConfigured[channel] ? payload(resultOk, channel, data)
                                          : payload(resultWrongState, channel);
        });
        on("hardware_i2c_read", [this](uint8 address, uint8, uint8 length) {
            if (!isI2cMemory(address))
                return payload(resultTimeout);
            QByteArray data;
            for (int i = 0; i < length; ++i)
                data.append(i2cMemory[i2cPointer++]);
            return payload(resultOk, data);
        });
        on("hardware_i2c_write", [this](uint8 address, uint8, const QByteArray &data) {
            const auto taken = uint8(isI2cMemory(address) ? data.size() : 0);
            if (taken > 0)
                i2cPointer = uint8(data[0]);
            for (int i = 1; i < taken; ++i)
                i2cMemory[i2cPointer++] = data[i];
            return payload(taken);
        });
    }

    // An address byte is seven bits of address and a direction bit, which the module sets itself.
    static bool isI2cMemory(uint8 addressByte) { return (addressByte | 1) == 0xa1; }

    void addComparator()
    {
        on("hardware_analog_comparator_enable", [this](uint8 enable) { comparatorEnabled = enable != 0; });
        on("hardware_analog_comparator_read", [this] {
            return comparatorEnabled ? payload(resultOk, comparatorOutput) : payload(resultWrongState);
        });
        on("hardware_analog_comparator_config_irq", [this](uint8 enabled) {
            if (enabled > 1)
                return resultInvalidParameter;
            comparatorIrqEnabled = enabled != 0;
            return resultOk;
        });
    }

    // Ticks since the start, which wrap after 36 hours.
    uint32 timestamp() const
    {
        constexpr qint64 ticksPerSecond = 32768, second = 1'000'000'000; // ns
        const qint64 elapsed = clock.nsecsElapsed();
        return uint32(elapsed / second * ticksPerSecond + elapsed % second * ticksPerSecond / second);
    }

    std::array<IoPort, 3> ports;
    std::array<bool, 2> spiConfigured{};
    AdConverter adc;
    std::array<char, 256> i2cMemory{}; // survives a reset, as does its pointer
    uint8 i2cPointer = 0;
    bool comparatorEnabled = false;
    bool comparatorIrqEnabled = false;
    bool comparatorOutput = false; // wired from outside, like the pins
    QElapsedTimer clock;
};

} // namespace

std::unique_ptr<HardwareBehaviour> makeHardwareBehaviour(Module &module)
{
    return std::make_unique<Hardware>(module);
}

} // namespace simulator
