#include "simulator/options.h"

#include "simulator/catalogue.h"
#include "simulator/controlinput.h"
#include "simulator/misbehaviour.h"
#include "simulator/modulelink.h"

#include <QCommandLineParser>

#include <optional>

namespace simulator {
namespace {

// An option that is no misbehaviour. `apply` gives an error text that names what was expected, or nothing.
struct PlainOption
{
    const char *name;
    const char *argument; // null for a switch
    const char *help;
    std::optional<QString> (*apply)(Options &target, const QString &value);
};

std::optional<QString> setAddress(Options &target, const QString &value)
{
    const auto address = addressFromText(value);
    if (!address)
        return QStringLiteral("six pairs of hex digits with \":\" between were expected");
    target.identity.address = *address;
    return std::nullopt;
}

std::optional<QString> setNumber(int &target, const QString &value, int most)
{
    bool ok = false;
    target = value.toInt(&ok);
    if (ok && target >= 0 && target <= most)
        return std::nullopt;
    return QStringLiteral("a number from 0 to %1 was expected").arg(most);
}

const PlainOption plainOptions[] = {
    {"name", "NAME", ModuleLink::help.name,
     [](Options &o, const QString &v) -> std::optional<QString> {
         o.name = v;
         if (v.isEmpty() || v.startsWith(QLatin1Char('.')) || v.contains(QLatin1Char('/')) ||
             v.toUtf8().size() > 240)
             return QStringLiteral("a file name of at most 240 bytes with no leading dot was expected");
         return std::nullopt;
     }},
    {"port", "PATH", ModuleLink::help.port,
     [](Options &o, const QString &v) -> std::optional<QString> {
         o.port = v;
         return v.isEmpty() ? std::optional(QStringLiteral("a path was expected")) : std::nullopt;
     }},
    {"speed", "BAUD", "Speed of that port (115200).",
     [](Options &o, const QString &v) -> std::optional<QString> {
         bool ok = false;
         o.speed = v.toInt(&ok);
         return ok && o.speed > 0 ? std::nullopt : std::optional(QStringLiteral("a speed was expected"));
     }},
    {"seed", "N", "Seed of all that is made up or left to chance (1).",
     [](Options &o, const QString &v) -> std::optional<QString> {
         bool ok = false;
         o.identity.seed = v.toUInt(&ok, 0);
         return ok ? std::nullopt
                   : std::optional(QStringLiteral("a number from 0 to 4294967295 was expected"));
     }},
    {"address", "ADDRESS", "Device address (c0:01:02:03:04:05).", setAddress},
    {"devices", "N", "Number of remote devices up to 500, the made ones first, then plain ones (20).",
     [](Options &o, const QString &v) { return setNumber(o.identity.world.devices, v, WorldSize::most); }},
    {"rate", "N",
     "Advertisements a second of all devices together, up to 10000, or 0: each at its own interval (0).",
     [](Options &o, const QString &v) { return setNumber(o.identity.world.rate, v, WorldSize::fastest); }},
    {"number-reports", nullptr,
     "Count the events gap_scan_response in themselves, from 1 on: their data begin with eight bytes 07 ff "
     "ff ff "
     "and the number, lowest byte first. The elements that no longer fit in 31 bytes are left out.",
     [](Options &o, const QString &) -> std::optional<QString> {
         o.identity.numberReports = true;
         return std::nullopt;
     }},
    {"answer-delay", "MS", "Milliseconds that a connected device takes to answer, up to 60000 (0).",
     [](Options &o, const QString &v) { return setNumber(o.identity.answerDelay, v, 60000); }},
    {"erase-time", "MS", "Milliseconds that the device \"Updatable\" takes to erase a block (50).",
     [](Options &o, const QString &v) { return setNumber(o.identity.eraseTime, v, 60000); }},
    {"packet-mode", nullptr, "Take frames that are preceded by one byte, the low 8 bits of their size.",
     [](Options &o, const QString &) -> std::optional<QString> {
         o.packetMode = true;
         return std::nullopt;
     }},
    {"quiet", nullptr, "Write no log, only the line that says where the port is.",
     [](Options &o, const QString &) -> std::optional<QString> {
         o.quiet = true;
         return std::nullopt;
     }},
};

QString description()
{
    return QStringLiteral(
               "A Bluetooth low energy module without the hardware. It %1 and answers commands until it is "
               "interrupted.\n\n"
               "Flash, persistent store, registers, endpoints, AES, whitelist and local attributes are real, "
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
               "Lines on standard input, while it runs:\n%2\n"
               "The options from --junk on make it misbehave. They can be combined and repeated.")
        .arg(QString::fromLatin1(ModuleLink::help.start), ControlInput::help());
}

QCommandLineOption optionOf(const char *name, const char *argument, const char *help)
{
    return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help),
                              QString::fromLatin1(argument));
}

std::optional<QString> applyAll(const QCommandLineParser &parser, Options &options)
{
    const auto refusal = [](const QString &option, const QString &value, const QString &reason) {
        return QStringLiteral("--%1 %2: %3").arg(option, value, reason);
    };
    for (const PlainOption &option : plainOptions) {
        const QString name = QString::fromLatin1(option.name);
        if (!parser.isSet(name))
            continue;
        const QString value = option.argument ? parser.value(name) : QString();
        if (const auto error = option.apply(options, value))
            return refusal(name, value, *error);
    }
    Misbehaviour trial(0);
    for (const Misbehaviour::Setting &setting : Misbehaviour::settings()) {
        const QString name = QString::fromLatin1(setting.name);
        for (const QString &value : parser.values(name)) {
            if (const auto error = setting.apply(trial, value))
                return refusal(name, value, *error);
            options.misbehaviour.append({name, value});
        }
    }
    return std::nullopt;
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
    for (const Misbehaviour::Setting &setting : Misbehaviour::settings())
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
    } else if (const auto error = applyAll(parser, parsed.options)) {
        parsed.text = *error;
    } else {
        parsed.outcome = ParsedOptions::run;
    }
    return parsed;
}

} // namespace simulator
