#pragma once

#include "logview/linemeter.h"
#include "logview/linesizes.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QList>
#include <QStringList>

#include <map>
#include <vector>

class LogLine;

// The scrolling log: a text item a line, one under the other at a fixed pitch, and a store of all lines.
// Only lines in view or near it, and those with a selection or the focus, have their item at a time; to the
// user it is as if all had. The log has no limit; only clearLog() drops lines.
class LogView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit LogView(QWidget *parent = nullptr);
    ~LogView() override;

    // Empties the log. Whether the view follows new lines stays as it is.
    void clearLog();

    QGraphicsScene *scene = nullptr;

    // All lines, oldest first: {timestamp + text + "<br>"} or {timestamp, piece, piece...}. To read only.
    QList<QStringList> line_store;

    bool auto_scroll = true; // whether the view follows the newest line

public Q_SLOTS:
    // Sets whether the view follows the newest line. Lines that are stored follow the old setting, so turning
    // it on moves nothing until the next line.
    void scroll(bool on);

    // Puts the whole log on the clipboard, as HTML and as plain text.
    void copy();

    // Puts the log's decoded messages on the clipboard as the source of a sequence diagram: host "A", module
    // "B". Other lines are left out.
    void copyFlowChart();

    // Hears what changed in the scene, in place of the slot of this name in QGraphicsView.
    void updateScene(const QList<QRectF> &rects);

    // Adds a line at the end: HTML, the timestamp too. A list is shown with its pieces joined with one blank.
    // Stored at once, and shown in the next turn of the event loop, in a burst within 40 ms.
    void addLine(const QString &timestamp, const QString &log);
    void addLine(const QString &timestamp, const QStringList &log);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    void startScene();
    void addEntry(const QStringList &entry);

    void requestLayout();
    void layOutIfRequested();
    void layOut();
    void followNewest();
    QRectF extent() const { return sizes.extent(line_store.size()); }

    void showLines();
    void dropLinesOutside(int first, int last);
    void showLine(int index);

    LineMeter meter;
    LineSizes sizes;

    std::map<int, LogLine *> shown; // by line; owned by the scene
    std::vector<LogLine *> spare;   // of dropped lines, for the next ones; empty outside of showLines()

    const QGraphicsItem *lastFocus = nullptr; // the line last pressed, even after the view lost the focus
    QBasicTimer layoutTimer;                  // runs while a layout is requested
    QElapsedTimer sinceLayout;
    int layoutsAtOnce = 0;    // since the last quiet moment
    bool followDue = false;   // lines came since the last layout
    bool movingLines = false; // items come and go with the scrolling: no change of the log
};
