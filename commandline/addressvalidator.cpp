#include "commandline/addressvalidator.h"

namespace {

constexpr int address_digits = 12;
constexpr int complete_length = 17;

bool is_digit(QChar c)
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
        } else if (!is_digit(c)) {
            return Invalid;
        } else if (digits.size() < address_digits) {
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
    return input.size() >= complete_length ? Acceptable : Intermediate;
}
