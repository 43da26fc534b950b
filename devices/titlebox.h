#pragma once

#include <QGroupBox>

// A group box that shows its title whole. The style leaves room for the ink of the letters at rounded widths,
// a few pixels short for an address at some font sizes, and so cuts its last digit.
class TitleBox : public QGroupBox
{
public:
    using QGroupBox::QGroupBox;

protected:
    void paintEvent(QPaintEvent *event) override;
};
