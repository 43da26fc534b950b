#pragma once

#include "simulator/faults/misbehaviour.h"
#include "simulator/module/module.h"
#include "simulator/port/hostline.h"
#include "simulator/program/options.h"
#include "simulator/program/trafficlog.h"
#include "simulator/wire/framecutter.h"

#include <QObject>
#include <QSet>

#include <memory>

namespace simulator {

// The whole simulated module: its port, the module, the log, and the control lines.
class ModuleProgram : public QObject
{
    Q_OBJECT

public:
    explicit ModuleProgram(const Options &chosen, QObject *parent = nullptr);
    ~ModuleProgram() override;

    // Opens and publishes the port, and prints a line like "ready: /dev/pts/3 Simulated module".
    Error start();

    // A line of standard input. Settings of faults are control lines too, and not in this table.
    struct ControlLine
    {
        const char *name;
        const char *argument;
        const char *help;
        Error (*obey)(ModuleProgram &program, const QString &argument);
    };
    static const QVector<ControlLine> &controlLines();

    // Carries out a control line; the log notes a line that is refused.
    void obey(const QString &line);
    void refuseLongLine(const QString &beginning);

Q_SIGNALS:
    void finished(int exitCode);

private:
    void connectParts();
    void takeBytes(const QByteArray &bytes);
    void write(const QByteArray &bytes, const QByteArrayList &frames);
    void count(const QByteArray &frame);
    void unplug();
    void unplugOnceRead();

    const Options options;
    TrafficLog log;
    const std::unique_ptr<HostLine> hostLine;
    FrameCutter cutter;
    Module module;
    Misbehaviour misbehaviour;
    int framesWritten = 0;
    int scanResponsesWritten = 0;
    QSet<QByteArray> devicesReported; // address and type
    int unplugLooks = 0;
};

} // namespace simulator
