#pragma once

#include "transport/platform/platform.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QStringList>

#include <condition_variable>
#include <mutex>
#include <optional>

struct ScriptedStep
{
    std::uint32_t moves = 0;
    bool pending = false;
    std::uint32_t error = 0; // 0: success
    bool thenStop = false;   // the exit event comes during the call, or before a pending transfer ends
};

struct ScriptedDevice
{
    std::optional<QByteArray> friendlyName; // with its terminating zero, where it has one
    std::optional<QByteArray> port_name;
    bool opens = true;
};

// The serial platform as a play: what each transfer does is written down beforehand, and every call is
// noted. Linked before the real one, whose functions it replaces all; they act the play made last.
struct ScriptedPlatform
{
    static constexpr vs::handle port = 7;
    static constexpr vs::handle exitEvent = 101; // the order of their creation
    static constexpr vs::handle readEvent = 102;
    static constexpr vs::handle writeEvent = 103;

    ScriptedPlatform() { current = this; }

    bool portOpens = true;
    bool lineStateReadable = true;
    vs::line_state line = {};
    int eventsAvailable = 3;
    QByteArray incoming;        // what reads give, in order
    QList<ScriptedStep> reads;  // after the last one, reads wait for ever
    QList<ScriptedStep> writes; // after the last one, writes end at once and whole
    bool deviceListOpens = true;
    QList<ScriptedDevice> devices;

    // The calls so far that begin with `prefix`, as "open_port COM7, clear_timeouts".
    QString calls(const char *prefix = "") const;
    QList<QByteArray> written() const; // what each write moved

    // For the platform functions alone. note() gives true. The lock is of the standard library, for the
    // thread sanitizer to see.
    static inline ScriptedPlatform *current = nullptr;
    bool note(const char *format, long long first = 0, long long second = 0);
    mutable std::mutex mutex;
    std::condition_variable signalled;
    QStringList noted;
    QSet<vs::handle> signalsOn;
    QList<QByteArray> movedOut;
    std::optional<ScriptedStep> pendingRead;
    std::optional<ScriptedStep> pendingWrite;
    int eventsMade = 0;
};
