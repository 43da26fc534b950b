#pragma once

#include <QElapsedTimer>
#include <QString>

#include <memory>

namespace simulator {

// Logs frames to standard output, one line each: seconds since the start, "<-" from the host or "->" to the
// host, the bytes in hex and the decoded message. Notes begin with "--". Logging never blocks: if nobody
// reads the log, lines wait in memory, and lines beyond 1 MiB are lost.
class TrafficLog
{
public:
    explicit TrafficLog(bool isOn);

    // Gives up on a reader that takes nothing for 0.2 seconds.
    ~TrafficLog();
    TrafficLog(const TrafficLog &) = delete;
    TrafficLog &operator=(const TrafficLog &) = delete;

    void received(const QByteArray &frame);
    void sent(const QByteArray &frame);
    void note(const QString &text);

    // Write even if the log is off: a note, and a line without a time.
    void say(const QString &text) { line("--", text); }
    void print(const QString &text);

private:
    struct Writer;
    void line(const char *direction, const QString &text);

    const bool on;
    QElapsedTimer sinceStart;
    int lostLines = 0;
    const std::shared_ptr<Writer> writer; // shared with its thread, which may outlive the log
};

} // namespace simulator
