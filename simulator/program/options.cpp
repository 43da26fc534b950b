#include "simulator/program/options.h"

#include "simulator/port/portpublication.h"
#include "simulator/program/moduleprogram.h"

#include <QCommandLineParser>

#include <climits>

namespace simulator {
namespace {

// An option that is not a fault. An error says what was expected.
struct PlainOption
{
    const char *name;
    const char *argument; // null for a switch
    const char *help;
    Error (*apply)(Options &target, const QString &value);
};

constexpr int maxDelay = 60000; // ms

template <bool Options::*flag>
Error switchOn(Options &target, const QString &)
{
    target.*flag = true;
    return {};
}

const PlainOption plainOptions[] = {
    {"name", "NAME", "Publish the pseudo-terminal under NAME (\"Simulated module\"); no effect with --port.",
     [](Options &o, const QString &v) -> Error {
         o.name = v;
         if (!PortPublication::isPortName(v))
             return QStringLiteral("a file name of at most 240 bytes with no leading dot was expected");
         return {};
     }},
    {"port", "PATH",
     "Speak on this serial port instead of a pseudo-terminal of its own; always needed on Windows.",
     [](Options &o, const QString &v) -> Error {
         o.port = v;
         return v.isEmpty() ? Error(QStringLiteral("a path was expected")) : Error();
     }},
    {"speed", "BAUD", "Speed of that port (115200).",
     [](Options &o, const QString &v) { return readNumber(v, 1, INT_MAX, &o.speed); }},
    {"seed", "N", "Seed of all that is made up or left to chance (1).",
     [](Options &o, const QString &v) -> Error {
         bool ok = false;
         o.module.seed = v.toUInt(&ok, 0);
         return ok ? Error() : Error(QStringLiteral("a number from 0 to 4294967295 was expected"));
     }},
    {"address", "ADDRESS", "Device address (c0:01:02:03:04:05).",
     [](Options &o, const QString &v) -> Error {
         const auto address = addressFromText(v);
         o.module.address = address.value_or(o.module.address);
         return address ? Error()
                        : Error(QStringLiteral("six pairs of hex digits with \":\" between were expected"));
     }},
    {"devices", "N", "Number of remote devices up to 500, the made ones first, then plain ones (20).",
     [](Options &o, const QString &v) {
         return readNumber(v, 0, WorldSize::maxDevices, &o.module.world.devices);
     }},
    {"rate", "N",
     "Advertisements a second of all devices together, up to 10000, or 0: each at its own interval (0).",
     [](Options &o, const QString &v) { return readNumber(v, 0, WorldSize::maxRate, &o.module.world.rate); }},
    {"number-reports", nullptr,
     "Count the events gap_scan_response in themselves, from 1 on: their data begin with eight bytes 07 ff "
     "ff ff and the number, lowest byte first. The elements that no longer fit in 31 bytes are left out.",
     [](Options &o, const QString &) -> Error {
         o.module.numberReports = true;
         return {};
     }},
    {"answer-delay", "MS", "Milliseconds that a connected device takes to answer, up to 60000 (0).",
     [](Options &o, const QString &v) { return readNumber(v, 0, maxDelay, &o.module.answerDelay); }},
    {"erase-time", "MS",
     "Milliseconds that the device \"Updatable\" takes to erase a block, up to 60000 (50).",
     [](Options &o, const QString &v) { return readNumber(v, 0, maxDelay, &o.module.eraseTime); }},
    {"packet-mode", nullptr, "Take frames that are preceded by one byte, the low 8 bits of their size.",
     switchOn<&Options::packetMode>},
    {"quiet", nullptr, "Write no log, only the line that says where the port is.",
     switchOn<&Options::isQuiet>},
};

// The control lines in two columns.
QString controlLineHelp()
{
    constexpr int column = 28;
    const QString indent(column, QLatin1Char(' '));
    QString help;
    for (const ModuleProgram::ControlLine &line : ModuleProgram::controlLines()) {
        const QString usage =
            QStringLiteral("  %1 %2").arg(QLatin1String(line.name), QLatin1String(line.argument));
        help += usage.size() < column ? usage.leftJustified(column) : usage + QLatin1Char('\n') + indent;
        help += QString::fromLatin1(line.help).replace(QLatin1Char('\n'), QLatin1Char('\n') + indent);
        help += QLatin1Char('\n');
    }
    return help + QStringLiteral("  SETTING VALUE").leftJustified(column) +
           QStringLiteral("as the option of that name below, for instance \"lose 1\"\n");
}

QString description()
{
    return QStringLiteral(
               "A Bluetooth low energy module without the hardware. It opens a pseudo-terminal, publishes it "
               "for the port list, or uses the port that --port names; then it says \"ready: <path>\" and "
               "answers commands until it is interrupted.\n\n"
               "Flash, persistent store, endpoints, whitelist and local attributes are real, "
               "and around the module is a small world of remote devices that advertise, move, take "
               "connections and have attributes. A reset answers, restarts (flash, persistent store and "
               "bonds stay) and then sends the event boot. A command that is not known gets the event "
               "protocol_error with 0x0184, one of a wrong length with 0x0180.\n\n"
               "A reset with an argument other than 0 restarts into the serial bootloader, which sends the "
               "event boot of the class dfu. It takes that class, hello, get_bootloader_crc, reset and "
               "delay_reset; other commands answer 0x0181, or are not known if their response has no "
               "result. An upload goes to 0x1000 or above and erases the pages that it reaches. A reset "
               "with 0 leads back to the normal firmware, which refuses uploads with 0x0181.\n\n"
               "The device \"Updatable\" takes a firmware over the air. Its control point wants the bytes 4 "
               "(power on memory), 0 and 1 (erase the blocks), 2 (load start) and, behind the data, 3 "
               "(finish), and completes others and those out of turn with 0x0480. The connection stays open "
               "afterwards, the image until the next load start. Full buffers are played by \"--result "
               "attclient_write_command=0x0182@10\", which takes nothing in a tenth of the cases, and the "
               "same with attclient_attribute_write.\n\n"
               "\"Everything\" pairs without a passkey. \"Door lock\" shows one, always 123456 (as a "
               "typed command, sm_passkey_entry 0 1e240); \"Keypad\" wants the one that the module "
               "shows, and gets it typed at once. Both demand protection from the middle: set the "
               "module's I/O capabilities first, or pairing fails with 0x0303. It fails with 0x0304 for "
               "a wrong passkey, with 0x0185 for none in 30 seconds, and with 0x0306 if the minimum key "
               "size is above the 10 bytes of \"Keypad\". sm_delete_bonding ff deletes all bonds.\n\n"
               "One procedure runs at a time: end a discovery before you connect.\n\n"
               "Lines on standard input, while it runs:\n%1\n"
               "The options from --junk on make it misbehave. They can be combined and repeated.")
        .arg(controlLineHelp());
}

QCommandLineOption optionOf(const char *name, const char *argument, const char *help)
{
    return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help),
                              QString::fromLatin1(argument));
}

Error applyAll(const QCommandLineParser &parser, Options &options)
{
    const auto refusal = [](const QString &option, const QString &value, const QString &reason) {
        return QStringLiteral("--%1 %2: %3").arg(option, value, reason);
    };
    for (const PlainOption &option : plainOptions) {
        const QString name = QString::fromLatin1(option.name);
        if (!parser.isSet(name))
            continue;
        const QString value = option.argument ? parser.value(name) : QString();
        if (const Error error = option.apply(options, value))
            return refusal(name, value, *error);
    }
    for (const FaultSetting &setting : faultSettings()) {
        const QString name = QString::fromLatin1(setting.name);
        for (const QString &value : parser.values(name)) {
            if (const Error error = setting.apply(options.faults, value))
                return refusal(name, value, *error);
        }
    }
    return {};
}

} // namespace

ParsedOptions parseOptions(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption versionOption = parser.addVersionOption();
    for (const PlainOption &option : plainOptions)
        parser.addOption(optionOf(option.name, option.argument, option.help));
    for (const FaultSetting &setting : faultSettings())
        parser.addOption(optionOf(setting.name, setting.argument, setting.help));

    ParsedOptions parsed{ParsedOptions::refuse, {}, {}};
    if (!parser.parse(arguments)) {
        parsed.text = parser.errorText();
    } else if (parser.isSet(helpOption)) {
        parsed.outcome = ParsedOptions::showText;
        parsed.text = parser.helpText();
    } else if (parser.isSet(versionOption)) {
        parsed.outcome = ParsedOptions::showText;
        parsed.text = QStringLiteral("vorsel-module %1\n").arg(QCoreApplication::applicationVersion());
    } else if (!parser.positionalArguments().isEmpty()) {
        parsed.text = QStringLiteral("not an option: %1").arg(parser.positionalArguments().constFirst());
    } else if (const Error error = applyAll(parser, parsed.options)) {
        parsed.text = *error;
    } else {
        parsed.outcome = ParsedOptions::run;
    }
    return parsed;
}

} // namespace simulator
