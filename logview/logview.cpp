#include "logview/logview.h"

#include "logview/flowchart.h"
#include "logview/logdocument.h"
#include "logview/logline.h"

#include <QApplication>
#include <QClipboard>
#include <QEvent>
#include <QMimeData>
#include <QScopedValueRollback>
#include <QTextCursor>

namespace {
// Characters. The text engine takes gigabytes for a million lines at once, and time by the square of the
// count of elements left open, so a long log goes through it in portions. An element left open ends with its
// portion.
constexpr int copy_portion = 1 << 18;

// Characters, about what a string can hold. The newest lines are copied as far as they fit.
constexpr qint64 copy_max = 1'000'000'000;

const QLatin1String entry_end("<br />");

double empty_line_height()
{
    return LogLine().boundingRect().height();
}

QString line_html(const QStringList &entry)
{
    if (entry.size() > 1)
        return entry.first() + entry.mid(1).join(QLatin1Char(' '));
    const QLatin1String line_end("<br>");
    const QString &html = entry.first();
    return html.endsWith(line_end) ? html.chopped(line_end.size()) : html;
}

qint64 copied_size(const QStringList &entry)
{
    qint64 size = entry.size() - 1 + entry_end.size();
    for (const QString &field : entry)
        size += field.size();
    return size;
}

struct Extent
{
    int first; // the oldest line to copy
    int chars; // what the lines come to
};

Extent extent_to_copy(const QList<QStringList> &lines, qint64 (*size_of)(const QStringList &))
{
    qint64 sum = 0;
    int first = lines.size();
    for (; first > 0; --first) {
        const qint64 size = size_of(lines.at(first - 1));
        if (sum + size > copy_max)
            break;
        sum += size;
    }
    return {first, static_cast<int>(sum)};
}

// A scene outlives its view, to the end of the process.
void keep_scene(QGraphicsScene *scene)
{
    static auto *const kept = new QList<QGraphicsScene *>;
    kept->append(scene);
}
} // namespace

LogView::LogView(QWidget *parent)
    : QGraphicsView(parent)
    , meter(QApplication::font())
    , sizes(empty_line_height())
{
    start_scene();
    setAlignment(Qt::AlignLeft | Qt::AlignBottom);
}

LogView::~LogView()
{
    keep_scene(scene);
}

void LogView::start_scene()
{
    scene = new QGraphicsScene;
    // A few dozen items that come and go: an index would cost more than it finds.
    scene->setItemIndexMethod(QGraphicsScene::NoIndex);
    connect(scene, &QGraphicsScene::focusItemChanged, this, [this](const QGraphicsItem *focus) {
        if (focus)
            last_focus = focus;
    });
    setScene(scene);
}

void LogView::clearLog()
{
    QGraphicsScene *const old = scene;
    old->disconnect(this);
    shown.clear();
    sizes.clear();
    last_focus = nullptr;
    line_store.clear();
    start_scene();
    // An item that is pressed may be inside a drag's own event loop, and go on when that returns.
    if (old->mouseGrabberItem())
        keep_scene(old);
    else
        delete old;
}

void LogView::scroll(bool on)
{
    auto_scroll = on;
}

void LogView::copy()
{
    const auto [first, chars] = extent_to_copy(line_store, copied_size);
    QString html;
    html.reserve(chars);
    QString text;
    int portion = 0;
    const auto portion_done = [&] {
        LogDocument document;
        document.setUndoRedoEnabled(false);
        document.setHtml(html.mid(portion));
        text += document.toPlainText();
        portion = html.size();
    };
    for (int i = first; i < line_store.size(); ++i) {
        html += line_store.at(i).join(QLatin1Char(' '));
        html += entry_end;
        if (html.size() - portion >= copy_portion)
            portion_done();
    }
    portion_done();

    auto *mime = new QMimeData;
    mime->setHtml(html);
    mime->setText(text);
    QApplication::clipboard()->setMimeData(mime, QClipboard::Clipboard);
}

void LogView::copyFlowChart()
{
    QString chart;
    const auto [first, chars] = extent_to_copy(line_store, chart_size);
    chart.reserve(chars);
    for (int i = first; i < line_store.size(); ++i)
        append_to_chart(chart, line_store.at(i));

    auto *mime = new QMimeData;
    mime->setText(chart);
    QApplication::clipboard()->setMimeData(mime, QClipboard::Clipboard);
}

void LogView::updateScene(const QList<QRectF> &rects)
{
    QGraphicsView::updateScene(rects);
    if (auto_scroll && !moving_lines)
        follow_newest();
}

void LogView::follow_newest()
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
    add_entry({html});
}

void LogView::addLine(const QString &timestamp, const QStringList &log)
{
    QStringList entry;
    entry.reserve(1 + log.size());
    entry += timestamp;
    entry += log;
    add_entry(entry);
}

void LogView::add_entry(const QStringList &entry)
{
    sizes.addGuess(line_store.size(), meter.guess(entry.size() > 1 ? entry : QStringList(line_html(entry))));
    line_store.append(entry);
    follow_due = true;
    request_layout();
}

void LogView::request_layout()
{
    if (layout_requested)
        return;
    layout_requested = true;
    QMetaObject::invokeMethod(this, "lay_out", Qt::QueuedConnection);
}

void LogView::lay_out()
{
    layout_requested = false;
    const bool follows = follow_due && auto_scroll;
    {
        const QScopedValueRollback<bool> moving(moving_lines, true);
        for (const int index : sizes.takeUnmeasured())
            show_line(index);
        scene->setSceneRect(extent());
        if (follows)
            follow_newest();
        follow_due = false;
    }
    show_lines();
    if (layout_requested) // a line was found to be larger than guessed: the end has moved
        follow_due = follows;
}

void LogView::show_lines()
{
    if (moving_lines || line_store.isEmpty())
        return;
    const QScopedValueRollback<bool> moving(moving_lines, true);
    const QRectF area = mapToScene(viewport()->rect()).boundingRect();
    const int first = sizes.lineAt(area.top(), line_store.size());
    const int last = sizes.lineAt(area.bottom(), line_store.size());

    drop_lines_outside(first, last);
    for (int i = first; i <= last; ++i)
        show_line(i);
    for (const int index : sizes.reachingPast(first, area.top()))
        show_line(index);
    qDeleteAll(spare);
    spare.clear();

    // The scene tells of changes by queued calls; these are taken here, while they are known as no one
    // else's.
    QCoreApplication::sendPostedEvents(scene, QEvent::MetaCall);
    if (scene->sceneRect() != extent())
        request_layout();
}

void LogView::drop_lines_outside(int first, int last)
{
    const int page = last - first + 1;
    for (auto at = shown.begin(); at != shown.end();) {
        const auto [index, line] = *at;
        const bool is_near = index >= first - page && index <= last + page;
        if (is_near || line == last_focus || line->textCursor().hasSelection()) {
            ++at;
        } else {
            spare.push_back(line);
            at = shown.erase(at);
        }
    }
}

void LogView::show_line(int index)
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
    line->setLine(line_html(line_store.at(index)));
    line->setPos(0, sizes.top(index));
    // Lines are made in any order, but a later one is drawn over an earlier one.
    line->setZValue(index);
    sizes.setSize(index, line->boundingRect().size());
}

void LogView::resizeEvent(QResizeEvent *event)
{
    QGraphicsView::resizeEvent(event);
    show_lines();
}

void LogView::scrollContentsBy(int dx, int dy)
{
    QGraphicsView::scrollContentsBy(dx, dy);
    show_lines();
}
