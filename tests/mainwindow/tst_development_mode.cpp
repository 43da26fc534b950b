#include <QAction>
#include <QSignalSpy>
#include <QTest>

#include "tests/mainwindow/window_fixture.h"

class DevelopmentModeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void development_mode_toggles_what_is_seen();
    void development_mode_counts_a_hidden_window_as_off();
    void hidden_actions_have_dead_shortcuts();

private:
    start_conditions conditions;
};

void DevelopmentModeTest::development_mode_toggles_what_is_seen()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    const auto seen = [&window] {
        QString names;
        for (const char *name : {"lineMap", "rawSend", "spinEndpoint"})
            names += find(window, name)->isVisible() ? QLatin1String(name) : QLatin1String("-");
        for (const char *name : {"actionFlash", "actionSet_Address", "actionWhitelist",
                                 "actionGet_Channel_Quality_Map", "actionGet_Address"})
            names += find<QAction>(window, name)->isVisible() ? QLatin1String("+") : QLatin1String("-");
        return names;
    };
    QCOMPARE(seen(), QStringLiteral("-------+"));
    window.dev_mode(false);
    QCOMPARE(seen(), QStringLiteral("-------+"));
    find<QAction>(window, "actionMagic")->trigger();
    QCOMPARE(seen(), QStringLiteral("lineMaprawSendspinEndpoint+++++"));
    find<QAction>(window, "actionMagic")->trigger();
    QCOMPARE(seen(), QStringLiteral("-------+"));
}

void DevelopmentModeTest::development_mode_counts_a_hidden_window_as_off()
{
    MainWindow window;
    window.on_actionMagic_triggered();
    window.on_actionMagic_triggered();
    QVERIFY(!find(window, "rawSend")->isHidden());
    QVERIFY(find<QAction>(window, "actionFlash")->isVisible());
}

void DevelopmentModeTest::hidden_actions_have_dead_shortcuts()
{
    MainWindow window;
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    const QSignalSpy flash(find<QAction>(window, "actionFlash"), &QAction::triggered);
    const QSignalSpy magic(find<QAction>(window, "actionMagic"), &QAction::triggered);
    QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(flash.count(), 0);
    QTest::keyClick(&window, Qt::Key_M, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
    QCOMPARE(magic.count(), 1);
    QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(flash.count(), 1);
}

QTEST_MAIN(DevelopmentModeTest)
#include "tst_development_mode.moc"
