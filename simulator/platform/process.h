#pragma once

#include <QByteArray>
#include <QObject>

#include <memory>

// What differs by system in how the program meets the process it runs in.

namespace simulator {

// Standard streams that were closed would give their numbers to the port, and what is printed would go there.
void fillStandardStreams();

// Reads a file descriptor for as long as there is something, from the event loop.
class ByteInput : public QObject
{
    Q_OBJECT

public:
    explicit ByteInput(int descriptor, QObject *parent = nullptr);
    ~ByteInput() override;

Q_SIGNALS:
    void received(const QByteArray &bytes);

private:
    struct State;
    const std::shared_ptr<State> state;
};

// Writes to a file descriptor as fast as it is read, and never waits for that. What waits when the object
// goes has 0.2 seconds of nobody reading.
class ByteOutput : public QObject
{
    Q_OBJECT

public:
    explicit ByteOutput(int descriptor, QObject *parent = nullptr);
    ~ByteOutput() override;

    void write(const QByteArray &bytes);
    int waiting() const; // bytes
    bool hasFailed() const;

private:
    struct State;
    const std::shared_ptr<State> state;
};

// Tells when the user or the system wants the program to end. There is one at a time.
class EndRequests : public QObject
{
    Q_OBJECT

public:
    explicit EndRequests(QObject *parent = nullptr);
    ~EndRequests() override;

    bool areHeard() const; // else errno tells why not

Q_SIGNALS:
    void requested();

private:
    struct State;
    const std::unique_ptr<State> state;
};

} // namespace simulator
