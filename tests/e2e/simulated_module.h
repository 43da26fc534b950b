#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// A simulated module in a process of its own, in a runtime folder that only this test sees.
class SimulatedModule
{
public:
    // Points this process to a runtime folder of its own, where no other module's port is listed.
    SimulatedModule();
    ~SimulatedModule();

    // Starts it and waits until its port is published. False if it did not come up.
    bool start(const QStringList &options = {});
    // Ends it as a pulled plug would: its pseudo-terminal goes away.
    void stop();
    // A line to its control input.
    void control(const QByteArray &line);
    QByteArray output();

private:
    QTemporaryDir m_runtime;
    QProcess m_process;
    QByteArray m_output;
};
