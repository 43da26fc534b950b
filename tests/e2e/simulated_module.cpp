#include "tests/e2e/simulated_module.h"

SimulatedModule::SimulatedModule()
{
    qputenv("XDG_RUNTIME_DIR", m_runtime.path().toLocal8Bit());
}

SimulatedModule::~SimulatedModule()
{
    stop();
}

bool SimulatedModule::start(const QStringList &options)
{
    m_output.clear();
    m_process.start(QStringLiteral(VORSEL_MODULE), options);
    while (!m_output.contains("ready: ")) {
        if (!m_process.waitForReadyRead(20000))
            return false;
        m_output += m_process.readAllStandardOutput();
    }
    return true;
}

void SimulatedModule::stop()
{
    m_process.terminate();
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
