#pragma once

#include "simulator/faults/faultsettings.h"
#include "simulator/module/module.h"

#include <QString>
#include <QStringList>

namespace simulator {

// What the command line chooses.
struct Options
{
    QString name = QStringLiteral("Simulated module");
    QString port; // empty for a pseudo-terminal
    int speed = 115200;
    ModuleOptions module;
    bool packetMode = false;
    bool isQuiet = false;
    FaultSettings faults;
};

// The outcome of a command line: options to run with, or a text to show before the program ends.
struct ParsedOptions
{
    enum Outcome { run, showText, refuse };
    Outcome outcome;
    QString text;
    Options options;
};

// `arguments` begin with the program's name. All values are checked here.
ParsedOptions parseOptions(const QStringList &arguments);

} // namespace simulator
