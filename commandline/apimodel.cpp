#include "commandline/apimodel.h"

#include "commandline/addressvalidator.h"

#include <algorithm>
#include <iterator>

const ApiType apiTypes[] = {
    {"invalid", apiInvalid, 0},
    {"uint8", apiUint8, 1},
    {"int8", apiInt8, 1},
    {"uint16", apiUint16, 2},
    {"int16", apiInt16, 2},
    {"uint32", apiUint32, 4},
    {"int32", apiInt32, 4},
    {"uint8array", apiUint8array, 0},
    {"string", apiString, 0},
    {"hwaddr", apiAddress, 6},
    {"bd_addr", apiAddress, 6},
    {"ipv4", apiIpv4, 4},
    {"", 0, 0},
};

namespace {

constexpr int rowCount = int(std::size(apiTypes)) - 1;

char lowByte(int value)
{
    return char(value & 0xff);
}

QByteArray littleEndian(int value, int width)
{
    QByteArray bytes;
    for (int i = 0; i < width; ++i)
        bytes += lowByte(value >> (8 * i));
    return bytes;
}

QString typeName(int code)
{
    return QString::fromLatin1(apiTypeRow(code).name);
}

QString unparsable(const QString &text, const QString &kind)
{
    return QStringLiteral("unable parse argument '%1' as %2").arg(text.toHtmlEscaped(), kind);
}

QByteArray parseNumber(int type, int base, const QString &text, QString &message)
{
    bool ok = false;
    const int value = text.toInt(&ok, base);
    if (!ok) {
        message += unparsable(text, typeName(type));
        return {};
    }
    return littleEndian(value, apiTypeRow(type).width);
}

QByteArray parseArray(const QString &text)
{
    QByteArray bytes = QByteArray::fromHex(text.toLatin1());
    bytes.prepend(lowByte(bytes.size()));
    return bytes;
}

QByteArray parseAddress(QString &text, QString &message)
{
    int cursor = 0;
    if (AddressValidator().validate(text, cursor) != QValidator::Acceptable) {
        message += unparsable(text, QStringLiteral("address"));
        return {};
    }
    QByteArray bytes = QByteArray::fromHex(text.toLatin1());
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

} // namespace

int apiTypeCode(const QString &name)
{
    for (int row = 0; row < rowCount; ++row) {
        if (name == QLatin1String(apiTypes[row].name))
            return apiTypes[row].code;
    }
    return apiUint8;
}

const ApiType &apiTypeRow(int code)
{
    return apiTypes[code < 0 || code > rowCount ? rowCount : code];
}

QString htmlOf(const QString &text)
{
    const QString escaped = text.toHtmlEscaped();
    return escaped == text ? text : QStringLiteral("<qt>%1</qt>").arg(escaped);
}

QByteArray ApiParam::parseArgument(QString &text, QString &message) const
{
    switch (type) {
    case apiUint8:
    case apiUint16:
    case apiUint32: return parseNumber(type, 16, text, message);
    case apiInt8:
    case apiInt16:
    case apiInt32: return parseNumber(type, 10, text, message);
    case apiUint8array:
    case apiString: return parseArray(text);
    case apiAddress: return parseAddress(text, message);
    default: return {};
    }
}

QByteArray ApiMessage::buildCommand(QStringList &args, QString &message) const
{
    const int count = params.size();
    const bool optionalArray = count > 0 && params.last().type == apiUint8array;

    message += QStringLiteral("<nobr>%1</nobr><br>").arg(commandHelp());
    if (optionalArray) {
        if (args.size() == count - 1)
            args += QString();
        if (args.size() != count) {
            message += QStringLiteral("Command requires %1 or %2 arguments").arg(count - 1).arg(count);
            return {};
        }
    } else if (args.size() != count) {
        message += QStringLiteral("Command requires exactly %1 arguments").arg(count);
        return {};
    }

    QByteArray payload;
    for (int i = 0; i < count; ++i) {
        const QByteArray bytes = params.at(i).parseArgument(args[i], message);
        if (bytes.isEmpty())
            return {};
        payload += bytes;
    }

    QByteArray packet(1, 0);
    packet += lowByte(payload.size());
    packet += lowByte(class_index);
    packet += lowByte(index);
    packet += payload;
    return packet;
}

QString ApiMessage::commandHelp() const
{
    QString help = QStringLiteral("<b>%1</b>").arg(full_name.toHtmlEscaped());
    for (const ApiParam &param : params)
        help += QStringLiteral(" <b>%1</b>:%2").arg(param.name.toHtmlEscaped(), typeName(param.type));
    return help;
}

QByteArray ApiClass::findCommand(const QString &command, QStringList &args, QString &message) const
{
    const auto found = std::find_if(commands.cbegin(), commands.cend(),
                                    [&](const ApiMessage &candidate) { return candidate.name == command; });
    if (found != commands.cend())
        return found->buildCommand(args, message);
    if (!command.isEmpty())
        message += htmlOf(QStringLiteral("Command '%1' not found in class '%2'").arg(command, name));
    return {};
}
