#pragma once

#include <QByteArray>
#include <QList>

#include "transport/commdev.h"

// A device that only remembers what it was told.
class FakeDevice : public CommDev
{
    Q_OBJECT

public:
    FakeDevice()
        : CommDev(nullptr)
    {
    }

    void SetBaudrate(int baud) override { speeds << baud; }
    void TxData(QByteArray data) override { written += data; }
    void Disconnect() override {}

    void receive(const char *hex) { Q_EMIT RxData(QByteArray::fromHex(hex)); }

    QList<int> speeds;
    QByteArray written;
};
