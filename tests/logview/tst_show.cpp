#include "logview_fixture.h"

#include <QApplication>
#include <QTextCursor>
#include <QTextDocument>

#include <cmath>

namespace {
// The plain way: every line has its item for good.
class EveryLineView : public QGraphicsView
{
public:
    EveryLineView()
    {
        setScene(&every_line);
        setAlignment(Qt::AlignLeft | Qt::AlignBottom);
    }
    ~EveryLineView() override { setScene(nullptr); }

    void add(const QString &html)
    {
        auto *item = new QGraphicsTextItem;
        set_up_line(*item);
        item->setPos(0, next_y);
        next_y += item->boundingRect().height();
        item->setHtml(html);
        every_line.addItem(item);
    }

private:
    QGraphicsScene every_line;
    double next_y = 0;
};
} // namespace

class TestShow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void htmlOfItems_data();
    void htmlOfItems();
    void pitchAndPlace();
    void clearStartsAtTheTop();
    void looksAsIfEveryLineHadItsItem_data();
    void looksAsIfEveryLineHadItsItem();
    void fewItems();
    void follows();
    void staysWhenToldNotToFollow();
    void userScrollIsNotPulledUntilTheNextLine();
    void otherChangeOfTheScenePulls();
    void widerLineOutOfView();
    void sceneOutlivesTheView();
};

void TestShow::htmlOfItems_data()
{
    QTest::addColumn<QStringList>("log"); // one piece: QString form
    QTest::addColumn<QString>("text");
    QTest::newRow("string") << QStringList{QStringLiteral("RX: 8004")} << QStringLiteral("t RX: 8004");
    QTest::newRow("list") << QStringList{QStringLiteral("ble_x\t"), QStringLiteral(" a:     255 (0xff)")}
                          << QStringLiteral("t ble_x a: 255 (0xff)");
    QTest::newRow("empty list") << QStringList{} << QStringLiteral("t ");
}

void TestShow::htmlOfItems()
{
    QFETCH(QStringList, log);
    LogView view;
    show_view(view);
    if (log.size() == 1)
        view.addLine(QStringLiteral("<b>t</b> "), log.first());
    else
        view.addLine(QStringLiteral("<b>t</b> "), log);
    QTRY_VERIFY(item_of(view, 0));
    const QGraphicsTextItem *item = item_of(view, 0);
    QTEST(item->toPlainText(), "text");
    QCOMPARE(item->textInteractionFlags(), Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QTextCursor cursor(item->document());
    cursor.movePosition(QTextCursor::NextCharacter);
    QVERIFY(cursor.charFormat().font().bold());
    cursor.movePosition(QTextCursor::End);
    QVERIFY(!cursor.charFormat().font().bold());
}

void TestShow::pitchAndPlace()
{
    const double pitch = stock_pitch();
    QVERIFY(pitch > 8);
    LogView view;
    view.scroll(false);
    show_view(view);
    for (int i = 0; i < 3; ++i) {
        add_lines(view, 1);
        QTRY_COMPARE(view.scene->sceneRect().height(), (i + 1) * pitch);
        QTRY_VERIFY(item_of(view, i));
        QCOMPARE(item_of(view, i)->x(), 0.0);
    }
    // A short log stands at the bottom of the view.
    const int bottom = view.mapFromScene(0, 3 * pitch).y();
    QVERIFY2(std::abs(bottom - view.viewport()->height()) <= 1, qPrintable(QString::number(bottom)));
}

void TestShow::clearStartsAtTheTop()
{
    LogView view;
    show_view(view);
    add_lines(view, 500);
    view.addLine(stamp(0), QString(1000, QLatin1Char('w')) + QStringLiteral("<br>x").repeated(20));
    QTRY_VERIFY(item_of(view, 500));
    view.scroll(false);
    view.clearLog();
    settle();
    QCOMPARE(view.scene->items().size(), 0);
    add_lines(view, 2);
    QTRY_COMPARE(view.scene->items().size(), 2);
    QCOMPARE(item_of(view, 0)->toPlainText(), QStringLiteral("2026.01.02 03:04:05.000 line 0"));
    QCOMPARE(item_of(view, 1)->toPlainText(), QStringLiteral("2026.01.02 03:04:05.001 line 1"));
    QTRY_COMPARE(view.scene->sceneRect(),
                 QRectF(QPointF(), QSizeF(item_of(view, 1)->boundingRect().width(), 2 * stock_pitch())));
    QCOMPARE(view.verticalScrollBar()->maximum(), 0);
}

void TestShow::looksAsIfEveryLineHadItsItem_data()
{
    QTest::addColumn<QStringList>("odd"); // every eleventh line is one of these
    QTest::newRow("plain") << QStringList{QStringLiteral("x")};
    QTest::newRow("over several lines")
        << QStringList{QStringLiteral("one<br>two<br>three"), QStringLiteral("<h1>head</h1>tail"),
                       QStringLiteral("<p>a<p>b<p>c<p>d<p>e<p>f")};
    QTest::newRow("over each other in colour") << QStringList{
        QStringLiteral("x<br><font color=red>%1</font>").arg(QString(40, QLatin1Char('#'))),
        QStringLiteral("x<br>y<br><font color=blue>%1</font>").arg(QString(40, QLatin1Char('@')))};
    QTest::newRow("wide") << QStringList{QString(120, QLatin1Char('W')),
                                         QStringLiteral("<b>%1</b>").arg(QString(60, QLatin1Char('M'))),
                                         QString(90, QChar(0x4e2d))};
    QTest::newRow("coloured") << QStringList{QStringLiteral("[<font color=red>'text'</font>]"),
                                             QStringLiteral("&lt;b&gt; &amp;")};
}

void TestShow::looksAsIfEveryLineHadItsItem()
{
    QFETCH(QStringList, odd);
    LogView view;
    EveryLineView plain_way;
    view.scroll(false);
    for (QGraphicsView *each :
         {static_cast<QGraphicsView *>(&view), static_cast<QGraphicsView *>(&plain_way)}) {
        each->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        each->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        show_view(*each);
    }
    for (int i = 0; i < 300; ++i) {
        const QString text = i % 11 == 10 ? odd.at(i / 11 % odd.size()) : line_text(i);
        view.addLine(stamp(i), text);
        plain_way.add(stamp(i) + text);
        if (i % 10 == 0)
            settle();
    }
    settle();
    QCOMPARE(view.scene->sceneRect().width(), plain_way.sceneRect().width());
    QCOMPARE(view.verticalScrollBar()->maximum(), plain_way.verticalScrollBar()->maximum());

    const int end = view.verticalScrollBar()->maximum();
    const auto below = [](int line) { return static_cast<int>((line + 1) * stock_pitch()) + 2; };
    for (const int value :
         {0, end, below(10), end, below(21), end / 2, below(32), end / 2 + 7, end - 33, below(43)}) {
        for (const int across : {0, 150}) {
            for (QGraphicsView *each :
                 {static_cast<QGraphicsView *>(&view), static_cast<QGraphicsView *>(&plain_way)}) {
                each->verticalScrollBar()->setValue(value);
                each->horizontalScrollBar()->setValue(across);
            }
            QCOMPARE(view.viewport()->grab().toImage(), plain_way.viewport()->grab().toImage());
        }
    }
}

void TestShow::fewItems()
{
    LogView view;
    show_view(view);
    for (int i = 0; i < 20; ++i) {
        add_lines(view, 500);
        settle();
        view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum() * i / 20);
        settle();
    }
    const int page = static_cast<int>(view.viewport()->height() / stock_pitch()) + 2;
    QVERIFY(view.scene->items().size() >= page - 2);
    QVERIFY2(view.scene->items().size() <= 3 * page + 2,
             qPrintable(QString::number(view.scene->items().size())));
}

void TestShow::follows()
{
    LogView view;
    show_view(view);
    for (int i = 0; i < 5; ++i) {
        add_lines(view, 100);
        QTRY_VERIFY(item_of(view, 100 * i + 99));
        QVERIFY(view.verticalScrollBar()->maximum() > 0);
        QTRY_COMPARE(view.verticalScrollBar()->value(), view.verticalScrollBar()->maximum());
    }
}

void TestShow::staysWhenToldNotToFollow()
{
    LogView view;
    show_view(view);
    add_lines(view, 200);
    QTRY_VERIFY(item_of(view, 199));
    view.scroll(false);
    view.verticalScrollBar()->setValue(150);
    add_lines(view, 200);
    QTRY_COMPARE(view.scene->sceneRect().height(), 400 * stock_pitch());
    settle();
    QCOMPARE(view.verticalScrollBar()->value(), 150);
    view.scroll(true);
    settle();
    QCOMPARE(view.verticalScrollBar()->value(), 150);
    add_lines(view, 1);
    QTRY_COMPARE(view.scene->sceneRect().height(), 401 * stock_pitch());
    QTRY_COMPARE(view.verticalScrollBar()->value(), view.verticalScrollBar()->maximum());
}

void TestShow::userScrollIsNotPulledUntilTheNextLine()
{
    LogView view;
    show_view(view);
    add_lines(view, 1000);
    // Not ASCII, so out of view its width is not known: that it widens the scene must not pull either.
    view.line_store[300] = QStringList{QString(200, QChar(0x4e2d))};
    QTRY_VERIFY(item_of(view, 999));
    settle();
    for (const int line : {10, 300, 700, 5}) {
        const int value = static_cast<int>(line * stock_pitch());
        view.verticalScrollBar()->setValue(value);
        QVERIFY(item_of(view, line));
        settle();
        QCOMPARE(view.verticalScrollBar()->value(), value);
    }
    QVERIFY(view.horizontalScrollBar()->maximum() > 0);
    add_lines(view, 1);
    QTRY_VERIFY(item_of(view, 1000));
    QTRY_COMPARE(view.verticalScrollBar()->value(), view.verticalScrollBar()->maximum());
}

void TestShow::otherChangeOfTheScenePulls()
{
    LogView view;
    show_view(view);
    add_lines(view, 1000);
    QTRY_VERIFY(item_of(view, 999));
    view.verticalScrollBar()->setValue(100);
    settle();
    QCOMPARE(view.verticalScrollBar()->value(), 100);
    view.scene->addRect(QRectF(0, 100, 10, 10));
    QTRY_COMPARE(view.verticalScrollBar()->value(), view.verticalScrollBar()->maximum());
}

void TestShow::widerLineOutOfView()
{
    LogView view;
    view.scroll(false);
    show_view(view);
    add_lines(view, 100);
    QTRY_COMPARE(view.scene->sceneRect().height(), 100 * stock_pitch());
    QCOMPARE(view.horizontalScrollBar()->maximum(), 0);
    for (const int length : {300, 500, 100}) {
        view.addLine(stamp(0), QStringList{QString(length, QLatin1Char('0'))});
        settle();
    }
    QGraphicsTextItem widest;
    widest.setHtml(stamp(0) + QString(500, QLatin1Char('0')));
    QCOMPARE(view.scene->sceneRect().width(), widest.boundingRect().width());
    QVERIFY(!item_of(view, 102));
}

void TestShow::sceneOutlivesTheView()
{
    QPointer<QGraphicsScene> scene;
    {
        LogView view;
        add_lines(view, 3);
        scene = view.scene;
        QVERIFY(!scene->parent());
    }
    settle();
    QVERIFY(!scene.isNull());
    QVERIFY(scene->views().isEmpty());
}

QTEST_MAIN(TestShow)
#include "tst_show.moc"
