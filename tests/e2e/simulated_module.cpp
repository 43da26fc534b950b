#include "tests/e2e/simulated_module.h"

SimulatedModule::~SimulatedModule()
{
    stop();
}

bool SimulatedModule::start(const QStringList &options)
{
    received.clear();
    process.start(QStringLiteral(VORSEL_MODULE), connectLine() + options);
    while (!received.contains("ready: ")) {
        if (!process.waitForReadyRead(20000))
            return false;
        received += process.readAllStandardOutput();
    }
    return true;
}

void SimulatedModule::stop()
{
    if (process.state() == QProcess::NotRunning)
        return;
    control("quit");
    process.waitForFinished();
}

void SimulatedModule::control(const QByteArray &line)
{
    process.write(line + '\n');
    process.waitForBytesWritten();
}

QByteArray SimulatedModule::output()
{
    received += process.readAllStandardOutput();
    return received;
}
