// The address validator, with the cursor anywhere.

#include "fuzz.h"

#include "commandline/addressvalidator.h"

// The cursor, then the text.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    const int cursor = input.byte();
    const QString typed = QString::fromUtf8(input.rest());

    const AddressValidator validator;
    QString text = typed;
    int pos = cursor;
    const QValidator::State state = validator.validate(text, pos);
    const QString known = QStringLiteral("0123456789abcdef:");
    if (!std::all_of(typed.begin(), typed.end(), [&known](QChar c) { return known.contains(c); })) {
        REQUIRE(state == QValidator::Invalid && text == typed && pos == cursor);
        return 0;
    }
    const QString digits = QString(text).remove(u':');
    REQUIRE(digits == QString(typed).remove(u':').left(12));
    for (int i = 0; i < text.size(); ++i)
        REQUIRE((text.at(i) == u':') == (i % 3 == 2));
    REQUIRE(!text.endsWith(u':'));
    REQUIRE(digits.isEmpty() || (pos >= 0 && pos <= text.size()));
    const auto expected = digits.isEmpty()
                              ? (typed.isEmpty() ? QValidator::Intermediate : QValidator::Invalid)
                          : digits.size() == 12 ? QValidator::Acceptable
                                                : QValidator::Intermediate;
    REQUIRE(state == expected);

    // What it made of the text it leaves as it is, the cursor too.
    QString same = text;
    int samePos = pos;
    REQUIRE(typed.isEmpty() || text.isEmpty() || validator.validate(same, samePos) == state);
    REQUIRE(same == text);
    return 0;
}
