#include "simulator/program/moduleprogram.h"
#include "simulator/program/options.h"
#include "simulator/program/standardstreams.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

int main(int argc, char **argv)
{
    using namespace simulator;

    fillStandardStreams();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vorsel-module"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VORSEL_VERSION));

    const ParsedOptions parsed = parseOptions(QCoreApplication::arguments());
    if (parsed.outcome != ParsedOptions::run) {
        const bool isRefused = parsed.outcome == ParsedOptions::refuse;
        std::fprintf(isRefused ? stderr : stdout, isRefused ? "vorsel-module: %s\n" : "%s",
                     parsed.text.toLocal8Bit().constData());
        return isRefused ? 2 : 0;
    }

    watchEndSignals();
    ModuleProgram program(parsed.options);
    QObject::connect(&program, &ModuleProgram::finished, &application,
                     [](int code) { QCoreApplication::exit(code); });
    if (const Error error = program.start()) {
        std::fprintf(stderr, "vorsel-module: %s\n", error->toLocal8Bit().constData());
        return 1;
    }
    const StandardInput input;
    QObject::connect(&input, &StandardInput::lineRead, &program, &ModuleProgram::obey);
    QObject::connect(&input, &StandardInput::lineDropped, &program, &ModuleProgram::refuseLongLine);
    // A signal handler may do little more than set a flag, so a timer looks at the flag.
    QTimer signalTimer;
    QObject::connect(&signalTimer, &QTimer::timeout, &application, [] {
        if (endIsRequested())
            QCoreApplication::exit(0);
    });
    signalTimer.start(50);
    return QCoreApplication::exec();
}
