#include "logview_fixture.h"

#include <QImage>
#include <QTemporaryDir>

#include <cmath>

class TestHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void badHtml_data();
    void badHtml();
    void longLines_data();
    void longLines();
    void nothingIsLoadedFromDisk_data();
    void nothingIsLoadedFromDisk();
    void allLinesReachFarDown();
    void millionLines();
};

void TestHostile::badHtml_data()
{
    QTest::addColumn<QString>("html");
    QTest::newRow("open tag") << QStringLiteral("a <b");
    QTest::newRow("open tag with quote") << QStringLiteral("<font face=\"sans");
    QTest::newRow("unclosed elements") << QStringLiteral("<table><tr><td><ul><li><pre><h1>x");
    QTest::newRow("closed only") << QStringLiteral("</b></table></html></body></p>");
    QTest::newRow("comment left open") << QStringLiteral("<!-- x");
    QTest::newRow("entities") << QStringLiteral("&#0; &#xffffffff; &#1114112; &nosuch; &");
    QTest::newRow("nul and controls") << QString::fromUtf16(u"a\0b\x1b\x7f\u2028\u2029\ufffe", 8);
    QTest::newRow("lone surrogates") << QString(QChar(0xd800)) + QChar(0xdc00) + QChar(0xdbff);
    QTest::newRow("right to left") << QString::fromUtf16(u"\u202e\u05d0\u05d1 <b>\u0627</b>");
    QTest::newRow("big image") << QStringLiteral("<img src=x width=2000000000 height=2000000000>");
    QTest::newRow("big font") << QStringLiteral("<font size=99999>x</font>");
    QTest::newRow("big table") << QStringLiteral("<table width=99999999 border=9999><tr><td>x</table>");
    QTest::newRow("big span") << QStringLiteral("<table><tr><td colspan=999>x</table>");
    QTest::newRow("nested") << QStringLiteral("<b><ul>").repeated(50);
}

void TestHostile::badHtml()
{
    QFETCH(QString, html);
    LogView view;
    show_view(view);
    for (int i = 0; i < 40; ++i) {
        view.addLine(stamp(i), html);
        view.addLine(stamp(i), QStringList{html, html});
    }
    add_lines(view, 1);
    QTRY_VERIFY(item_of(view, 80));
    QCOMPARE(item_of(view, 80)->toPlainText(), QStringLiteral("2026.01.02 03:04:05.080 line 80"));
    QVERIFY(view.scene->sceneRect().height() >= 81 * stock_pitch());
    QVERIFY(!view.viewport()->grab().isNull());
    view.verticalScrollBar()->setValue(0);
    QVERIFY(!view.viewport()->grab().isNull());
    view.copy();
    QCOMPARE(view.line_store.size(), 81);
}

void TestHostile::longLines_data()
{
    QTest::addColumn<QString>("html");
    QTest::newRow("one word") << QString(1 << 20, QLatin1Char('f'));
    QTest::newRow("blanks") << QString(1 << 20, QLatin1Char(' '));
    QTest::newRow("open tag") << QLatin1Char('<') + QString(1 << 20, QLatin1Char('x'));
    QTest::newRow("breaks") << QStringLiteral("x<br>").repeated(20'000);
}

void TestHostile::longLines()
{
    QFETCH(QString, html);
    LogView view;
    show_view(view);
    view.addLine(stamp(0), html);
    add_lines(view, 100);
    QTRY_VERIFY(item_of(view, 100));
    QVERIFY(!view.viewport()->grab().isNull());
    view.verticalScrollBar()->setValue(0);
    QVERIFY(item_of(view, 0));
    QVERIFY(!view.viewport()->grab().isNull());
    QCOMPARE(view.line_store.first().first().size(), stamp(0).size() + html.size() + 4);
}

void TestHostile::nothingIsLoadedFromDisk_data()
{
    QTest::addColumn<QString>("html"); // %1: folder
    QTest::newRow("path") << QStringLiteral("<img src=\"%1/big.png\">");
    QTest::newRow("url") << QStringLiteral("<img src=\"file://%1/big.png\">");
    QTest::newRow("unquoted") << QStringLiteral("<img src=%1/big.png>");
    QTest::newRow("list image") << QStringLiteral(
        "<ul style=\"list-style-image:url(%1/big.png)\"><li>x</ul>");
    QTest::newRow("table background") << QStringLiteral("<table background=\"%1/big.png\"><tr><td>x</table>");
    QTest::newRow("style sheet") << QStringLiteral(
        "<link rel=stylesheet type=text/css href=\"%1/big.css\"><p>x");
}

// What is on the disk is big or red, so it would show.
void TestHostile::nothingIsLoadedFromDisk()
{
    QFETCH(QString, html);
    const QTemporaryDir folder;
    QImage red(400, 400, QImage::Format_RGB32);
    red.fill(Qt::red);
    QVERIFY(red.save(folder.filePath(QStringLiteral("big.png"))));
    QFile css(folder.filePath(QStringLiteral("big.css")));
    QVERIFY(css.open(QFile::WriteOnly));
    css.write("p { font-size: 200pt; color: #ff0000; }");
    css.close();

    LogView view;
    show_view(view);
    view.addLine(QStringLiteral("t "), html.arg(folder.path()));
    QTRY_VERIFY(item_of(view, 0));
    QVERIFY(item_of(view, 0)->boundingRect().height() < 200);
    const QImage shot = view.viewport()->grab().toImage();
    for (int y = 0; y < shot.height(); ++y) {
        for (int x = 0; x < shot.width(); ++x)
            QVERIFY(shot.pixelColor(x, y) != QColor(Qt::red));
    }
}

void TestHostile::allLinesReachFarDown()
{
    LogView view;
    show_view(view);
    const QString tall = QStringLiteral("x<br>").repeated(150);
    for (int i = 0; i < 600; ++i) {
        view.addLine(stamp(i), tall);
        if (i % 20 == 0)
            settle();
    }
    settle();
    QVERIFY(view.scene->sceneRect().height() > 700 * stock_pitch());
    QCOMPARE(view.verticalScrollBar()->value(), view.verticalScrollBar()->maximum());
    view.verticalScrollBar()->setValue(static_cast<int>(400 * stock_pitch()));
    settle();
    QVERIFY2(view.scene->items().size() < 400, qPrintable(QString::number(view.scene->items().size())));
}

void TestHostile::millionLines()
{
    constexpr int count = 1'000'001;
    const double pitch = stock_pitch();
    LogView view;
    show_view(view);
    while (view.line_store.size() < count) {
        add_lines(view, qMin(20'000, count - view.line_store.size()));
        QCoreApplication::processEvents();
    }
    QTRY_VERIFY(item_of(view, count - 1));
    QCOMPARE(view.scene->sceneRect().height(), count * pitch);
    QCOMPARE(item_of(view, count - 1)->y(), 1'000'000 * pitch);
    QCOMPARE(item_of(view, count - 1)->y() - item_of(view, count - 2)->y(), pitch);
    QCOMPARE(item_of(view, count - 1)->toPlainText(), QStringLiteral("2026.01.02 03:04:05.000 line 1000000"));
    // The last line stands at the bottom of the view to the pixel.
    QVERIFY(std::abs(view.mapFromScene(0, count * pitch).y() - view.viewport()->height()) <= 1);

    for (const int line : {999'999, 777'777, 500'000, 3}) {
        view.verticalScrollBar()->setValue(static_cast<int>(line * pitch));
        QVERIFY(item_of(view, line));
        QVERIFY(item_of(view, line)->toPlainText().endsWith(line_text(line)));
        QVERIFY(view.scene->items().size() < 200);
    }
    view.clearLog();
    settle();
    QCOMPARE(view.verticalScrollBar()->maximum(), 0);
}

QTEST_MAIN(TestHostile)
#include "tst_hostile.moc"
