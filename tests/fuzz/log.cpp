// The log: any lines, painted, copied, and copied as a sequence diagram.

#include "fuzz.h"

#include "logview/flowchart.h"
#include "logview/logview.h"

#include <QClipboard>
#include <QMimeData>

namespace {

LogView *view;

} // namespace

int LLVMFuzzerInitialize(int *, char ***)
{
    startApplication();
    view = new LogView;
    view->resize(300, 200);
    view->show();
    return 0;
}

// Whether to paint, then lines; 0x01 is between the pieces of a line that has several.
int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Input input(data, size);
    const uint8 how = input.byte();
    const QStringList lines = QString::fromUtf8(input.rest()).split(u'\n');
    const QString stamp = QStringLiteral("<b>2026.01.02 03:04:05.678</b> ");

    view->clearLog();
    view->scroll((how & 1) != 0);
    QList<QStringList> expected;
    qint64 chartBytes = 0;
    QString chart;
    for (const QString &line : lines) {
        const QStringList pieces = line.split(QChar(1));
        const bool isWhole = pieces.size() == 1;
        isWhole ? view->addLine(stamp, line) : view->addLine(stamp, pieces);
        expected += isWhole ? QStringList(stamp + line + QLatin1String("<br>")) : QStringList(stamp) + pieces;
        const qint64 before = chart.size();
        appendToChart(chart, expected.last());
        REQUIRE(chart.size() - before <= chartSize(expected.last()));
        chartBytes += chartSize(expected.last());
    }
    if ((how & 2) != 0) {
        view->scroll(view->auto_scroll); // lays out what has come, which a burst puts off
        QCoreApplication::processEvents();
        REQUIRE(!view->viewport()->grab().isNull());
    }
    REQUIRE(view->line_store == expected);

    view->copy();
    const QMimeData *const copied = QApplication::clipboard()->mimeData();
    REQUIRE(copied && copied->hasText() && copied->html().count(stamp) >= lines.size());
    view->copyFlowChart();
    REQUIRE(QApplication::clipboard()->text() == chart && chart.size() <= chartBytes);
    return 0;
}
