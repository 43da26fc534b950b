#pragma once

#include <QBasicTimer>
#include <QLabel>

// A label for a text that changes thousands of times a second: it has each one at once, but shows at most 50
// a second, the last one always. To paint takes longer than the exchange of a command that the text tells of.
class PacedLabel : public QLabel
{
public:
    using QLabel::QLabel;

    void setText(const QString &text);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    QBasicTimer pause; // runs from one text that is shown at once to the next that is
    bool isBehind = false;
};
