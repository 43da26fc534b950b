#include "commandline/addressvalidator.h"

namespace {

constexpr int addressDigits = 12;
constexpr int completeLength = 17;

bool isDigit(QChar c)
{
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f');
}

} // namespace

QValidator::State AddressValidator::validate(QString &input, int &pos) const
{
    if (input.isEmpty())
        return Intermediate;

    QString digits;
    int cursor = pos;
    for (int i = 0; i < input.size(); ++i) {
        const QChar c = input.at(i);
        if (c == u':') {
            if (i < pos)
                --cursor;
        } else if (!isDigit(c)) {
            return Invalid;
        } else if (digits.size() < addressDigits) {
            digits += c;
        }
    }

    input = digits;
    pos = cursor;
    if (digits.isEmpty())
        return Invalid;

    const int colons = (digits.size() - 1) / 2;
    for (int i = 0; i < colons; ++i) {
        const int at = 3 * i + 2;
        input.insert(at, u':');
        if (at < pos)
            ++pos;
    }
    pos = qMin(pos, input.size());
    return input.size() >= completeLength ? Acceptable : Intermediate;
}
