#include "logview/logview.h"

#include "logview/flowchart.h"
#include "logview/logdocument.h"
#include "logview/logline.h"

#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QMimeData>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTextCursor>
#include <QTimerEvent>

namespace {
// Characters. The text engine takes gigabytes for a million lines at once, and time by the square of the
// count of elements left open, so a long log goes through it in portions. An element left open ends with its
// portion.
constexpr int copyPortion = 1 << 18;

// Characters, about what a string can hold. The newest lines are copied as far as they fit.
constexpr qint64 copyMax = 1'000'000'000;

const QLatin1String entryEnd("<br />");

// To lay out, scroll and paint costs far more than to store a line. So only the first layouts after a quiet
// moment happen at once, for a command and for its answer, and those of a burst once per interval.
constexpr qint64 layoutInterval = 40; // ms
constexpr int maxLayoutsAtOnce = 2;

double emptyLineHeight()
{
    return LogLine().boundingRect().height();
}

QString lineHtml(const QStringList &entry)
{
    if (entry.size() > 1)
        return entry.first() + entry.mid(1).join(QLatin1Char(' '));
    const QLatin1String lineEnd("<br>");
    const QString &html = entry.first();
    return html.endsWith(lineEnd) ? html.chopped(lineEnd.size()) : html;
}

qint64 copiedSize(const QStringList &entry)
{
    qint64 size = entry.size() - 1 + entryEnd.size();
    for (const QString &field : entry)
        size += field.size();
    return size;
}

struct Extent
{
    int first; // the oldest line to copy
    int chars; // what the lines come to
};

Extent extentToCopy(const QList<QStringList> &lines, qint64 (*sizeOf)(const QStringList &))
{
    qint64 sum = 0;
    int first = lines.size();
    for (; first > 0; --first) {
        const qint64 size = sizeOf(lines.at(first - 1));
        if (sum + size > copyMax)
            break;
        sum += size;
    }
    return {first, int(sum)};
}

// A scene outlives its view, to the end of the process.
void keepScene(QGraphicsScene *scene)
{
    static auto *const kept = new QList<QGraphicsScene *>;
    kept->append(scene);
}
} // namespace

LogView::LogView(QWidget *parent)
    : QGraphicsView(parent)
    , meter(QApplication::font())
    , sizes(emptyLineHeight())
{
    startScene();
    setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    verticalScrollBar()->installEventFilter(this);
    horizontalScrollBar()->installEventFilter(this);
    sinceLayout.start();
}

LogView::~LogView()
{
    keepScene(scene);
}

void LogView::startScene()
{
    scene = new QGraphicsScene;
    // A few dozen items that come and go: an index would cost more than it finds.
    scene->setItemIndexMethod(QGraphicsScene::NoIndex);
    connect(scene, &QGraphicsScene::focusItemChanged, this, [this](const QGraphicsItem *focus) {
        if (focus)
            lastFocus = focus;
    });
    setScene(scene);
}

void LogView::clearLog()
{
    QGraphicsScene *const old = scene;
    old->disconnect(this);
    shown.clear();
    sizes.clear();
    lastFocus = nullptr;
    line_store.clear();
    startScene();
    // An item that is pressed may be inside a drag's own event loop, and go on when that returns.
    if (old->mouseGrabberItem())
        keepScene(old);
    else
        delete old;
}

void LogView::scroll(bool on)
{
    layOutIfRequested(); // lines that are already stored follow the old setting
    auto_scroll = on;
}

void LogView::copy()
{
    const auto [first, chars] = extentToCopy(line_store, copiedSize);
    QString html;
    html.reserve(chars);
    QString text;
    int portion = 0;
    const auto portionDone = [&] {
        LogDocument document;
        document.setUndoRedoEnabled(false);
        document.setHtml(html.mid(portion));
        text += document.toPlainText();
        portion = html.size();
    };
    for (int i = first; i < line_store.size(); ++i) {
        html += line_store.at(i).join(QLatin1Char(' '));
        html += entryEnd;
        if (html.size() - portion >= copyPortion)
            portionDone();
    }
    portionDone();

    auto *mime = new QMimeData;
    mime->setHtml(html);
    mime->setText(text);
    QApplication::clipboard()->setMimeData(mime, QClipboard::Clipboard);
}

void LogView::copyFlowChart()
{
    QString chart;
    const auto [first, chars] = extentToCopy(line_store, chartSize);
    chart.reserve(chars);
    for (int i = first; i < line_store.size(); ++i)
        appendToChart(chart, line_store.at(i));

    auto *mime = new QMimeData;
    mime->setText(chart);
    QApplication::clipboard()->setMimeData(mime, QClipboard::Clipboard);
}

void LogView::updateScene(const QList<QRectF> &rects)
{
    QGraphicsView::updateScene(rects);
    if (auto_scroll && !movingLines)
        followNewest();
}

void LogView::followNewest()
{
    ensureVisible(QRectF(0, scene->sceneRect().height(), 0, 0), 50, 50);
}

void LogView::addLine(const QString &timestamp, const QString &log)
{
    const QLatin1String end("<br>");
    QString html;
    html.reserve(timestamp.size() + log.size() + end.size());
    html += timestamp;
    html += log;
    html += end;
    addEntry({html});
}

void LogView::addLine(const QString &timestamp, const QStringList &log)
{
    QStringList entry;
    entry.reserve(1 + log.size());
    entry += timestamp;
    entry += log;
    addEntry(entry);
}

void LogView::addEntry(const QStringList &entry)
{
    sizes.addGuess(line_store.size(), meter.guess(entry.size() > 1 ? entry : QStringList(lineHtml(entry))));
    line_store.append(entry);
    followDue = true;
    requestLayout();
}

void LogView::requestLayout()
{
    if (layoutTimer.isActive())
        return;
    const qint64 elapsed = sinceLayout.elapsed();
    layoutsAtOnce = elapsed >= layoutInterval ? 1 : layoutsAtOnce + 1;
    layoutTimer.start(layoutsAtOnce <= maxLayoutsAtOnce ? 0 : int(layoutInterval - elapsed), this);
}

void LogView::layOutIfRequested()
{
    if (layoutTimer.isActive())
        layOut();
}

void LogView::layOut()
{
    layoutTimer.stop();
    sinceLayout.start();
    const bool follows = followDue && auto_scroll;
    {
        const QScopedValueRollback<bool> moving(movingLines, true);
        for (const int index : sizes.takeUnmeasured())
            showLine(index);
        scene->setSceneRect(extent());
        if (follows)
            followNewest();
        followDue = false;
    }
    showLines();
    if (layoutTimer.isActive()) // a line was found to be larger than guessed: the end has moved
        followDue = follows;
}

void LogView::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == layoutTimer.timerId())
        layOut();
    else
        QGraphicsView::timerEvent(event);
}

// Filters both scroll bars, to which the view forwards wheel events. What is stored is laid out before the
// user scrolls; a layout after that would pull the view back to the end.
bool LogView::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel: layOutIfRequested(); break;
    default: break;
    }
    return QGraphicsView::eventFilter(watched, event);
}

void LogView::keyPressEvent(QKeyEvent *event)
{
    layOutIfRequested();
    QGraphicsView::keyPressEvent(event);
}

void LogView::showLines()
{
    if (movingLines || line_store.isEmpty())
        return;
    const QScopedValueRollback<bool> moving(movingLines, true);
    const QRectF area = mapToScene(viewport()->rect()).boundingRect();
    const int first = sizes.lineAt(area.top(), line_store.size());
    const int last = sizes.lineAt(area.bottom(), line_store.size());

    dropLinesOutside(first, last);
    for (int i = first; i <= last; ++i)
        showLine(i);
    for (const int index : sizes.reachingPast(first, area.top()))
        showLine(index);
    qDeleteAll(spare);
    spare.clear();

    // The scene tells of changes by queued calls; these are taken here, while they are known as no one
    // else's.
    QCoreApplication::sendPostedEvents(scene, QEvent::MetaCall);
    if (scene->sceneRect() != extent())
        requestLayout();
}

void LogView::dropLinesOutside(int first, int last)
{
    const int page = last - first + 1;
    for (auto at = shown.begin(); at != shown.end();) {
        const auto [index, line] = *at;
        const bool isNear = index >= first - page && index <= last + page;
        if (isNear || line == lastFocus || line->textCursor().hasSelection()) {
            ++at;
        } else {
            spare.push_back(line);
            at = shown.erase(at);
        }
    }
}

void LogView::showLine(int index)
{
    LogLine *&line = shown[index];
    if (line)
        return;
    if (spare.empty()) {
        line = new LogLine;
        scene->addItem(line);
    } else {
        line = spare.back();
        spare.pop_back();
    }
    line->setLine(lineHtml(line_store.at(index)));
    line->setPos(0, sizes.top(index));
    // Lines are made in any order, but a later one is drawn over an earlier one.
    line->setZValue(index);
    sizes.setSize(index, line->boundingRect().size());
}

void LogView::resizeEvent(QResizeEvent *event)
{
    QGraphicsView::resizeEvent(event);
    layOutIfRequested();
    showLines();
}

void LogView::scrollContentsBy(int dx, int dy)
{
    QGraphicsView::scrollContentsBy(dx, dy);
    showLines();
}
