#include "tests/e2e/simulated_module.h"

SimulatedModule::~SimulatedModule()
{
    stop();
}

bool SimulatedModule::start(const QStringList &options)
{
    m_output.clear();
    m_process.start(QStringLiteral(VORSEL_MODULE), connect_line() + options);
    while (!m_output.contains("ready: ")) {
        if (!m_process.waitForReadyRead(20000))
            return false;
        m_output += m_process.readAllStandardOutput();
    }
    return true;
}

void SimulatedModule::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    control("quit");
    m_process.waitForFinished();
}

void SimulatedModule::control(const QByteArray &line)
{
    m_process.write(line + '\n');
    m_process.waitForBytesWritten();
}

QByteArray SimulatedModule::output()
{
    m_output += m_process.readAllStandardOutput();
    return m_output;
}
