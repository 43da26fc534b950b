#pragma once

#include "transport/commdev.h"
#include "transport/platform/platform.h"

#include <QFuture>
#include <QString>

#include <atomic>

// A serial port whose thread reads frame by frame: four header bytes, then as many as the second one says.
// Failures end the thread and are told to the debug output or standard output alone.
class UartDev : public CommDev
{
    Q_OBJECT

public:
    // `port_name` is a path as UartComm::DeviceFound gives it. Takes no system resource.
    UartDev(QString port_name, QObject *parent);
    ~UartDev() override; // stops the thread, however long it takes to end

    // Opens the port and starts to read, at whatever speed the line has. To be called once.
    bool Open();

    // Sets 8 data bits, one stop bit, handshake on RTS and CTS, and the speed; parity stays. A speed of 0
    // or less changes nothing.
    void SetBaudrate(int baud) override;

    void TxData(QByteArray data) override;
    void Disconnect() override;

    // Fills `buffer` with `count` bytes and returns `count`; -1 on failure or when told to stop.
    int Read(unsigned count, char *buffer);

    // Returns 0 when `count` bytes are written, -1 on failure or when told to stop.
    int Write(unsigned count, const char *buffer);

protected:
    void run() override;

private:
    QString port_name;
    vs::handle exit_event = vs::no_event;
    QFuture<void> future;
    std::atomic<vs::handle> port_handle{vs::invalid_handle}; // closed by one thread while another writes
    vs::handle read_event = vs::no_event;
    vs::handle write_event = vs::no_event;
};
