#include "logview_fixture.h"

#include <QMouseEvent>

namespace {
// Does with the left button what `type` says, at the middle of a line's height.
void mouse(ShownLog &view, QEvent::Type type, int line, double x)
{
    const QPoint pos = view.mapFromScene(x, (line + 0.5) * stockPitch());
    const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
    const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, pos, view.viewport()->mapToGlobal(pos), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(view.viewport(), &event);
}

void drag(ShownLog &view, int line, double from, double to)
{
    mouse(view, QEvent::MouseButtonPress, line, from);
    mouse(view, QEvent::MouseMove, line, to);
}

void click(ShownLog &view, int line)
{
    drag(view, line, 1, 1);
    mouse(view, QEvent::MouseButtonRelease, line, 1);
}

// Stands for what runs inside of a line's own event, as a drag does with its event loop.
struct ClearOnMove : QGraphicsRectItem
{
    LogView *view = nullptr;
    bool sceneEventFilter(QGraphicsItem *, QEvent *event) override
    {
        if (event->type() == QEvent::GraphicsSceneMouseMove)
            view->clearLog();
        return false;
    }
};
} // namespace

class TestSelect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mouseSelectionSurvivesScrolling()
    {
        ShownLog view(5000, false);
        drag(view, 4, 0, 2000);
        // Lines come and the view scrolls in the middle of the drag.
        view.add(10);
        view.scrollTo(view.end());
        mouse(view, QEvent::MouseButtonRelease, 4, 2000);
        view.settle();
        QVERIFY(view.item(4));
        QVERIFY(!view.item(5));
        view.scrollTo(0);
        QCOMPARE(view.selected(4), shownText(4));
        QTest::keyClick(view.viewport(), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), shownText(4));
        QTest::keyClick(view.viewport(), Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), shownText(4));
    }

    void keyboardSelectionAndFocusSurviveScrolling()
    {
        ShownLog view(5000, false);
        click(view, 3);
        for (int i = 0; i < 4; ++i)
            QTest::keyClick(view.viewport(), Qt::Key_Right, Qt::ShiftModifier);
        QCOMPARE(view.selected(3), "2026"_s);
        // Another line has the focus, and the view has not, by the time that it scrolls.
        click(view, 5);
        view.clearFocus();
        view.scrollTo(view.end());
        view.setFocus();
        QTest::keyClick(view.viewport(), Qt::Key_Right, Qt::ShiftModifier);
        QCOMPARE(view.selected(5), "2"_s);
        view.scrollTo(0);
        QCOMPARE(view.selected(3), "2026"_s);
        QCOMPARE(view.selected(2), QString());
    }

    void clearWithASelection_data()
    {
        QTest::addColumn<bool>("released");
        QTest::addColumn<bool>("inside");
        QTest::newRow("selected") << true << false;
        QTest::newRow("while selecting") << false << false;
        QTest::newRow("inside of the line's event") << false << true;
    }

    void clearWithASelection()
    {
        QFETCH(bool, released);
        QFETCH(bool, inside);
        ShownLog view(5);
        const QPointer<QGraphicsScene> before = view.scene;
        if (inside) {
            auto *filter = new ClearOnMove;
            filter->view = &view;
            view.scene->addItem(filter);
            view.item(2)->installSceneEventFilter(filter);
        }
        drag(view, 2, 0, 2000);
        if (released)
            mouse(view, QEvent::MouseButtonRelease, 2, 2000);
        if (!inside) {
            QCOMPARE(view.selected(2), shownText(2));
            view.clearLog();
        }
        QVERIFY(view.line_store.isEmpty());
        QVERIFY(view.scene != before);
        QCOMPARE(before.isNull(), released); // a pressed line goes on with its event
        mouse(view, QEvent::MouseMove, 2, 150);
        view.add(5);
        mouse(view, QEvent::MouseMove, 3, 100);
        mouse(view, QEvent::MouseButtonRelease, 2, 200);
        view.settle();
        QCOMPARE(view.itemCount(), 5);
        for (int i = 0; i < 5; ++i)
            QCOMPARE(view.selected(i), QString());
    }
};

QTEST_MAIN(TestSelect)
#include "tst_select.moc"
