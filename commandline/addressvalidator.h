#pragma once

#include <QValidator>

// Keeps a text in the form of six lower-case hexadecimal pairs joined by colons ("00:07:80:aa:bb:cc").
class AddressValidator : public QValidator
{
    Q_OBJECT

public:
    using QValidator::QValidator;

    // Rewrites `input` into its colon form, at most 12 digits, and moves `pos` with the text around it.
    // Acceptable only with all 12 digits. A character that is neither a lower-case hexadecimal digit nor a
    // colon gives Invalid and leaves both arguments alone.
    State validate(QString &input, int &pos) const override;
};
