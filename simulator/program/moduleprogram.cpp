#include "simulator/program/moduleprogram.h"

#include "simulator/wire/frames.h"

#include <algorithm>
#include <chrono>

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr auto unplugInterval = 10ms;
constexpr int maxLogged = 80;       // characters of a control line
constexpr int maxUnplugLooks = 100; // then the port closes although the host has not read everything

} // namespace

ModuleProgram::ModuleProgram(const Options &chosen, QObject *parent)
    : QObject(parent)
    , options(chosen)
    , log(!chosen.isQuiet)
    , hostLine(HostLine::make())
    , cutter(chosen.packetMode)
    , module(chosen.module)
    , misbehaviour(chosen.module.seed, chosen.faults)
{
    module.setResultOverride([this](int command) { return misbehaviour.chosenResult(command); });
    module.ota().setResultOverride([this](uint8 byte) { return misbehaviour.chosenOtaResult(byte); });
    connectParts();
}

ModuleProgram::~ModuleProgram() = default;

void ModuleProgram::connectParts()
{
    const auto note = [this](const QString &text) { log.note(text); };
    connect(hostLine.get(), &HostLine::received, this, &ModuleProgram::takeBytes);
    connect(hostLine.get(), &HostLine::hostAttached, this, [this] { log.note(QStringLiteral("attached")); });
    connect(hostLine.get(), &HostLine::hostDetached, this, [this] {
        cutter.clear();
        misbehaviour.forget();
        log.note(QStringLiteral("detached"));
    });
    connect(hostLine.get(), &HostLine::overrun, this, [this](int lostBytes) {
        log.note(QStringLiteral("the host does not read: %1 bytes lost").arg(lostBytes));
    });
    connect(hostLine.get(), &HostLine::lost, this, [this] {
        log.note(QStringLiteral("the port is gone"));
        Q_EMIT finished(1);
    });
    connect(&module, &Module::frameReady, &misbehaviour, &Misbehaviour::send);
    connect(&module, &Module::note, this, note);
    connect(&misbehaviour, &Misbehaviour::writeReady, this, &ModuleProgram::write);
    connect(&misbehaviour, &Misbehaviour::note, this, note);
    connect(&misbehaviour, &Misbehaviour::unplugged, this, &ModuleProgram::unplugOnceRead);
}

Error ModuleProgram::start()
{
    const bool isOwnPort = options.port.isEmpty();
    if (const Error error = isOwnPort ? hostLine->openPseudoTerminal(options.name)
                                      : hostLine->openPort(options.port, options.speed))
        return error;
    log.print(QStringLiteral("ready: ") + hostLine->path() +
              (isOwnPort ? QLatin1Char(' ') + options.name : QString()));
    return {};
}

void ModuleProgram::takeBytes(const QByteArray &bytes)
{
    for (const FrameCutter::Piece &piece : cutter.add(bytes)) {
        if (misbehaviour.isEnding())
            return;
        if (piece.isFrame) {
            log.received(piece.bytes);
            module.takeFrame(piece.bytes);
        } else {
            log.note(QStringLiteral("dropped: %1").arg(spacedHex(piece.bytes)));
        }
    }
}

void ModuleProgram::write(const QByteArray &bytes, const QByteArrayList &frames)
{
    const bool isTaken = hostLine->write(bytes);
    for (const QByteArray &frame : frames) {
        if (isTaken) {
            log.sent(frame);
            count(frame);
        } else {
            log.note(QStringLiteral("not sent: %1").arg(describeFrame(frame, false)));
        }
    }
}

void ModuleProgram::count(const QByteArray &frame)
{
    static const int scanResponseEvent = eventIndex(QStringLiteral("gap_scan_response"));
    constexpr int addressOffset = headerSize + 2; // after rssi and packet type
    constexpr int addressSize = 7;                // with its type
    ++framesWritten;
    if (frameIndex(frame, false) != scanResponseEvent)
        return;
    ++scanResponsesWritten;
    devicesReported.insert(frame.mid(addressOffset, addressSize));
}

void ModuleProgram::obey(const QString &line)
{
    if (line.isEmpty())
        return;
    const QString name = line.section(QLatin1Char(' '), 0, 0);
    const QString argument = line.section(QLatin1Char(' '), 1).trimmed();
    const auto &lines = controlLines();
    const auto known = std::find_if(lines.begin(), lines.end(), [&name](const ControlLine &control) {
        return name == QLatin1String(control.name);
    });
    const Error error =
        known == lines.end() ? misbehaviour.set(name, argument) : known->obey(*this, argument);
    log.note(error ? QStringLiteral("not obeyed: %1 (%2)").arg(line.left(maxLogged), *error)
                   : QStringLiteral("obeyed: %1").arg(line.left(maxLogged)));
}

void ModuleProgram::refuseLongLine(const QString &beginning)
{
    log.note(QStringLiteral("not obeyed: %1 (the line is too long)").arg(beginning.left(maxLogged)));
}

void ModuleProgram::unplug()
{
    hostLine->close();
    log.note(QStringLiteral("unplugged"));
    Q_EMIT finished(0);
}

// Closing a pseudo-terminal drops what the host has not read, so wait until the host has the last frames.
void ModuleProgram::unplugOnceRead()
{
    QTimer::singleShot(unplugInterval, this, [this] {
        if (hostLine->hasUnreadOutput() && ++unplugLooks < maxUnplugLooks)
            unplugOnceRead();
        else
            unplug();
    });
}

} // namespace simulator
