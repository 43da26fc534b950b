#include "logview_fixture.h"

#include <QApplication>
#include <QClipboard>
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

void send_mouse(QGraphicsView &view, QEvent::Type type, QPointF scene_point)
{
    const QPoint pos = view.mapFromScene(scene_point);
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, pos, view.viewport()->mapToGlobal(pos), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(view.viewport(), &event);
}

void drag(QGraphicsView &view, QPointF from, QPointF to)
{
    send_mouse(view, QEvent::MouseButtonPress, from);
    send_mouse(view, QEvent::MouseMove, to);
}

QPointF middle_of(int index, double x)
{
    return {x, (index + 0.5) * stock_pitch()};
}
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
    void mouseSelectionSurvivesScrolling();
    void keyboardSelectionSurvivesScrolling();
    void focusSurvivesScrolling();
    void clearWithSelection();
    void clearWhileSelecting();
    void widerLineOutOfView();
    void otherFont();
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
    QTRY_VERIFY(item_of(view, 499));
    view.scroll(false);
    view.clearLog();
    settle();
    QCOMPARE(view.scene->items().size(), 0);
    add_lines(view, 2);
    QTRY_COMPARE(view.scene->items().size(), 2);
    QCOMPARE(item_of(view, 0)->toPlainText(), QStringLiteral("2026.01.02 03:04:05.000 line 0"));
    QCOMPARE(item_of(view, 1)->toPlainText(), QStringLiteral("2026.01.02 03:04:05.001 line 1"));
    QTRY_COMPARE(view.scene->sceneRect().height(), 2 * stock_pitch());
    QCOMPARE(view.verticalScrollBar()->maximum(), 0);
}

void TestShow::looksAsIfEveryLineHadItsItem_data()
{
    QTest::addColumn<QStringList>("odd"); // every eleventh line is one of these
    QTest::newRow("plain") << QStringList{QStringLiteral("x")};
    QTest::newRow("over several lines")
        << QStringList{QStringLiteral("one<br>two<br>three"), QStringLiteral("<h1>head</h1>tail"),
                       QStringLiteral("<p>a<p>b<p>c<p>d<p>e<p>f")};
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
    for (const int value : {0, end, end / 2, end / 2 + 7, end - 33, 211, 212, 240, 301, 330}) {
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

void TestShow::mouseSelectionSurvivesScrolling()
{
    LogView view;
    view.scroll(false);
    show_view(view);
    add_lines(view, 5000);
    QTRY_VERIFY(item_of(view, 4));
    drag(view, middle_of(4, 0), middle_of(4, 2000));
    // Lines come and the view scrolls in the middle of the drag.
    add_lines(view, 10);
    settle();
    view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
    settle();
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(4, 2000));
    settle();
    QVERIFY(item_of(view, 4));
    QVERIFY(!item_of(view, 5));
    view.verticalScrollBar()->setValue(0);
    settle();
    QCOMPARE(item_of(view, 4)->textCursor().selectedText(), QStringLiteral("2026.01.02 03:04:05.004 line 4"));
    QTest::keyClick(view.viewport(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("2026.01.02 03:04:05.004 line 4"));
}

void TestShow::keyboardSelectionSurvivesScrolling()
{
    LogView view;
    view.scroll(false);
    show_view(view);
    add_lines(view, 5000);
    QTRY_VERIFY(item_of(view, 3));
    drag(view, middle_of(3, 1), middle_of(3, 1));
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(3, 1));
    for (int i = 0; i < 4; ++i)
        QTest::keyClick(view.viewport(), Qt::Key_Right, Qt::ShiftModifier);
    QCOMPARE(item_of(view, 3)->textCursor().selectedText(), QStringLiteral("2026"));
    // Another line has the focus by the time that the view scrolls.
    drag(view, middle_of(5, 1), middle_of(5, 1));
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(5, 1));
    view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
    settle();
    view.verticalScrollBar()->setValue(0);
    settle();
    QCOMPARE(item_of(view, 3)->textCursor().selectedText(), QStringLiteral("2026"));
    QVERIFY(!item_of(view, 2)->textCursor().hasSelection());
}

void TestShow::focusSurvivesScrolling()
{
    LogView view;
    view.scroll(false);
    show_view(view);
    add_lines(view, 5000);
    QTRY_VERIFY(item_of(view, 3));
    drag(view, middle_of(3, 1), middle_of(3, 1));
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(3, 1));
    view.clearFocus();
    view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
    settle();
    view.setFocus();
    QTest::keyClick(view.viewport(), Qt::Key_Right, Qt::ShiftModifier);
    QVERIFY(item_of(view, 3));
    QCOMPARE(item_of(view, 3)->textCursor().selectedText(), QStringLiteral("2"));
}

void TestShow::clearWithSelection()
{
    LogView view;
    show_view(view);
    add_lines(view, 5);
    QTRY_VERIFY(item_of(view, 2));
    drag(view, middle_of(2, 0), middle_of(2, 2000));
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(2, 2000));
    QVERIFY(item_of(view, 2)->textCursor().hasSelection());
    view.clearLog();
    add_lines(view, 5);
    QTRY_VERIFY(item_of(view, 2));
    QVERIFY(!item_of(view, 2)->textCursor().hasSelection());
}

void TestShow::clearWhileSelecting()
{
    LogView view;
    show_view(view);
    add_lines(view, 5);
    QTRY_VERIFY(item_of(view, 2));
    drag(view, middle_of(2, 0), middle_of(2, 100));
    view.clearLog();
    send_mouse(view, QEvent::MouseMove, middle_of(2, 150));
    add_lines(view, 5);
    settle();
    send_mouse(view, QEvent::MouseMove, middle_of(3, 100));
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(2, 200));
    settle();
    QCOMPARE(view.scene->items().size(), 5);
    for (int i = 0; i < 5; ++i)
        QVERIFY(!item_of(view, i)->textCursor().hasSelection());
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

void TestShow::otherFont()
{
    const QFont before = QApplication::font();
    LogView view;
    show_view(view);
    add_lines(view, 300);
    QTRY_VERIFY(item_of(view, 299));
    const double pitch_before = stock_pitch();
    QFont bigger = before;
    bigger.setPointSize(2 * before.pointSize());
    QApplication::setFont(bigger);
    const auto restore = qScopeGuard([&] { QApplication::setFont(before); });
    QVERIFY(stock_pitch() > pitch_before);
    QTRY_COMPARE(view.scene->sceneRect().height(), 300 * stock_pitch());
    add_lines(view, 1);
    QTRY_VERIFY(item_of(view, 300));
    QCOMPARE(item_of(view, 299)->boundingRect(), item_of(view, 298)->boundingRect());
    QCOMPARE(item_of(view, 300)->boundingRect().height(), stock_pitch());
    QTRY_COMPARE(view.verticalScrollBar()->value(), view.verticalScrollBar()->maximum());
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
