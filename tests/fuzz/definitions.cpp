// Definition files, then lines that are typed by the names in them.

#include "tooltip.h"

namespace {

// Of a large model a few commands only.
void typeCommands(const CommandParser &parser)
{
    int left = 20;
    for (const ApiClass &group : parser.classes) {
        REQUIRE(group.commands.size() == group.responses.size());
        for (const ApiMessage &command : group.commands) {
            if (left-- == 0)
                return;
            QString line = group.name + QLatin1Char('_') + command.name;
            parseChecked(parser, line);
            for (int i = 0; i < command.params.size() && i < 20; ++i)
                line += QLatin1String(i % 2 == 0 ? " 12" : " <b>");
            parseChecked(parser, line);
            parseChecked(parser, parser.device_name + QLatin1String("_cmd_") + line);
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const QString path = inMemoryFile(Input(data, size).rest());
    CommandParser parser;
    int complaints = 0;
    QObject::connect(&parser, &CommandParser::log_message, [&complaints] { ++complaints; });
    const int result = parser.loadDefinitions(path);
    REQUIRE((result == 0 || result == -1) && complaints == -result);
    REQUIRE(result == 0 || (parser.classes.isEmpty() && parser.constants.isEmpty()));
    typeCommands(parser);
    for (const char *line : {"", "00000001", "0a", "ble_cmd_system_hello", "_ 1", "zz"})
        parseChecked(parser, QString::fromLatin1(line));

    // A second time adds the classes once more, or nothing.
    const int before = parser.classes.size();
    REQUIRE(parser.loadDefinitions(path) == result && parser.classes.size() == 2 * before);
    return 0;
}
