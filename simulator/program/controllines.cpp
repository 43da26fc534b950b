#include "simulator/module/behaviours.h"
#include "simulator/program/moduleprogram.h"

#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace simulator {
namespace {

constexpr uint8 firstConnection = 0;
const QString inBootloader = QStringLiteral("the bootloader has no attributes");

QStringList wordsOf(const QString &text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// A number in hex that fits in one byte.
std::optional<uint8> hexByte(const QString &text)
{
    bool ok = false;
    const uint value = text.toUInt(&ok, 16);
    return ok && value <= 0xff ? std::optional(uint8(value)) : std::nullopt;
}

Error refusal(Result result)
{
    if (result == resultOk)
        return {};
    return QStringLiteral("refused with %1").arg(result, 4, 16, QLatin1Char('0'));
}

// Replaces the file only once everything has been written. Replacing is renaming, so refuse devices and
// pipes.
Error save(const QString &path, const QByteArray &bytes)
{
    const QFileInfo target(path);
    if (target.exists() && !target.isFile())
        return QStringLiteral("that is no plain file");
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return {};
    return file.errorString();
}

Error move(Air &air, const QStringList &words)
{
    const auto address = addressFromText(words.value(0));
    const int type = QStringList{QStringLiteral("public"), QStringLiteral("random")}.indexOf(words.value(1));
    const int place = QStringList{QStringLiteral("out"), QStringLiteral("in")}.indexOf(words.value(2));
    if (!address || type < 0 || place < 0 || words.size() != 3)
        return QStringLiteral("an address, \"public\" or \"random\", and \"in\" or \"out\" were expected");
    if (!air.move({*address, uint8(type)}, place == 1))
        return QStringLiteral("there is no such device");
    return {};
}

Error drivePins(HardwareBehaviour &hardware, const QStringList &words)
{
    const auto port = hexByte(words.value(0));
    const auto levels = hexByte(words.value(1));
    const auto driven = hexByte(words.value(2, QStringLiteral("ff")));
    const bool isComplete = words.size() <= 3 && port && levels && driven;
    if (isComplete && hardware.drivePins(*port, *levels, *driven))
        return {};
    return QStringLiteral("a port from 0 to 2 and levels, and at most a mask of pins, in hex were expected");
}

Error dumpFlash(const FlashMemory &flash, const QStringList &words)
{
    bool addressOk = true, sizeOk = true;
    const uint address = words.size() > 1 ? words[1].toUInt(&addressOk, 16) : 0;
    const uint rest = FlashMemory::size - std::min(address, FlashMemory::size);
    const uint size = words.size() > 2 ? words[2].toUInt(&sizeOk, 16) : rest;
    const bool fits = addressOk && sizeOk && address < FlashMemory::size && size <= rest;
    if (words.isEmpty() || words.size() > 3 || !fits)
        return QStringLiteral("a file, and at most an address and a size in hex up to %1 were expected")
            .arg(FlashMemory::size, 0, 16);
    return save(words[0], flash.read(address, size));
}

std::optional<uint16> handleOf(const QString &text)
{
    bool ok = false;
    const uint handle = text.toUInt(&ok, 0);
    return ok && handle <= 0xffff ? std::optional(uint16(handle)) : std::nullopt;
}

Error remoteWrite(Module &module, const QString &argument)
{
    const auto handle = handleOf(argument.section(QLatin1Char(' '), 0, 0));
    const auto value = bytesFromHex(argument.section(QLatin1Char(' '), 1));
    if (module.isInBootloader())
        return inBootloader;
    if (!handle || !value)
        return QStringLiteral("a handle and bytes in hex were expected");
    return refusal(module.attributes().remoteWrite(firstConnection, *handle, 0, *value));
}

Error remoteRead(Module &module, const QString &argument)
{
    const auto handle = handleOf(argument);
    if (module.isInBootloader())
        return inBootloader;
    if (!handle)
        return QStringLiteral("a handle was expected");
    return refusal(module.attributes().remoteRead(firstConnection, *handle));
}

} // namespace

const QVector<ModuleProgram::ControlLine> &ModuleProgram::controlLines()
{
    using P = ModuleProgram;
    static const QVector<ControlLine> table = {
        {"send-hex", "HEX", "send these bytes as they are",
         [](P &p, const QString &argument) -> Error {
             const auto bytes = bytesFromHex(argument);
             if (!bytes || bytes->isEmpty())
                 return QStringLiteral("bytes in hex were expected");
             if (p.misbehaviour.isEnding() || !p.hostLine->write(*bytes))
                 return QStringLiteral("nobody takes them");
             p.log.note(QStringLiteral("sent on request: %1").arg(spacedHex(*bytes)));
             return {};
         }},
        {"remote-write", "HANDLE HEX",
         "write a local attribute as a remote device would; a write to a user\n"
         "attribute waits for user_write_response",
         [](P &p, const QString &argument) { return remoteWrite(p.module, argument); }},
        {"remote-read", "HANDLE",
         "read a local attribute; for a user attribute the event\n"
         "user_read_request asks the host",
         [](P &p, const QString &argument) { return remoteRead(p.module, argument); }},
        {"move", "ADDRESS public|random in|out",
         "put a remote device into or out of range, where it then stays",
         [](P &p, const QString &argument) { return simulator::move(p.module.air(), wordsOf(argument)); }},
        {"hang-up", "CONNECTION", "end a connection as the remote device would",
         [](P &p, const QString &argument) -> Error {
             const auto handle = handleOf(argument);
             if (!handle || *handle > 0xff || !p.module.connections().hangUp(uint8(*handle)))
                 return QStringLiteral("the handle of an open connection was expected");
             return {};
         }},
        {"pins", "PORT LEVELS [MASK]",
         "drive the pins of a port that are in MASK (all) from outside, a bit a pin\n"
         "in hex; inputs that nothing drives show their pull, or 0 without one",
         [](P &p, const QString &argument) { return drivePins(p.module.hardware(), wordsOf(argument)); }},
        {"comparator", "0|1", "set what the analog comparator sees",
         [](P &p, const QString &argument) -> Error {
             if (argument != QLatin1String("0") && argument != QLatin1String("1"))
                 return QStringLiteral("0 or 1 was expected");
             p.module.hardware().setComparatorOutput(argument == QLatin1String("1"));
             return {};
         }},
        {"dump", "FILE [ADDRESS [SIZE]]",
         "write the flash from ADDRESS on, or SIZE bytes of it, to a file as it\n"
         "is; numbers in hex, no blanks in the name",
         [](P &p, const QString &argument) { return dumpFlash(p.module.flash(), wordsOf(argument)); }},
        {"dump-ota", "FILE", "write the image that \"Updatable\" got over the air to a file",
         [](P &p, const QString &argument) { return save(argument, p.module.ota().image()); }},
        {"count", "",
         "say how many frames were written since the start, how many of them were\n"
         "scan responses, and of how many devices (even with --quiet)",
         [](P &p, const QString &) -> Error {
             p.log.say(QStringLiteral("count: %1 frames, %2 of gap_scan_response, %3 devices")
                           .arg(p.framesWritten)
                           .arg(p.scanResponsesWritten)
                           .arg(p.devicesReported.size()));
             return {};
         }},
        {"unplug", "", "close the port and end",
         [](P &p, const QString &argument) -> Error {
             if (!argument.isEmpty())
                 return p.misbehaviour.set(QStringLiteral("unplug"), argument);
             p.unplug();
             return {};
         }},
        {"quit", "", "end",
         [](P &p, const QString &) -> Error {
             Q_EMIT p.finished(0);
             return {};
         }},
    };
    return table;
}

} // namespace simulator
