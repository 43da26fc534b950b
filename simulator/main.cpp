#include "simulator/controlinput.h"
#include "simulator/moduleprogram.h"
#include "simulator/options.h"
#include "simulator/platform/process.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

int main(int argc, char **argv)
{
    using namespace simulator;

    fillStandardStreams();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vorsel-module"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VORSEL_VERSION));

    const ParsedOptions parsed = parseOptions(QCoreApplication::arguments());
    if (parsed.outcome != ParsedOptions::run) {
        const bool refused = parsed.outcome == ParsedOptions::refuse;
        std::fprintf(refused ? stderr : stdout, refused ? "vorsel-module: %s\n" : "%s",
                     parsed.text.toLocal8Bit().constData());
        return refused ? 2 : 0;
    }

    const EndRequests endRequests;
    if (!endRequests.areHeard()) {
        std::perror("vorsel-module");
        return 1;
    }
    ModuleProgram program(parsed.options);
    if (const auto error = program.start()) {
        std::fprintf(stderr, "vorsel-module: %s\n", error->toLocal8Bit().constData());
        return 1;
    }
    QObject::connect(&endRequests, &EndRequests::requested, &application, [] { QCoreApplication::exit(0); });
    QObject::connect(&program, &ModuleProgram::finished, &application,
                     [](int code) { QCoreApplication::exit(code); });
    ControlInput control(STDIN_FILENO);
    QObject::connect(&control, &ControlInput::lineRead, &program, &ModuleProgram::obey);
    QObject::connect(&control, &ControlInput::lineDropped, &program, &ModuleProgram::refuseLongLine);

    std::printf("%s\n", program.readyLine().toLocal8Bit().constData());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
