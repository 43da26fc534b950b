// Typed lines, with the program's own definition file and with none.

#include "tooltip.h"

namespace {

// A packet, typed in hexadecimal, comes out as it went in; its length is compared as a signed byte.
void typeTwice(const CommandParser &parser, const QString &line)
{
    const QByteArray packet = parseChecked(parser, line);
    const QByteArray again = parseChecked(parser, QString::fromLatin1(packet.toHex()));
    REQUIRE(again == (packet.size() <= 4 + 127 ? packet : QByteArray()));
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    static CommandParser loaded, empty;
    static const int result = loaded.loadDefinitions(QStringLiteral(VORSEL_DEFINITION_FILE));
    REQUIRE(result == 0);
    const QString line = QString::fromUtf8(Input(data, size).rest());
    typeTwice(loaded, line);
    typeTwice(empty, line);
    return 0;
}
