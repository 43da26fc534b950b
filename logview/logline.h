#pragma once

#include <QGraphicsTextItem>

// One line of the log on show: selectable by mouse and keyboard, not editable.
class LogLine : public QGraphicsTextItem
{
    Q_OBJECT

public:
    LogLine();

    // Shows `html` in place of what was there. Does as setHtml(), but without looking after the text cursor,
    // which costs as much as the text.
    void setLine(const QString &html);
};
