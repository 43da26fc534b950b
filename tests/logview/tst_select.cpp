#include "logview_fixture.h"

#include <QApplication>
#include <QClipboard>
#include <QMouseEvent>
#include <QTextCursor>

namespace {
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
// Stands for what runs inside of a line's own event, as a drag does with its event loop.
class ClearOnMove : public QGraphicsRectItem
{
public:
    explicit ClearOnMove(LogView &log_view)
        : view(log_view)
    {
    }

protected:
    bool sceneEventFilter(QGraphicsItem *, QEvent *event) override
    {
        if (event->type() == QEvent::GraphicsSceneMouseMove)
            view.clearLog();
        return false;
    }

private:
    LogView &view;
};
} // namespace

class TestSelect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mouseSelectionSurvivesScrolling();
    void keyboardSelectionSurvivesScrolling();
    void focusSurvivesScrolling();
    void clearWithSelection();
    void clearWhileSelecting();
    void clearInsideOfALinesEvent();
};

void TestSelect::mouseSelectionSurvivesScrolling()
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

void TestSelect::keyboardSelectionSurvivesScrolling()
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

void TestSelect::focusSurvivesScrolling()
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

void TestSelect::clearWithSelection()
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

void TestSelect::clearWhileSelecting()
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

void TestSelect::clearInsideOfALinesEvent()
{
    LogView view;
    show_view(view);
    add_lines(view, 5);
    QTRY_VERIFY(item_of(view, 2));
    auto *filter = new ClearOnMove(view);
    view.scene->addItem(filter);
    item_of(view, 2)->installSceneEventFilter(filter);
    const QPointer<QGraphicsScene> before = view.scene;
    drag(view, middle_of(2, 10), middle_of(2, 100));
    QVERIFY(view.scene != before);
    QVERIFY(view.line_store.isEmpty());
    QVERIFY(before); // the line goes on with the event
    send_mouse(view, QEvent::MouseButtonRelease, middle_of(2, 100));
    add_lines(view, 3);
    QTRY_COMPARE(view.scene->items().size(), 3);
}

QTEST_MAIN(TestSelect)
#include "tst_select.moc"
