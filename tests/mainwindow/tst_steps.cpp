#include "tests/mainwindow/window_fixture.h"
#include "tests/steps.h"

namespace {

// A write of 20 bytes to attribute 1 of a link.
const QString spam = "00180406 %1 0100 14 "_s + QString(20, u'd').replace(u'd', QLatin1String("64"));

QString hex(QString text)
{
    return text.replace(QLatin1String("W0"), spam.arg(QLatin1String("00")))
        .replace(QLatin1String("W1"), spam.arg(QLatin1String("01")))
        .remove(u' ');
}

} // namespace

// The window and its tool dialogs, from their widgets to the bytes on the line and back.
class TestSteps : public DeviceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void steps_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("steps");
        for (const QStringList &row : rowsOf(VORSEL_STEPS_TABLE, 3))
            QTest::addRow("%s|%s", qPrintable(row[0]), qPrintable(row[1])) << row[0] << row[2];
    }
    void steps()
    {
        QFETCH(QString, name);
        QFETCH(QString, steps);
        open(qPrintable(name))->show();
        play(steps.replace("\\t"_s, "\t"_s));
    }

    void fullBuffersAreTriedAgain()
    {
        open("ThroughputDialog");
        play("pushEnable0;pushEnable1;>W0;<00030406 00 8201;>"_s);
        const auto written = [this] { return QString::fromLatin1(device->written.toHex()); };
        QTRY_COMPARE(written(), hex("W0"_s)); // the same link
        const QTime sent = QTime::currentTime();
        QTRY_VERIFY(sent.msecsTo(QTime::currentTime()) >= 1); // a time to divide by
        play(">W0;<00030406 00 0000;>W1"_s);
        const QString label = shown(widget("labelThroughput"_s));
        QVERIFY2(label.startsWith("Sent:40 ("_s) && label.endsWith(" KiB/s)"_s),
                 qPrintable(label)); // the refused bytes count
        const double rate = label.section(u'(', 1).section(u' ', 0, 0).toDouble();
        QVERIFY2(rate > 0 && rate <= 20, qPrintable(label));
        play("<00030406 01 8201;pushEnable1"_s); // the one that is to be tried again
        QTRY_COMPARE(written(), hex("W0"_s));
        // What waits for its time when a test ends does not run in the next one.
        play(">W0;<00030406 00 8201;pushEnable0;pushEnable0"_s);
        bool later = false;
        QTimer::singleShot(30, this, [&later] { later = true; }); // behind the retry's 10 ms
        QTRY_VERIFY(later);
        play(">W0"_s);
    }

    // A passkey that is given up sends nothing, and one over six digits cannot be given.
    void passkey()
    {
        open("SMDialog");
        bool accepts = false;
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&accepts] {
            auto *const input = qobject_cast<QInputDialog *>(QApplication::activeModalWidget());
            if (!input)
                return;
            QCOMPARE(input->windowTitle(), "MITM Protection"_s);
            QCOMPARE(input->labelText(), "Enter Passkey"_s);
            QCOMPARE(input->intValue(), 0);
            const int title = input->fontMetrics().horizontalAdvance(input->windowTitle());
            QVERIFY(input->width() >= title + 130); // the title bar has an icon and buttons
            input->setIntValue(1000000);
            accepts ? input->accept() : input->reject();
        });
        watch.start(1);
        play("pushPasskey;>"_s);
        accepts = true;
        play("pushPasskey;>00050504 00 3f420f00"_s);
    }

    // Whatever stands in the boxes, whatever comes, and whether a dialog was ever shown.
    void badInput_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << QString();
        QTest::newRow("letters") << "xyz -1 0x"_s;
        QTest::newRow("markup") << "<img src=/dev/zero>&#0;"_s;
        QTest::newRow("nul") << QString(3, QChar(0));
        QTest::newRow("a million") << QString(1 << 20, u'f');
    }
    void badInput()
    {
        QFETCH(QString, text);
        const QList<QDialog *> dialogs = window->findChildren<QDialog *>();
        for (int round = 0; round < 2; ++round) {
            for (QDialog *each : dialogs) {
                for (auto *edit : each->findChildren<QLineEdit *>())
                    edit->setText(text);
                for (auto *edit : each->findChildren<QPlainTextEdit *>()) {
                    if (!edit->isReadOnly())
                        edit->setPlainText(text);
                }
                for (auto *combo : each->findChildren<QComboBox *>())
                    combo->setCurrentIndex(combo->count() - 1);
            }
            device->receive("800301000000 00");
            set(window->findChild<QTableWidget *>("tablePSKeys"_s), "0 0 "_s + text);
            set(window->findChild<QTableWidget *>("tablePSKeys"_s), "0 1 "_s + text);
            set(window->findChild<QTableWidget *>("tablePSKeys"_s), "0"_s);
            pressAllButtons(dialogs);
            for (const char *answer :
                 {"000601040001030162", "00040104ffff0162", "80060100ffff03aabbcc", "8003070201ffff",
                  "0004070701800255", "0006070901800102abcd", "00090201ffffffff01800261",
                  "00070202ffff01800261", "000208023930", "00030406070002", "00030406ff8201"})
                device->receive(answer);
            for (QDialog *each : dialogs)
                each->setVisible(round == 0);
        }
        // The window still does its work.
        device->written.clear();
        open("MainWindow");
        play("actionGet_Address;>00000002"_s);
    }

private:
    static void pressAllButtons(const QList<QDialog *> &dialogs)
    {
        for (QDialog *each : dialogs) {
            // Those that open a file dialog or start a program.
            if (each->objectName() == QLatin1String("DFUDialog") ||
                each->objectName() == QLatin1String("FlashMem"))
                continue;
            for (auto *button : each->findChildren<QPushButton *>()) {
                if (button->objectName() != QLatin1String("pushPasskey"))
                    button->click();
            }
        }
    }

    QWidget *open(const char *name)
    {
        place = window.get();
        if (place->objectName() != QLatin1String(name))
            place = window->findChild<QDialog *>(QLatin1String(name));
        return place;
    }

    template <typename Object = QWidget>
    Object *widget(const QString &name) const
    {
        if (place == window.get())
            return find<Object>(qPrintable(name));
        auto *const found = name.isEmpty() ? qobject_cast<Object *>(place) : place->findChild<Object *>(name);
        if (!found)
            qFatal("no %s", qPrintable(name));
        return found;
    }

    void play(const QString &steps)
    {
        for (const QString &step : steps.split(u';')) {
            playOne(step);
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(step));
        }
    }

    void playOne(const QString &step)
    {
        const QString name = step.section(QRegularExpression("[=?]"_s), 0, 0);
        const QString value = step.mid(name.size() + 1);
        const QString property = name.section(u'.', 1);
        if (step.startsWith(u'>')) {
            QCOMPARE(sent(), hex(step.mid(1)));
        } else if (step.startsWith(u'<')) {
            device->receive(qPrintable(hex(step.mid(1))));
        } else if (step == QLatin1String("ESCAPE")) {
            QTest::keyClick(place, Qt::Key_Escape);
            QVERIFY(place->isHidden());
        } else if (name == QLatin1String("LOG")) {
            QCOMPARE(log(), value);
        } else if (!property.isEmpty()) {
            const auto *const object = widget<QObject>(name.section(u'.', 0, 0));
            QCOMPARE(object->property(qPrintable(property)).toString(), value);
        } else if (step.contains(u'?')) {
            QCOMPARE(shown(widget(name)), value);
        } else if (step.contains(u'=')) {
            set(widget(name), value);
        } else if (auto *const action = window->findChild<QAction *>(name)) {
            action->trigger();
        } else if (auto *const button = qobject_cast<QAbstractButton *>(widget(name))) {
            button->click();
        } else {
            QTest::keyClick(widget(name), Qt::Key_Return);
        }
    }

    QWidget *place = nullptr; // where the widgets of the steps are
};

QTEST_MAIN(TestSteps)
#include "tst_steps.moc"
