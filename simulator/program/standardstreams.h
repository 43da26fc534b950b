#pragma once

#include <QByteArray>
#include <QObject>

#include <memory>

// Standard streams and requests to end, in code that all systems share. Not every system can wait for
// consoles and pipes in the event loop, so each stream has a thread, which may outlive its object.

namespace simulator {

// Opens the null device in place of closed standard streams. Otherwise the next file that is opened, such as
// the port, would become standard output.
void fillStandardStreams();

// Whether to retry a failed read or write, by errno; sleeps for 10 ms if the stream is in non-blocking mode.
bool mayRetry();

// Reads the lines of standard input until it ends.
class StandardInput : public QObject
{
    Q_OBJECT

public:
    explicit StandardInput(QObject *parent = nullptr);
    ~StandardInput() override;

Q_SIGNALS:
    void lineRead(const QString &line);         // without blanks at its ends
    void lineDropped(const QString &beginning); // of a line over 8 KiB

private:
    struct Reader;
    const std::shared_ptr<Reader> reader;
};

// Watches for an interrupt, a termination or a hang-up, and ignores signals of unread streams. The program
// asks endIsRequested() from time to time.
void watchEndSignals();
bool endIsRequested();

} // namespace simulator
