#pragma once

#include "simulator/adconverter.h"
#include "simulator/behaviour.h"
#include "simulator/i2cmemory.h"
#include "simulator/ioport.h"
#include "simulator/softtimers.h"

#include <QElapsedTimer>

#include <array>

namespace simulator {

// The class hardware: ports, timers, converters and buses, with what is wired to them.
class HardwareBehaviour : public Behaviour
{
public:
    static constexpr int portCount = 3;

    explicit HardwareBehaviour(SimulatedModule &owner);

    void restart() override;

    // Wires levels to the pins of a port, a bit a pin: those in `driven` take them, the others are left to
    // their pull. False if there is no such port.
    bool drivePins(uint port, uint8 levels, uint8 driven);

    // What the analog comparator sees from now on.
    void setComparatorOutput(bool high);

private:
    void configIrq(payload_reader &command, PayloadWriter &response);
    void irqEnable(payload_reader &command, PayloadWriter &response);
    void irqDirection(payload_reader &command, PayloadWriter &response);
    void configDirection(payload_reader &command, PayloadWriter &response);
    void configFunction(payload_reader &command, PayloadWriter &response);
    void configPull(payload_reader &command, PayloadWriter &response);
    void portWrite(payload_reader &command, PayloadWriter &response);
    void portRead(payload_reader &command, PayloadWriter &response);
    void setSoftTimer(payload_reader &command, PayloadWriter &response);
    void adcRead(payload_reader &command, PayloadWriter &response);
    void spiConfig(payload_reader &command, PayloadWriter &response);
    void spiTransfer(payload_reader &command, PayloadWriter &response);
    void i2cRead(payload_reader &command, PayloadWriter &response);
    void i2cWrite(payload_reader &command, PayloadWriter &response);
    void timerComparator(payload_reader &command, PayloadWriter &response);
    void comparatorEnable(payload_reader &command, PayloadWriter &response);
    void comparatorRead(payload_reader &command, PayloadWriter &response);
    void comparatorConfigIrq(payload_reader &command, PayloadWriter &response);
    void checkSwitch(payload_reader &command, PayloadWriter &response);
    void getTimestamp(payload_reader &command, PayloadWriter &response);

    template <typename Change>
    void changePort(payload_reader &command, PayloadWriter &response, Change change);
    uint32 timestamp() const;

    struct Comparator
    {
        bool enabled = false;
        bool irqEnabled = false;
    };

    std::array<IoPort, portCount> ports;
    std::array<bool, 2> spiConfigured{};
    SoftTimers timers;
    AdConverter adc;
    I2cMemory i2cMemory;
    Comparator comparator;
    bool comparatorOutput = false; // wired from outside, like the pins
    QElapsedTimer clock;
};

} // namespace simulator
