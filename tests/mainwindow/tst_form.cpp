#include "tests/mainwindow/window_fixture.h"
#include "tests/steps.h"

namespace {

QString valueOf(const QObject *object, const QString &name)
{
    QStringList list;
    if (const auto *const layout = qobject_cast<const QLayout *>(object)) {
        for (int i = 0; i < layout->count(); ++i) {
            const QObject *const widget = layout->itemAt(i)->widget();
            const QObject *const placed = widget ? widget : layout->itemAt(i)->layout();
            if (placed)
                list << placed->objectName();
        }
    } else if (name == QLatin1String("actions")) {
        for (const QAction *action : qobject_cast<const QWidget *>(object)->actions())
            list << (action->isSeparator() ? "-"_s : action->text());
    } else if (name == QLatin1String("items")) {
        const auto *const combo = qobject_cast<const QComboBox *>(object);
        for (int i = 0; i < combo->count(); ++i)
            list << combo->itemText(i);
    } else {
        const QVariant value = object->property(qPrintable(name));
        return value.isValid() ? value.toString() : "(no such property)"_s;
    }
    return list.join(u',');
}

} // namespace

class TestForm : public WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    void formIsAsListed()
    {
        for (const QStringList &line : rowsOf(VORSEL_FORM_TABLE, 1)) {
            QStringList fields = line[0].split(u'|');
            const auto *const object =
                fields[0] == window->objectName() ? window.get() : find<QObject>(qPrintable(fields[0]));
            fields[1] = QLatin1String(object->metaObject()->className());
            for (int i = 2; i < fields.size(); ++i) {
                const QString name = fields[i].section(u'=', 0, 0);
                fields[i] = name + u'=' + valueOf(object, name);
            }
            QCOMPARE(fields.join(u'|'), line[0]);
        }
        QCOMPARE(window->dockWidgetArea(find<QDockWidget>("dockLog")), Qt::BottomDockWidgetArea);
        QCOMPARE(window->dockWidgetArea(find<QDockWidget>("dockGAP")), Qt::LeftDockWidgetArea);
        const auto *const label = find<QLabel>("labelDev");
        QCOMPARE(label->palette().color(QPalette::Window),
                 QApplication::palette(label).color(QPalette::Window));
    }

    // No other is, and nothing else is said.
    void threeConnectionsAreRefused()
    {
        static QStringList warnings;
        const auto collect = [](QtMsgType type, const QMessageLogContext &, const QString &text) {
            if (type != QtDebugMsg && type != QtInfoMsg)
                warnings << text;
        };
        const QtMessageHandler previous = qInstallMessageHandler(collect);
        window = std::make_unique<MainWindow>();
        qInstallMessageHandler(previous);
        const char *const expected[] = {
            "QObject::connect: No such signal cls_ble_system::evt_endpoint_rx(uint8,QByteArray)",
            "QObject::connect:  (receiver name: 'IODialog')",
            "QObject::connect: No such slot cls_ble_gap::cmd_set_address_mode(uint8,bd_addr)",
            "QObject::connect:  (sender name:   'SetAddressDialog')",
            "QObject::connect: No such slot cls_ble_flash::cmd_write_words(uint16,QByteArray)",
            "QObject::connect:  (sender name:   'FlashMem')",
        };
        QCOMPARE(warnings.size(), int(std::size(expected)));
        for (int i = 0; i < warnings.size(); ++i) // a debug build adds where a connection was made
            QCOMPARE(warnings[i].section(" in "_s, 0, 0), QString::fromLatin1(expected[i]));
        QCOMPARE(log(), QString());
    }

    void windowsHaveAnIconAndTheAboutBoxAPicture()
    {
#ifndef Q_OS_WIN
        for (const QWidget *shown :
             {static_cast<QWidget *>(window.get()), window->findChild<QWidget *>("IODialog"_s)})
            QVERIFY(!shown->windowIcon().pixmap(64).isNull());
#endif
        const auto *const picture =
            window->findChild<QDialog *>("AboutDialog"_s)->findChild<QLabel *>("label_3"_s);
        QVERIFY(!picture->pixmap(Qt::ReturnByValue).isNull());
    }

    void dialogsOpenWholeAndOnTheScreen()
    {
        QVERIFY(show());
        for (QDialog *dialog : window->findChildren<QDialog *>(QString(), Qt::FindDirectChildrenOnly)) {
            dialog->show();
            const QSize placed = dialog->size();
            QVERIFY(QTest::qWaitForWindowExposed(dialog));
            QApplication::processEvents();
            QVERIFY2(dialog->size() == placed, qPrintable(dialog->objectName()));
            const QRect screen = dialog->screen()->availableGeometry();
            QVERIFY2(screen.contains(dialog->geometry()) && screen.contains(dialog->pos()),
                     qPrintable(dialog->objectName()));
            dialog->hide();
        }
    }

    void missingDefinitionFileIsLoggedTwice()
    {
        const QTemporaryDir elsewhere;
        QVERIFY(QDir(elsewhere.path()).mkdir("start"_s));
        QDir::setCurrent(elsewhere.filePath("start"_s));
        window = std::make_unique<MainWindow>();
        QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
        QCOMPARE(log(), "../api/bleapi.xml file open failed 5|"
                        "c:/projects/ble/ble/api/bleapi.xml file open failed 5"_s);
    }

    void developmentModeCountsAHiddenWindowAsOff()
    {
        window->on_actionMagic_triggered();
        window->on_actionMagic_triggered();
        QVERIFY(!find("rawSend")->isHidden());
        QVERIFY(find<QAction>("actionFlash")->isVisible());
    }

    void hiddenActionsHaveDeadShortcuts()
    {
        QVERIFY(show());
        const QSignalSpy flash(find<QAction>("actionFlash"), &QAction::triggered);
        QTest::keyClick(window.get(), Qt::Key_F, Qt::ControlModifier);
        QCOMPARE(flash.count(), 0);
        QTest::keyClick(window.get(), Qt::Key_M, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
        QTest::keyClick(window.get(), Qt::Key_F, Qt::ControlModifier);
        QCOMPARE(flash.count(), 1);
    }
};

QTEST_MAIN(TestForm)
#include "tst_form.moc"
