#include "commandline/apimodel.h"

#include "commandline/addressvalidator.h"

#include <algorithm>
#include <iterator>

const ApiType api_types[] = {
    {"invalid", api_invalid, 0},
    {"uint8", api_uint8, 1},
    {"int8", api_int8, 1},
    {"uint16", api_uint16, 2},
    {"int16", api_int16, 2},
    {"uint32", api_uint32, 4},
    {"int32", api_int32, 4},
    {"uint8array", api_uint8array, 0},
    {"string", api_string, 0},
    {"hwaddr", api_address, 6},
    {"bd_addr", api_address, 6},
    {"ipv4", api_ipv4, 4},
    {"", 0, 0},
};

namespace {

constexpr int row_count = static_cast<int>(std::size(api_types)) - 1;

char low_byte(int value)
{
    return static_cast<char>(value & 0xff);
}

QByteArray little_endian(int value, int width)
{
    QByteArray bytes;
    for (int i = 0; i < width; ++i)
        bytes += low_byte(value >> (8 * i));
    return bytes;
}

QString type_name(int code)
{
    return QString::fromLatin1(api_type_row(code).name);
}

QString unparsable(const QString &text, const QString &kind)
{
    return QStringLiteral("unable parse argument '%1' as %2").arg(text.toHtmlEscaped(), kind);
}

QByteArray parse_number(int type, int base, const QString &text, QString &message)
{
    bool ok = false;
    const int value = text.toInt(&ok, base);
    if (!ok) {
        message += unparsable(text, type_name(type));
        return {};
    }
    return little_endian(value, api_type_row(type).width);
}

QByteArray parse_array(const QString &text)
{
    QByteArray bytes = QByteArray::fromHex(text.toLatin1());
    bytes.prepend(low_byte(bytes.size()));
    return bytes;
}

QByteArray parse_address(QString &text, QString &message)
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

int api_type_code(const QString &name)
{
    for (int row = 0; row < row_count; ++row) {
        if (name == QLatin1String(api_types[row].name))
            return api_types[row].code;
    }
    return api_uint8;
}

const ApiType &api_type_row(int code)
{
    return api_types[code < 0 || code > row_count ? row_count : code];
}

QString html_of(const QString &text)
{
    const QString escaped = text.toHtmlEscaped();
    return escaped == text ? text : QStringLiteral("<qt>%1</qt>").arg(escaped);
}

QByteArray ApiParam::parseArgument(QString &text, QString &message) const
{
    switch (type) {
    case api_uint8:
    case api_uint16:
    case api_uint32: return parse_number(type, 16, text, message);
    case api_int8:
    case api_int16:
    case api_int32: return parse_number(type, 10, text, message);
    case api_uint8array:
    case api_string: return parse_array(text);
    case api_address: return parse_address(text, message);
    default: return {};
    }
}

QByteArray ApiMessage::buildCommand(QStringList &args, QString &message) const
{
    const int count = params.size();
    const bool optional_array = count > 0 && params.last().type == api_uint8array;

    message += QStringLiteral("<nobr>%1</nobr><br>").arg(commandHelp());
    if (optional_array) {
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
    packet += low_byte(payload.size());
    packet += low_byte(class_index);
    packet += low_byte(index);
    packet += payload;
    return packet;
}

QString ApiMessage::commandHelp() const
{
    QString help = QStringLiteral("<b>%1</b>").arg(full_name.toHtmlEscaped());
    for (const ApiParam &param : params)
        help += QStringLiteral(" <b>%1</b>:%2").arg(param.name.toHtmlEscaped(), type_name(param.type));
    return help;
}

QByteArray ApiClass::findCommand(const QString &command, QStringList &args, QString &message) const
{
    const auto found = std::find_if(commands.cbegin(), commands.cend(),
                                    [&](const ApiMessage &candidate) { return candidate.name == command; });
    if (found != commands.cend())
        return found->buildCommand(args, message);
    if (!command.isEmpty())
        message += html_of(QStringLiteral("Command '%1' not found in class '%2'").arg(command, name));
    return {};
}
