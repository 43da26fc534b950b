#include "simulator/wire/parsing.h"

#include "protocol/conversions.h"

#include <QRegularExpression>

namespace simulator {
namespace {

bool matches(const QString &text, const QString &pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

} // namespace

QString spacedHex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' '));
}

std::optional<QByteArray> bytesFromHex(QString text)
{
    text.remove(QRegularExpression(QStringLiteral("\\s")));
    if (text.size() % 2 != 0 || !matches(text, QStringLiteral("[0-9a-fA-F]*")))
        return std::nullopt;
    return QByteArray::fromHex(text.toLatin1());
}

std::optional<bd_addr> addressFromText(const QString &text)
{
    if (!matches(text, QStringLiteral("([0-9a-fA-F]{2}:){5}[0-9a-fA-F]{2}")))
        return std::nullopt;
    return address_from_text(text);
}

Error readNumber(const QString &text, int min, int max, int *number)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < min || value > max)
        return QStringLiteral("a number from %1 to %2 was expected").arg(min).arg(max);
    *number = value;
    return {};
}

} // namespace simulator
