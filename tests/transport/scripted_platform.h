#pragma once

#include "transport/platform/serial_platform.h"

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QStringList>

#include <condition_variable>
#include <mutex>
#include <optional>

// The serial platform as a play: what each transfer does is written down beforehand, and every call is
// noted. Linked before the real one, whose functions it replaces all.

struct scripted_step
{
    std::uint32_t moves = 0;
    bool pending = false;
    std::uint32_t error = 0; // 0: success
    bool then_stop = false;  // signals the exit event during the call
};

struct scripted_device
{
    std::optional<QByteArray> friendly_name; // with its terminating zero, where it has one
    bool opens = true;
    std::optional<QByteArray> port_name;
};

class scripted_platform
{
public:
    static constexpr vs::handle port = 7;
    static constexpr vs::handle exit_event = 101; // the order of their creation
    static constexpr vs::handle read_event = 102;
    static constexpr vs::handle write_event = 103;

    bool port_opens = true;
    bool line_state_readable = true;
    vs::line_state line = {};
    int events_available = 3;
    QByteArray incoming;         // what reads give, in order
    QList<scripted_step> reads;  // after the last one, reads wait for ever
    QList<scripted_step> writes; // after the last one, writes end at once and whole
    bool device_list_opens = true;
    QList<scripted_device> devices;

    QStringList calls() const;
    QStringList calls(const QString &prefix) const;
    QList<QByteArray> written() const; // what each write moved
    void signal(vs::handle event);

    // For the platform functions alone.
    void note(const QString &call);
    bool fail(std::uint32_t error);
    vs::handle create();
    bool take(vs::handle event);
    int wait(vs::handle first, vs::handle second);
    bool start_read(char *buffer, std::uint32_t count, std::uint32_t &moved);
    bool start_write(vs::handle to, const char *buffer, std::uint32_t count, std::uint32_t &moved);
    bool result(vs::handle event, std::uint32_t &moved);

private:
    // Of the standard library, for the thread sanitizer to see.
    mutable std::mutex mutex;
    std::condition_variable signalled;
    QStringList noted;
    QSet<vs::handle> signals_on;
    QList<QByteArray> moved_out;
    std::optional<scripted_step> pending_read;
    std::optional<scripted_step> pending_write;
    int events_made = 0;
};

// The play of the test that runs now.
extern scripted_platform *script;
