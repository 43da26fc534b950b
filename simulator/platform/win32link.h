#pragma once

#include "simulator/modulelink.h"
#include "transport/platform/serial_platform.h"

#include <QWinEventNotifier>

#include <optional>

namespace simulator {

// This system has no pseudo-terminals. A serial port cannot tell whether a host is at its other end; it
// counts as attached.
class Win32Link : public ModuleLink
{
    Q_OBJECT

public:
    ~Win32Link() override;

    bool openPseudoTerminal(const QString &name, QString *error) override;
    bool openPort(const QString &path, int speed, QString *error) override;
    bool write(const QByteArray &bytes) override;
    bool hasUnreadOutput() const override;
    void close() final;

private:
    // One direction: the transfer in progress, and the event that tells of its end to the event loop.
    struct Direction
    {
        vs::transfer state;
        std::optional<QWinEventNotifier> ended;
        bool isBusy = false;
    };

    void watch(Direction &direction, void (Win32Link::*takeEnd)());
    void stop(Direction &direction);
    bool setUp(int speed);
    bool startRead();
    void takeRead();
    QByteArray readQueued();
    void writeMore();
    void takeWritten();
    void hangUp();

    vs::handle port = vs::invalid_handle;
    Direction in;
    Direction out;
    vs::handle queuedRead = vs::no_event;
    char firstByte = 0;
    QByteArray inFlight; // stays in place until it is written
    QByteArray pending;
};

} // namespace simulator
