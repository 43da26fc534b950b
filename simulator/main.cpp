#include "simulator/controlinput.h"
#include "simulator/moduleprogram.h"
#include "simulator/options.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

int signalPipe[2];

void onSignal(int)
{
    const char byte = 0;
    // Nothing can be done about a full pipe, and a full pipe ends the program just as well.
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

// Standard streams that were closed would give their numbers to the port, and what is printed would go there.
void fillStandardStreams()
{
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        ::close(descriptor);
}

bool watchSignals()
{
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, onSignal);
    // A log that nobody reads, and a terminal that this program reads from the background, must not stop it.
    for (const int number : {SIGPIPE, SIGTTIN})
        std::signal(number, SIG_IGN);
    return true;
}

} // namespace

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

    if (!watchSignals()) {
        std::perror("vorsel-module");
        return 1;
    }
    ModuleProgram program(parsed.options);
    if (const auto error = program.start()) {
        std::fprintf(stderr, "vorsel-module: %s\n", error->toLocal8Bit().constData());
        return 1;
    }
    QSocketNotifier stopped(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&stopped, &QSocketNotifier::activated, &application, [] { QCoreApplication::exit(0); });
    QObject::connect(&program, &ModuleProgram::finished, &application,
                     [](int code) { QCoreApplication::exit(code); });
    ControlInput control(STDIN_FILENO);
    QObject::connect(&control, &ControlInput::lineRead, &program, &ModuleProgram::obey);

    std::printf("%s\n", program.readyLine().toLocal8Bit().constData());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
