#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// A simulated module in a process of its own, behind a port that this process finds in its list.
class SimulatedModule
{
public:
    ~SimulatedModule();

    // Starts it and waits until its port is published. False if it did not come up.
    bool start(const QStringList &options = {});
    // Ends it, and nobody is at the other end of the port any more.
    void stop();
    // A line to its control input.
    void control(const QByteArray &line);
    QByteArray output();

private:
    // Makes the line for a module to come, and gives the options that tell it where it is.
    QStringList connectLine();

    QTemporaryDir runtime;
    QProcess process;
    QByteArray received;
};
