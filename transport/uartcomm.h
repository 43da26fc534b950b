#pragma once

#include <QObject>
#include <QString>

class CommDev;

// Finds the serial ports of the machine and opens one of them. Holds no state: the list of ports is what the
// last DiscoverDevices() said.
class UartComm : public QObject
{
    Q_OBJECT

public:
    UartComm() = default;

    // Opens the port at a path that DeviceFound gave, already reading. The caller owns the device. Null if
    // the port cannot be opened.
    CommDev *Open(QString port);

Q_SIGNALS:
    void DeviceFound(QString name, QString port); // friendly name and path, once a port
    void DeviceDisconnect(int bus, int addr);     // never emitted, nor is debugText
    void debugText(QString txt);

public Q_SLOTS:
    void Start();

    // Emits DeviceFound for every port that is present now, before it returns. Touches no port.
    void DiscoverDevices();
};
