#pragma once

#include "transport/platform/serial_platform.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QStringList>

#include <condition_variable>
#include <mutex>
#include <optional>

struct scripted_step
{
    std::uint32_t moves = 0;
    bool pending = false;
    std::uint32_t error = 0; // 0: success
    bool then_stop = false;  // the exit event comes during the call, or before a pending transfer ends
};

struct scripted_device
{
    std::optional<QByteArray> friendly_name; // with its terminating zero, where it has one
    std::optional<QByteArray> port_name;
    bool opens = true;
};

// The serial platform as a play: what each transfer does is written down beforehand, and every call is
// noted. Linked before the real one, whose functions it replaces all; they act the play made last.
struct scripted_platform
{
    static constexpr vs::handle port = 7;
    static constexpr vs::handle exit_event = 101; // the order of their creation
    static constexpr vs::handle read_event = 102;
    static constexpr vs::handle write_event = 103;

    scripted_platform() { current = this; }

    bool port_opens = true;
    bool line_state_readable = true;
    vs::line_state line = {};
    int events_available = 3;
    QByteArray incoming;         // what reads give, in order
    QList<scripted_step> reads;  // after the last one, reads wait for ever
    QList<scripted_step> writes; // after the last one, writes end at once and whole
    bool device_list_opens = true;
    QList<scripted_device> devices;

    // The calls so far that begin with `prefix`, as "open_port COM7, clear_timeouts".
    QString calls(const char *prefix = "") const;
    QList<QByteArray> written() const; // what each write moved

    // For the platform functions alone. note() gives true. The lock is of the standard library, for the
    // thread sanitizer to see.
    static inline scripted_platform *current = nullptr;
    bool note(const char *format, long long first = 0, long long second = 0);
    mutable std::mutex mutex;
    std::condition_variable signalled;
    QStringList noted;
    QSet<vs::handle> signals_on;
    QList<QByteArray> moved_out;
    std::optional<scripted_step> pending_read;
    std::optional<scripted_step> pending_write;
    int events_made = 0;
};
