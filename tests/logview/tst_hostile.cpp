#include "logview_fixture.h"

#include <QImage>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>

class TestHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void badHtml_data()
    {
        QTest::addColumn<QString>("html");
        QTest::newRow("open tag") << "a <font face=\"sans"_s;
        QTest::newRow("unclosed elements") << "<table><tr><td><ul><li><pre><h1>x"_s;
        QTest::newRow("closed only and a comment left open") << "</b></table></html></body></p><!-- x"_s;
        QTest::newRow("entities") << "&#0; &#xffffffff; &#1114112; &nosuch; &"_s;
        QTest::newRow("nul, controls, right to left") << "a\0b\x1b\x7f\u2028\u2029\ufffe\u202e\u05d0"_s;
        QTest::newRow("lone surrogates") << QString(QChar(0xd800)) + QChar(0xdc00) + QChar(0xdbff);
        QTest::newRow("big image") << "<img src=x width=2000000000 height=2000000000>"_s;
        QTest::newRow("big font") << "<font size=99999>x</font>"_s;
        QTest::newRow("big table") << "<table width=99999999 border=9999><tr><td colspan=999>x"_s;
        QTest::newRow("nested") << "<b><ul>"_s.repeated(50);
        QTest::newRow("a million glyphs") << QString(1 << 20, QLatin1Char('f'));
        QTest::newRow("a million blanks") << QString(1 << 20, QLatin1Char(' '));
        QTest::newRow("a million in a tag") << QLatin1Char('<') + QString(1 << 20, QLatin1Char('x'));
        QTest::newRow("many breaks") << "x<br>"_s.repeated(20'000);
    }

    void badHtml()
    {
        QFETCH(QString, html);
        const int times = html.size() < 1000 ? 40 : 1;
        ShownLog view;
        for (int i = 0; i < times; ++i) {
            view.addLine(stamp(i), html);
            view.addLine(stamp(i), QStringList{html, html});
        }
        view.add(1);
        QCOMPARE(view.text(2 * times), shownText(2 * times));
        QVERIFY(view.scene->sceneRect().height() >= (2 * times + 1) * stockPitch());
        for (const int value : {view.end(), 0}) {
            view.scrollTo(value);
            QVERIFY(!view.viewport()->grab().isNull());
        }
        QVERIFY(view.item(0));
        view.copy();
        QCOMPARE(view.line_store.at(1), (QStringList{stamp(0), html, html}));
    }

    void nothingIsLoadedFromDisk_data()
    {
        QTest::addColumn<QString>("html"); // %1: folder
        QTest::newRow("path") << "<img src=\"%1/big.png\">"_s;
        QTest::newRow("url") << "<img src=\"file://%1/big.png\">"_s;
        QTest::newRow("table background") << "<table background=\"%1/big.png\"><tr><td>x</table>"_s;
        QTest::newRow("style sheet") << "<style>@import url(file://%1/big.css);</style><p>x</p>"_s;
    }

    // What is on the disk is big or red, so it would show.
    void nothingIsLoadedFromDisk()
    {
        QFETCH(QString, html);
        const QTemporaryDir folder;
        QImage red(400, 400, QImage::Format_RGB32);
        red.fill(Qt::red);
        QVERIFY(red.save(folder.filePath("big.png"_s)));
        QFile css(folder.filePath("big.css"_s));
        QVERIFY(css.open(QFile::WriteOnly | QFile::Unbuffered));
        css.write("p { font-size: 200pt; color: #ff0000; }");

        ShownLog view;
        view.addLine("t "_s, html.arg(folder.path()));
        view.settle();
        QVERIFY(view.item(0));
        QVERIFY(view.item(0)->boundingRect().height() < 200);
        const QImage shot = view.viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const auto *pixels = reinterpret_cast<const QRgb *>(shot.constBits());
        QCOMPARE(std::count(pixels, pixels + std::ptrdiff_t{shot.width()} * shot.height(), red.pixel(0, 0)),
                 0);
    }

    void allLinesReachFarDown()
    {
        ShownLog view;
        for (int i = 0; i < 600; ++i) {
            view.addLine(stamp(i), "x<br>"_s.repeated(150));
            if (i % 20 == 19)
                view.settle();
        }
        QVERIFY(view.scene->sceneRect().height() > 700 * stockPitch());
        QVERIFY(view.isAtEnd());
        view.scrollTo(int(400 * stockPitch()));
        QVERIFY2(view.itemCount() < 400, qPrintable(QString::number(view.itemCount())));
    }

    void millionLines()
    {
        constexpr int count = 1'000'001;
        const double pitch = stockPitch();
        ShownLog view;
        while (view.line_store.size() < count)
            view.add(qMin(20'000, count - view.line_store.size()));
        QCOMPARE(view.scene->sceneRect().height(), count * pitch);
        QCOMPARE(view.text(count - 2), shownText(count - 2));
        QCOMPARE(view.text(count - 1), shownText(count - 1));
        // The last line stands at the bottom of the view to the pixel.
        QVERIFY(std::abs(view.mapFromScene(0, count * pitch).y() - view.viewport()->height()) <= 1);
        for (const int line : {999'999, 777'777, 500'000, 3}) {
            view.scrollTo(int(line * pitch));
            QCOMPARE(view.text(line), shownText(line));
            QVERIFY(view.itemCount() < 200);
        }
    }
};

QTEST_MAIN(TestHostile)
#include "tst_hostile.moc"
