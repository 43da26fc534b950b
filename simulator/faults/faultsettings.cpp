#include "simulator/faults/faultsettings.h"

#include "simulator/wire/frames.h"

namespace simulator {
namespace {

constexpr int maxMs = 60'000;
constexpr int maxCount = 1'000'000;

template <int FaultSettings::*number, int max>
Error applyNumber(FaultSettings &faults, const QString &value)
{
    return readNumber(value, 0, max, &(faults.*number));
}

// Reads "NAME" or "NAME@N" of a record.
Error addLost(FaultSettings &faults, int record, const QString &value)
{
    int countdown = 0;
    if (value.contains(QLatin1Char('@'))) {
        if (const Error error = readNumber(value.section(QLatin1Char('@'), 1), 1, maxCount, &countdown))
            return error;
    }
    faults.lostFrames[record] = countdown;
    return {};
}

Error readCommand(const QString &name, int *command)
{
    *command = commandIndex(name);
    return *command < 0 ? Error(QStringLiteral("no command is named \"%1\"").arg(name)) : Error();
}

Error loseCommand(FaultSettings &faults, const QString &value)
{
    int command = 0;
    const Error error = readCommand(value.section(QLatin1Char('@'), 0, 0), &command);
    return error ? error : addLost(faults, responseIndex(command), value);
}

Error loseEvent(FaultSettings &faults, const QString &value)
{
    const QString name = value.section(QLatin1Char('@'), 0, 0);
    const int event = eventIndex(name);
    return event < 0 ? QStringLiteral("no event is named \"%1\"").arg(name) : addLost(faults, event, value);
}

// Reads "CODE" or "CODE@PERCENT" behind "=".
Error addChosen(QHash<int, ChosenResult> &results, int key, const QString &value)
{
    const QString text = value.section(QLatin1Char('='), 1);
    bool ok = false;
    const uint code = text.section(QLatin1Char('@'), 0, 0).toUInt(&ok, 0);
    if (!ok || code > 0xffff)
        return QStringLiteral("a result code from 0 to 0xffff was expected");
    int percent = 100;
    if (text.contains(QLatin1Char('@'))) {
        if (const Error error = readNumber(text.section(QLatin1Char('@'), 1), 0, 100, &percent))
            return error;
    }
    results[key] = {uint16(code), percent};
    return {};
}

Error addResult(FaultSettings &faults, const QString &value)
{
    const QString name = value.section(QLatin1Char('='), 0, 0);
    int command = 0;
    if (const Error error = readCommand(name, &command))
        return error;
    if (!hasResult(command))
        return QStringLiteral("the response of %1 has no result").arg(name);
    return addChosen(faults.results, command, value);
}

Error addOtaResult(FaultSettings &faults, const QString &value)
{
    bool ok = false;
    const uint byte = value.section(QLatin1Char('='), 0, 0).toUInt(&ok, 0);
    if (!ok || byte > 0xff)
        return QStringLiteral("a byte from 0 to 0xff was expected");
    return addChosen(faults.otaResults, int(byte), value);
}

Error setJunkBytes(FaultSettings &faults, const QString &value)
{
    const auto bytes = bytesFromHex(value);
    if (!bytes)
        return QStringLiteral("bytes in hex were expected");
    faults.junkBytes = *bytes;
    return {};
}

} // namespace

const QVector<FaultSetting> &faultSettings()
{
    using F = FaultSettings;
    static const QVector<FaultSetting> table = {
        {"junk", "COUNT", "Put COUNT bytes that start no frame between two frames.",
         applyNumber<&F::junkCount, 4096>},
        {"junk-bytes", "HEX", "Put exactly these bytes between two frames.", setJunkBytes},
        {"split", "SIZE", "Write at most SIZE bytes at once, 1 ms apart; 0 writes whole frames.",
         applyNumber<&F::splitSize, maxCount>},
        {"join", "COUNT", "Write COUNT frames at once, fewer if the next one takes over 50 ms.",
         applyNumber<&F::joinCount, maxCount>},
        {"lose", "COUNT", "Do not send the next COUNT responses.", applyNumber<&F::loseNext, maxCount>},
        {"lose-every", "N", "Do not send every Nth response.", applyNumber<&F::loseEvery, maxCount>},
        {"lose-command", "NAME[@N]",
         "Never send the response of this command, for instance system_hello, or do not send its Nth from "
         "here on.",
         loseCommand},
        {"lose-event", "NAME[@N]", "Never send this event, or do not send the Nth from here on.", loseEvent},
        {"late", "MS", "Send responses so many milliseconds late; events may overtake them.",
         applyNumber<&F::lateMs, maxMs>},
        {"unasked", "N", "After every N frames, send a response or an event that nothing asked for.",
         applyNumber<&F::unaskedEvery, maxCount>},
        {"unknown", "N", "After every N frames, send a whole frame of a message that does not exist.",
         applyNumber<&F::unknownEvery, maxCount>},
        {"result", "NAME=CODE[@PERCENT]",
         "Answer this command with this result code (0x0182 or decimal), in so many percent of the "
         "cases, and do nothing else.",
         addResult},
        {"ota-fail", "BYTE=CODE[@PERCENT]",
         "Let a write of BYTE to the control point of \"Updatable\" complete with this result code and do "
         "nothing else.",
         addOtaResult},
        {"unplug", "N", "Close the port and end once N more frames have been sent; 0 does not.",
         applyNumber<&F::framesUntilUnplug, maxCount>},
    };
    return table;
}

Error setFault(FaultSettings &faults, const QString &name, const QString &value)
{
    for (const FaultSetting &setting : faultSettings()) {
        if (name == QLatin1String(setting.name))
            return setting.apply(faults, value);
    }
    return QStringLiteral("there is no such setting");
}

} // namespace simulator
