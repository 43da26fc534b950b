#pragma once

#include <QLabel>

// A label for plain text of any length and content, such as a remote device sends. It shows one line, cut
// with "…" where the room ends, and asks for the same room whatever its text is, so a new text is cheap. A
// control character, or one that turns the direction of others, is shown as U+FFFD; text() keeps it.
class OneLineLabel : public QLabel
{
public:
    using QLabel::QLabel;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
};
