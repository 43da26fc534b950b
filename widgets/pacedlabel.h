#pragma once

#include <QLabel>

// A label for a text that changes thousands of times a second: it takes each one, but paints at most 50 times
// a second, the last one always. A paint takes longer than the exchange of a command that it tells of.
class PacedLabel : public QLabel
{
public:
    using QLabel::QLabel;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString painted;
};
