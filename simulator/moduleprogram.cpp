#include "simulator/moduleprogram.h"

#include "simulator/attributesbehaviour.h"
#include "simulator/catalogue.h"
#include "simulator/hardwarebehaviour.h"

#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <chrono>
#include <unistd.h>

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr auto unplugLook = 10ms;
constexpr int unplugPatience = 100; // looks until the port closes on a host that does not read
constexpr uint8 firstConnection = 0;
const QString inBootloader = QStringLiteral("the bootloader has no attributes");

std::optional<QString> refusal(uint16 result)
{
    if (result == resultOk)
        return std::nullopt;
    return QStringLiteral("refused with %1").arg(result, 4, 16, QLatin1Char('0'));
}

// What was in the file before stays unless all of it could be written. That takes a rename, which would put a
// plain file in the place of a device or a pipe.
std::optional<QString> save(const QString &path, const QByteArray &bytes)
{
    const QFileInfo target(path);
    if (target.exists() && !target.isFile())
        return QStringLiteral("that is no plain file");
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return std::nullopt;
    return file.errorString();
}

} // namespace

struct ModuleProgram::ControlCommand
{
    const char *name;
    std::optional<QString> (*obey)(ModuleProgram &program, const QString &arguments);
};

const QVector<ModuleProgram::ControlCommand> &ModuleProgram::controlCommands()
{
    static const QVector<ControlCommand> table = {
        {"send-hex", [](ModuleProgram &p, const QString &arguments) { return p.sendHex(arguments); }},
        {"remote-write", [](ModuleProgram &p, const QString &arguments) { return p.remoteWrite(arguments); }},
        {"remote-read", [](ModuleProgram &p, const QString &arguments) { return p.remoteRead(arguments); }},
        {"move", [](ModuleProgram &p, const QString &arguments) { return p.move(arguments); }},
        {"hang-up", [](ModuleProgram &p, const QString &arguments) { return p.hangUp(arguments); }},
        {"pins", [](ModuleProgram &p, const QString &arguments) { return p.wirePins(arguments); }},
        {"comparator",
         [](ModuleProgram &p, const QString &arguments) { return p.wireComparator(arguments); }},
        {"dump", [](ModuleProgram &p, const QString &arguments) { return p.dump(arguments); }},
        {"dump-ota",
         [](ModuleProgram &p, const QString &arguments) { return save(arguments, p.module.ota().image()); }},
        {"count",
         [](ModuleProgram &p, const QString &) -> std::optional<QString> {
             p.log.say(QStringLiteral("count: %1 frames, %2 of gap_scan_response, %3 devices")
                           .arg(p.framesWritten)
                           .arg(p.scanResponsesWritten)
                           .arg(p.devicesReported.size()));
             return std::nullopt;
         }},
        {"unplug",
         [](ModuleProgram &p, const QString &arguments) -> std::optional<QString> {
             if (!arguments.isEmpty())
                 return p.misbehaviour.set(QStringLiteral("unplug"), arguments);
             p.unplug();
             return std::nullopt;
         }},
        {"quit",
         [](ModuleProgram &p, const QString &) -> std::optional<QString> {
             Q_EMIT p.finished(0);
             return std::nullopt;
         }},
    };
    return table;
}

ModuleProgram::ModuleProgram(const Options &chosen, QObject *parent)
    : QObject(parent)
    , options(chosen)
    , log(STDOUT_FILENO, !chosen.quiet)
    , link(ModuleLink::make())
    , cutter(chosen.packetMode)
    , module(chosen.identity)
    , misbehaviour(chosen.identity.seed)
{
    for (const auto &setting : options.misbehaviour)
        misbehaviour.set(setting.first, setting.second);
    module.setResultOverride([this](int command) { return misbehaviour.chosenResult(command); });
    module.ota().setResultOverride([this](uint8 byte) { return misbehaviour.chosenOtaResult(byte); });
    connectParts();
}

ModuleProgram::~ModuleProgram() = default;

void ModuleProgram::connectParts()
{
    connect(link.get(), &ModuleLink::received, this, &ModuleProgram::takeBytes);
    connect(link.get(), &ModuleLink::hostAttached, this, [this] { log.note(QStringLiteral("attached")); });
    connect(link.get(), &ModuleLink::hostDetached, this, [this] {
        cutter.clear();
        misbehaviour.forget();
        log.note(QStringLiteral("detached"));
    });
    connect(link.get(), &ModuleLink::overrun, this, [this](int lostBytes) {
        log.note(QStringLiteral("the host does not read: %1 bytes lost").arg(lostBytes));
    });
    connect(link.get(), &ModuleLink::lost, this, [this] {
        log.note(QStringLiteral("the port is gone"));
        Q_EMIT finished(1);
    });
    connect(&module, &SimulatedModule::frameReady, &misbehaviour, &Misbehaviour::send);
    connect(&misbehaviour, &Misbehaviour::writeReady, this, &ModuleProgram::write);
    const auto note = [this](const QString &text) { log.note(text); };
    connect(&module, &SimulatedModule::note, this, note);
    connect(&misbehaviour, &Misbehaviour::note, this, note);
    connect(&misbehaviour, &Misbehaviour::unplugged, this, &ModuleProgram::unplugOnceRead);
}

std::optional<QString> ModuleProgram::start()
{
    QString error;
    if (!options.port.isEmpty())
        return link->openPort(options.port, options.speed, &error) ? std::nullopt : std::optional(error);
    return link->openPseudoTerminal(options.name, &error) ? std::nullopt : std::optional(error);
}

QString ModuleProgram::readyLine() const
{
    const QString line = QStringLiteral("ready: ") + link->path();
    return options.port.isEmpty() ? line + QLatin1Char(' ') + options.name : line;
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
            module.countRefused();
        }
    }
}

void ModuleProgram::write(const QByteArray &bytes, const QByteArrayList &frames)
{
    const bool isTaken = link->write(bytes);
    for (const QByteArray &frame : frames) {
        if (isTaken) {
            log.sent(frame);
            count(frame);
        } else
            log.note(QStringLiteral("not sent: %1").arg(describeFrame(frame, false)));
    }
}

void ModuleProgram::count(const QByteArray &frame)
{
    static const int scanResponseEvent = eventIndex(QStringLiteral("gap_scan_response"));
    constexpr int addressAt = headerSize + 2; // behind rssi and packet type
    constexpr int addressSize = 7;            // with its type
    ++framesWritten;
    if (frameIndex(frame, false) != scanResponseEvent)
        return;
    ++scanResponsesWritten;
    devicesReported.insert(frame.mid(addressAt, addressSize));
}

std::optional<QString> ModuleProgram::move(const QString &arguments)
{
    const QStringList words = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const auto address = addressFromText(words.value(0));
    const QStringList types = {QStringLiteral("public"), QStringLiteral("random")};
    const QStringList places = {QStringLiteral("out"), QStringLiteral("in")};
    const int type = types.indexOf(words.value(1));
    const int place = places.indexOf(words.value(2));
    if (!address || type < 0 || place < 0 || words.size() != 3)
        return QStringLiteral("an address, \"public\" or \"random\", and \"in\" or \"out\" were expected");
    if (!module.air().move({*address, uint8(type)}, place == 1))
        return QStringLiteral("there is no such device");
    return std::nullopt;
}

std::optional<QString> ModuleProgram::hangUp(const QString &arguments)
{
    bool ok = false;
    const uint handle = arguments.toUInt(&ok, 0);
    if (!ok || handle > 0xff || !module.links().hangUp(uint8(handle)))
        return QStringLiteral("the handle of an open connection was expected");
    return std::nullopt;
}

std::optional<QString> ModuleProgram::wirePins(const QString &arguments)
{
    const QStringList words = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const auto byteAt = [&words](int index) {
        bool ok = false;
        const uint value = words.value(index, QStringLiteral("ff")).toUInt(&ok, 16);
        return ok && value <= 0xff ? std::optional(uint8(value)) : std::nullopt;
    };
    const auto port = byteAt(0), levels = byteAt(1), driven = byteAt(2);
    const bool areNumbers = words.size() >= 2 && words.size() <= 3 && port && levels && driven;
    if (!areNumbers || !module.hardware().drivePins(*port, *levels, *driven))
        return QStringLiteral(
            "a port from 0 to 2 and levels, and at most a mask of pins, in hex were expected");
    return std::nullopt;
}

std::optional<QString> ModuleProgram::wireComparator(const QString &level)
{
    const int number = QStringList{QStringLiteral("0"), QStringLiteral("1")}.indexOf(level);
    if (number < 0)
        return QStringLiteral("0 or 1 was expected");
    module.hardware().setComparatorOutput(number == 1);
    return std::nullopt;
}

std::optional<QString> ModuleProgram::sendHex(const QString &hex)
{
    const auto bytes = bytesFromHex(hex);
    if (!bytes || bytes->isEmpty())
        return QStringLiteral("bytes in hex were expected");
    if (misbehaviour.isEnding() || !link->write(*bytes))
        return QStringLiteral("nobody takes them");
    log.note(QStringLiteral("sent on request: %1").arg(spacedHex(*bytes)));
    return std::nullopt;
}

std::optional<QString> ModuleProgram::dump(const QString &arguments) const
{
    const QStringList words = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    bool addressOk = true, sizeOk = true;
    const uint address = words.size() > 1 ? words[1].toUInt(&addressOk, 16) : 0;
    const uint rest = FlashMemory::size - std::min(address, FlashMemory::size);
    const uint size = words.size() > 2 ? words[2].toUInt(&sizeOk, 16) : rest;
    if (words.isEmpty() || words.size() > 3 || !addressOk || !sizeOk || address >= FlashMemory::size ||
        size > rest)
        return QStringLiteral("a file, and at most an address and a size in hex up to %1 were expected")
            .arg(FlashMemory::size, 0, 16);
    return save(words[0], module.flash().read(address, size));
}

std::optional<QString> ModuleProgram::remoteWrite(const QString &arguments)
{
    if (module.isInBootloader())
        return inBootloader;
    bool ok = false;
    const uint handle = arguments.section(QLatin1Char(' '), 0, 0).toUInt(&ok, 0);
    const auto value = bytesFromHex(arguments.section(QLatin1Char(' '), 1));
    if (!ok || handle > 0xffff || !value)
        return QStringLiteral("a handle and bytes in hex were expected");
    return refusal(module.attributes().remoteWrite(firstConnection, uint16(handle), 0, *value));
}

std::optional<QString> ModuleProgram::remoteRead(const QString &arguments)
{
    if (module.isInBootloader())
        return inBootloader;
    bool ok = false;
    const uint handle = arguments.toUInt(&ok, 0);
    if (!ok || handle > 0xffff)
        return QStringLiteral("a handle was expected");
    return refusal(module.attributes().remoteRead(firstConnection, uint16(handle)));
}

void ModuleProgram::obey(const QString &line)
{
    if (line.isEmpty())
        return;
    const QString name = line.section(QLatin1Char(' '), 0, 0);
    const QString arguments = line.section(QLatin1Char(' '), 1).trimmed();
    const auto &commands = controlCommands();
    const auto command = std::find_if(commands.begin(), commands.end(), [&name](const ControlCommand &c) {
        return name == QLatin1String(c.name);
    });
    const auto error =
        command == commands.end() ? misbehaviour.set(name, arguments) : command->obey(*this, arguments);
    log.note(error ? QStringLiteral("not obeyed: %1 (%2)").arg(line.left(80), *error)
                   : QStringLiteral("obeyed: %1").arg(line.left(80)));
}

void ModuleProgram::refuseLongLine(const QString &beginning)
{
    log.note(QStringLiteral("not obeyed: %1 (the line is too long)").arg(beginning.left(80)));
}

void ModuleProgram::unplug()
{
    link->close();
    log.note(QStringLiteral("unplugged"));
    Q_EMIT finished(0);
}

// What a host has not read by the time a pseudo-terminal closes is gone, and the last frames were promised.
void ModuleProgram::unplugOnceRead()
{
    QTimer::singleShot(unplugLook, this, [this] {
        if (link->hasUnreadOutput() && ++unplugLooks < unplugPatience)
            unplugOnceRead();
        else
            unplug();
    });
}

} // namespace simulator
