#pragma once

#include "simulator/simulatedmodule.h"

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

namespace simulator {

// What the command line asks for.
struct Options
{
    QString name = QStringLiteral("Simulated module");
    QString port; // empty for a pseudo-terminal
    int speed = 115200;
    ModuleIdentity identity;
    bool packetMode = false;
    bool quiet = false;
    QVector<QPair<QString, QString>>
        misbehaviour; // settings by name, in the order of Misbehaviour::settings()
};

// What became of a command line: options, or a text to show and the exit code to end with.
struct ParsedOptions
{
    enum Outcome { run, showText, refuse };
    Outcome outcome;
    QString text;
    Options options;
};

// `arguments` begins with the program's name. Every value is checked here.
ParsedOptions parseOptions(const QStringList &arguments);

} // namespace simulator
