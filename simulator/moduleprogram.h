#pragma once

#include "simulator/framecutter.h"
#include "simulator/misbehaviour.h"
#include "simulator/modulelink.h"
#include "simulator/options.h"
#include "simulator/simulatedmodule.h"
#include "simulator/trafficlog.h"

#include <QObject>
#include <QSet>

#include <memory>

namespace simulator {

// The whole simulated module: the port, the module behind it, the log, and the lines that steer it.
class ModuleProgram : public QObject
{
    Q_OBJECT

public:
    explicit ModuleProgram(const Options &chosen, QObject *parent = nullptr);
    ~ModuleProgram() override;

    // Opens and publishes the port; an error text if that fails.
    std::optional<QString> start();

    // "ready: /dev/pts/3 Simulated module"
    QString readyLine() const;

    // Carries out a line of the control input; one that makes no sense is noted in the log.
    void obey(const QString &line);
    void refuseLongLine(const QString &beginning);

Q_SIGNALS:
    void finished(int exitCode);

private:
    struct ControlCommand;
    static const QVector<ControlCommand> &controlCommands();
    void connectParts();
    void takeBytes(const QByteArray &bytes);
    void unplug();
    void unplugOnceRead();
    std::optional<QString> remoteWrite(const QString &arguments);
    std::optional<QString> remoteRead(const QString &arguments);
    void write(const QByteArray &bytes, const QByteArrayList &frames);
    std::optional<QString> sendHex(const QString &hex);
    std::optional<QString> move(const QString &arguments);
    std::optional<QString> hangUp(const QString &arguments);
    std::optional<QString> wirePins(const QString &arguments);
    std::optional<QString> wireComparator(const QString &level);
    std::optional<QString> dump(const QString &arguments) const;
    void count(const QByteArray &frame);

    const Options options;
    TrafficLog log;
    const std::unique_ptr<ModuleLink> link;
    FrameCutter cutter;
    SimulatedModule module;
    Misbehaviour misbehaviour;
    int framesWritten = 0;
    int scanResponsesWritten = 0;
    QSet<QByteArray> devicesReported; // address and type
    int unplugLooks = 0;
};

} // namespace simulator
