#pragma once

#include "simulator/wire/parsing.h"

#include <QObject>

#include <memory>

namespace simulator {

// The module's end of the serial line: the master of a new pseudo-terminal, or a serial port of the machine.
// Hosts may attach to a pseudo-terminal and leave; bytes written while no host is attached are discarded.
class HostLine : public QObject
{
    Q_OBJECT

public:
    static std::unique_ptr<HostLine> make(); // for this system

    // The pseudo-terminal is published under `name` in the list of ports.
    virtual Error openPseudoTerminal(const QString &name) = 0;

    // `speed` in bits per second; the port's driver decides which speeds it supports.
    virtual Error openPort(const QString &path, int speed) = 0;

    // The path that a host opens: the slave of the pseudo-terminal. For a port, its own path.
    QString path() const { return devicePath; }

    // Queues the bytes and writes them as fast as the host reads. Returns false, and takes nothing, if no
    // host is attached or the queue would exceed 4 MiB.
    bool write(const QByteArray &bytes)
    {
        if (!hasHost())
            return false;
        if (waiting() + bytes.size() > maxWaiting) {
            Q_EMIT overrun(bytes.size());
            return false;
        }
        pending += bytes;
        writeMore();
        return true;
    }

    // Whether bytes wait here or, as far as the system tells, in the pseudo-terminal.
    virtual bool hasUnreadOutput() const = 0;

    // Disappears like a device that is unplugged.
    virtual void close() = 0;

Q_SIGNALS:
    void received(const QByteArray &bytes);
    void hostAttached();
    void hostDetached();
    void overrun(int lostBytes);
    void lost(); // the port has disappeared, and the line is closed

protected:
    virtual bool hasHost() const = 0;
    virtual int waiting() const { return pending.size(); }
    virtual void writeMore() = 0;

    QString devicePath;
    QByteArray pending; // not yet given to the system

private:
    static constexpr int maxWaiting = 4 << 20; // bytes
};

} // namespace simulator
