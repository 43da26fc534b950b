#pragma once

#include <QByteArray>
#include <QThread>

// A byte-stream device as the main window sees it, with a thread of its own to read on.
class CommDev : public QThread
{
    Q_OBJECT

public:
    explicit CommDev(QObject *parent);

    // Sets the line speed in bits a second; a device without a line ignores it.
    virtual void SetBaudrate(int baud);

public Q_SLOTS:
    // Sends all of `data`. Blocks until it is written or has failed; the caller is not told which.
    virtual void TxData(QByteArray data) = 0;

    // Closes the device; a second call does nothing.
    virtual void Disconnect() = 0;

Q_SIGNALS:
    // One whole frame, header included. Comes from the device's own thread.
    void RxData(QByteArray data);
};
