#pragma once

#include <QScrollArea>

// A scroll area for a content that is laid out by itself: asks for the room to show it whole, as if it did
// not scroll, unless the screen has less.
class FittingScrollArea : public QScrollArea
{
public:
    using QScrollArea::QScrollArea;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    QSize fitting(QSize whole) const;
};
