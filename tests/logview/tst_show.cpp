#include "logview_fixture.h"

#include <QRandomGenerator>
#include <QTextDocument>

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(std::function<void(class ShownLog &)>)

namespace {
// The plain way: every line has its item for good.
class EveryLineView : public QGraphicsView
{
public:
    EveryLineView()
    {
        setScene(&everyLine);
        setAlignment(Qt::AlignLeft | Qt::AlignBottom);
        showView(*this);
    }

    void add(const QString &html)
    {
        auto *item = new QGraphicsTextItem;
        setUpLine(*item);
        item->setPos(0, next_y);
        next_y += item->boundingRect().height();
        item->setHtml(html);
        everyLine.addItem(item);
    }

private:
    QGraphicsScene everyLine;
    double next_y = 0;
};
} // namespace

class TestShow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entriesAndTheirCopy()
    {
        ShownLog view;
        view.addLine("<b>t1</b> "_s, "TX: 00000001"_s);
        view.addLine("<b>t2</b> "_s, QStringList{"ble_rsp_x\t"_s, " a <i>b</i>"_s, " c"_s});
        view.addLine("<b>t3</b> "_s, QStringList());
        view.addLine("t4 "_s, "&lt;a&gt; &amp; <i>"_s); // left open
        view.addLine(QString(), QString());
        const QStringList list{"<b>t2</b> "_s, "ble_rsp_x\t"_s, " a <i>b</i>"_s, " c"_s};
        const QStringList leftOpen{"t4 &lt;a&gt; &amp; <i><br>"_s};
        const QStringList first{"<b>t1</b> TX: 00000001<br>"_s};
        QCOMPARE(view.line_store, (QList<QStringList>{first, list, {"<b>t3</b> "_s}, leftOpen, {"<br>"_s}}));
        view.copy();
        const QMimeData *mime = QApplication::clipboard()->mimeData();
        QCOMPARE(mime->html(), "<b>t1</b> TX: 00000001<br><br />"
                               "<b>t2</b>  ble_rsp_x\t  a <i>b</i>  c<br />"
                               "<b>t3</b> <br />t4 &lt;a&gt; &amp; <i><br><br /><br><br />"_s);
        QCOMPARE(mime->text(), "t1 TX: 00000001\n\nt2 ble_rsp_x a b c\nt3 \nt4 <a> & \n\n\n\n"_s);
        view.settle();
        const QStringList texts{"t1 TX: 00000001"_s, "t2 ble_rsp_x a b c"_s, "t3 "_s, "t4 <a> & "_s, ""_s};
        for (int i = 0; i < texts.size(); ++i)
            QCOMPARE(view.text(i), texts.at(i));
    }

    void copyGoesOnOverPortions()
    {
        LogView view;
        QString expected;
        for (int i = 0; i < 40; ++i) {
            const QString field(100'000 + i, QLatin1Char('f'));
            view.addLine("t "_s, QStringList{field});
            expected += "t "_s + field + QLatin1Char('\n');
        }
        view.copy();
        QVERIFY(QApplication::clipboard()->text() == expected);
        QCOMPARE(QApplication::clipboard()->mimeData()->html().count("<br />"_s), 40);
    }

    void clearStartsAtTheTop()
    {
        ShownLog view(500);
        view.addLine(stamp(0), QString(1000, QLatin1Char('w')) + "<br>x"_s.repeated(20));
        view.settle();
        view.scroll(false);
        const QPointer<QGraphicsScene> before = view.scene;
        view.clearLog();
        view.settle();
        QVERIFY(before.isNull());
        QVERIFY(!view.auto_scroll);
        QCOMPARE(view.itemCount(), 0);
        view.copy();
        QCOMPARE(QApplication::clipboard()->text(), QString());
        view.add(2);
        QCOMPARE(view.itemCount(), 2);
        QCOMPARE(view.text(1), shownText(1));
        const QRectF extent(0, 0, view.item(1)->boundingRect().width(), 2 * stockPitch());
        QCOMPARE(view.scene->sceneRect(), extent);
        QCOMPARE(view.end(), 0);
    }

    void looksAsIfEveryLineHadItsItem_data()
    {
        const auto many = [](int count, QChar c) { return QString(count, c); };
        const QString red = "x<br><font color=red>"_s + many(40, u'#');
        const QString blue = "x<br>y<br><font color=blue>"_s + many(40, u'@');
        QTest::addColumn<QStringList>("odd"); // every eleventh line is one of these
        QTest::newRow("several lines") << QStringList{"1<br>2<br>3"_s, "<h1>h</h1>t"_s, "<p>a<p>b<p>c<p>d"_s};
        QTest::newRow("over each other in colour") << QStringList{red, blue};
        QTest::newRow("widths") << QStringList{many(120, u'W'), "<b>"_s + many(60, u'M'),
                                               many(90, u'\u4e2d')};
        QTest::newRow("plain widths") << QStringList{many(300, u'0'), many(500, u'0'), many(100, u'0')};
        QTest::newRow("coloured") << QStringList{"[<font color=red>'text'</font>]"_s, "&lt;b&gt; &amp;"_s};
    }

    void looksAsIfEveryLineHadItsItem()
    {
        QFETCH(QStringList, odd);
        ShownLog view(0, false);
        EveryLineView plainWay;
        const std::array<QGraphicsView *, 2> both{&view, &plainWay};
        for (QGraphicsView *each : both) {
            each->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
            each->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        }
        for (int i = 0; i < 300; ++i) {
            const QString text = i % 11 == 10 ? odd.at(i / 11 % odd.size()) : "line"_s;
            i % 2 ? view.addLine(stamp(i), text) : view.addLine(stamp(i), QStringList{text, "a:  1"_s});
            plainWay.add(stamp(i) + text + (i % 2 ? ""_s : " a:  1"_s));
            if (i % 30 == 2)
                view.settle();
            if (i == 2) // a short log stands at the bottom
                QCOMPARE(view.viewport()->grab().toImage(), plainWay.viewport()->grab().toImage());
        }
        view.settle();
        QCOMPARE(view.scene->sceneRect().width(), plainWay.sceneRect().width());
        QCOMPARE(view.end(), plainWay.verticalScrollBar()->maximum());

        const int end = view.end();
        const auto below = [](int line) { return int((line + 1) * stockPitch()) + 2; };
        for (const int value : {0, end, below(10), end, below(21), end / 2, below(32), end - 33, below(43)}) {
            for (const int across : {0, 150}) {
                for (QGraphicsView *each : both) {
                    each->verticalScrollBar()->setValue(value);
                    each->horizontalScrollBar()->setValue(across);
                }
                QCOMPARE(view.viewport()->grab().toImage(), plainWay.viewport()->grab().toImage());
            }
        }
    }

    void fewItems()
    {
        ShownLog view;
        const int page = int(view.viewport()->height() / stockPitch());
        for (int i = 0; i < 20; ++i) {
            view.add(500);
            view.scrollTo(view.end() * i / 20);
        }
        QVERIFY(view.itemCount() >= page);
        QVERIFY2(view.itemCount() <= 3 * page + 8, qPrintable(QString::number(view.itemCount())));
        view.clearLog();
        for (int i = 0; i < 1000; ++i) // in one turn, and plain: only those in view are laid out
            view.addLine(stamp(i), "RX: 80%1"_s.arg(i, 4, 16, QLatin1Char('0')));
        view.settle();
        QVERIFY(view.item(999));
        QVERIFY2(view.itemCount() <= page + 3, qPrintable(QString::number(view.itemCount())));
    }

    void followsUnlessToldNotTo()
    {
        ShownLog view(100);
        for (int i = 0; i < 3; ++i) {
            QVERIFY(view.end() > 0);
            QVERIFY(view.isAtEnd());
            view.add(100);
        }
        view.addLine(stamp(300), QString(400, QLatin1Char('x'))); // the next one is not the widest
        view.settle();
        view.addLine(stamp(301), "<font color=red size=7>larger than it looks</font>"_s);
        view.settle();
        QVERIFY(view.isAtEnd());
        view.clearLog();
        view.add(400);
        view.scroll(false);
        view.scrollTo(150);
        view.add(200);
        QCOMPARE(view.scene->sceneRect().height(), 600 * stockPitch());
        QCOMPARE(view.verticalScrollBar()->value(), 150);
        view.scroll(true);
        view.settle();
        QCOMPARE(view.verticalScrollBar()->value(), 150);
        view.add(1);
        QVERIFY(view.isAtEnd());
    }

    void showsBurstsRarelyAndALineAtOnce()
    {
        constexpr int interval = 40; // ms
        ShownLog view(100);
        int layouts = 0;
        connect(view.scene, &QGraphicsScene::sceneRectChanged, this, [&layouts] { ++layouts; });
        int turns = 0;
        while (layouts < 10) {
            view.addLine(stamp(0), "RX: 80"_s);
            QCoreApplication::processEvents();
            ++turns;
        }
        QVERIFY2(turns > 5 * layouts, qPrintable(QString::number(turns)));
        view.settle();
        QTest::qWait(interval); // a quiet moment
        const int before = layouts;
        for (int i = 1; i <= 2; ++i) { // a command, and the answer in a later turn
            view.addLine(stamp(i), "one more"_s);
            QCoreApplication::processEvents();
            QCOMPARE(layouts, before + i);
        }
    }

    void userActsOnAllLines_data()
    {
        QTest::addColumn<std::function<void(ShownLog &)>>("act");
        using Act = std::function<void(ShownLog &)>;
        QTest::newRow("key") << Act([](ShownLog &view) { QTest::keyClick(&view, Qt::Key_End); });
        QTest::newRow("scroll bar") << Act(
            [](ShownLog &view) { QTest::mouseClick(view.verticalScrollBar(), Qt::LeftButton); });
        QTest::newRow("double press")
            << Act([](ShownLog &view) { QTest::mouseDClick(view.verticalScrollBar(), Qt::LeftButton); });
        QTest::newRow("drag") << Act([](ShownLog &view) {
            QMouseEvent event(QEvent::MouseMove, {5, 5}, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(view.verticalScrollBar(), &event);
        });
        QTest::newRow("wheel") << Act([](ShownLog &view) {
            QWheelEvent event({5, 5}, view.mapToGlobal({5, 5}), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(view.viewport(), &event);
        });
        QTest::newRow("size") << Act([](ShownLog &view) { view.resize(400, 200); });
        QTest::newRow("following") << Act([](ShownLog &view) { view.scroll(true); });
    }

    void userActsOnAllLines()
    {
        QFETCH(std::function<void(ShownLog &)>, act);
        ShownLog view(100, false);
        while (!view.isBehind()) {
            view.addLine(stamp(0), "RX: 80"_s);
            QCoreApplication::processEvents();
        }
        view.addLine(stamp(0), "the last one"_s);
        act(view);
        QVERIFY(!view.isBehind());
        QCOMPARE(view.scene->sceneRect().height(), view.line_store.size() * stockPitch());
    }

    void userScrollIsNotPulledUntilAChange()
    {
        ShownLog view(1000);
        // Not ASCII, so out of view its width is not known: that it widens the scene must not pull either.
        view.line_store[300] = QStringList{QString(200, QChar(0x4e2d))};
        for (const int line : {10, 300, 700, 5}) {
            const int value = int(line * stockPitch());
            view.scrollTo(value);
            QVERIFY(view.item(line));
            QCOMPARE(view.verticalScrollBar()->value(), value);
        }
        QVERIFY(view.horizontalScrollBar()->maximum() > 0);
        view.add(1);
        QVERIFY(view.isAtEnd());
        view.scrollTo(100);
        QCOMPARE(view.verticalScrollBar()->value(), 100);
        view.scene->addRect(QRectF(0, 100, 10, 10)); // not a line, but in the scene
        view.settle();
        QVERIFY(view.isAtEnd());
    }

    void sceneOutlivesTheView()
    {
        const QPointer<QGraphicsScene> scene = std::make_unique<ShownLog>(3)->scene;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!scene.isNull());
    }

    void chart_data()
    {
        QTest::addColumn<QStringList>("line");
        QTest::addColumn<QString>("chart");
        const auto row = [](const char *name, const QStringList &line, const char *chart) {
            QTest::newRow(name) << line << QString::fromUtf8(chart);
        };
        row("command", {"ble_cmd_system_hello\t"_s}, "A -> B: ble_cmd_system_hello\t\n\n");
        row("response", {"ble_rsp_system_hello\t"_s}, "B -> A: ble_rsp_system_hello\t\n\n");
        row("event, its name up to a blank", {"ble_evt_system_boot <b> x"_s},
            "B -> A: ble_evt_system_boot\n\n");
        row("parameters", {"ble_rsp_x\t"_s, " connection:       0 (0x00)"_s, " data:"_s},
            "B -> A: ble_rsp_x\t\nnote right of A:\n   connection: 0 (0x00)\n   data:\nend note\n\n");
        row("markup",
            {"ble_cmd_<b>\t"_s, " result:0x0182 [<font color=red>'Device&#39;s'</font>]"_s,
             "&lt;a&gt;<br>b"_s},
            "A -> B: ble_cmd_<b>\t\nnote right of A:\n   result:0x0182 ['Device's']\n  <a>\nb\nend note\n\n");
        row("no message", {" ble_cmd_x\t"_s, " a"_s}, "");
        row("other letters", {"BLE_CMD_x\t"_s}, "");
        row("no name", {}, "");
    }

    void chart()
    {
        QFETCH(QStringList, line);
        QFETCH(QString, chart);
        LogView view;
        view.addLine("<b>10:00</b> "_s, "RX: ble_cmd_"_s); // of the other shape
        view.addLine("<b>10:01</b> "_s, line);
        const QList<QStringList> before = view.line_store;
        view.copyFlowChart();
        const QMimeData *const data = QApplication::clipboard()->mimeData();
        QCOMPARE(data->text(), chart);
        QVERIFY(!data->hasHtml());
        QCOMPARE(view.line_store, before);
        view.clearLog();
        view.copyFlowChart();
        QCOMPARE(QApplication::clipboard()->text(), QString());
    }

    // Most parameters go past the document; they read as if they had not.
    void parametersReadAsInADocument()
    {
        LogView view;
        QString expected;
        QRandomGenerator random(1);
        const QString letters = "   abc0(:)<&;>\t\n\u00a0\u4e2d"_s;
        for (int i = 0; i < 3000; ++i) {
            QString parameter;
            for (int size = int(random.bounded(8)); size > 0; --size)
                parameter += letters[int(random.bounded(letters.size()))];
            view.addLine(stamp(i), {"ble_cmd_x"_s, parameter});
            QTextDocument document;
            document.setHtml(parameter);
            const QString blank = parameter.startsWith(QLatin1Char(' ')) ? " "_s : QString();
            expected += "A -> B: ble_cmd_x\nnote right of A:\n  %1\nend note\n\n"_s.arg(
                blank + document.toPlainText());
        }
        view.copyFlowChart();
        QCOMPARE(QApplication::clipboard()->text(), expected);
    }
};

QTEST_MAIN(TestShow)
#include "tst_show.moc"
