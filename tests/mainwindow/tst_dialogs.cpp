#include "tests/mainwindow/window_fixture.h"

namespace {

// A write of 20 bytes to attribute 1 of a link.
const QString spam = QStringLiteral("00180406 %1 0100 14 ") +
                     QString(20, QLatin1Char('d')).replace(QLatin1Char('d'), QLatin1String("64"));

QString hex(QString text)
{
    return text.replace(QLatin1String("W0"), spam.arg(QLatin1String("00")))
        .replace(QLatin1String("W1"), spam.arg(QLatin1String("01")))
        .remove(QLatin1Char(' '));
}

QString shown(const QWidget *widget)
{
    if (const auto *const table = qobject_cast<const QTableWidget *>(widget)) {
        QStringList rows;
        for (int row = 0; row < table->rowCount(); ++row)
            rows += table->item(row, 0)->text() + QLatin1Char(' ') + table->item(row, 1)->text();
        return rows.join(QLatin1Char('/'));
    }
    const auto *const button = qobject_cast<const QPushButton *>(widget);
    if (button && button->isCheckable())
        return QLatin1String(button->isDown() && button->isChecked() ? "on" : "off");
    if (!widget->isEnabled())
        return QStringLiteral("disabled");
    const QVariant plain = widget->property("plainText");
    return (plain.isValid() ? plain : widget->property("text")).toString();
}

void type(QWidget *widget, const QString &text)
{
    QMetaObject::invokeMethod(widget, "selectAll");
    QTest::keyClick(widget, Qt::Key_Delete);
    if (auto *const edit = qobject_cast<QPlainTextEdit *>(widget))
        edit->insertPlainText(text);
    else
        QTest::keyClicks(widget, text);
}

void set(QWidget *widget, const QString &text)
{
    if (auto *const box = qobject_cast<QComboBox *>(widget)) {
        QVERIFY2(box->findText(text) >= 0, qPrintable(text));
        box->setCurrentText(text);
    } else if (auto *const check = qobject_cast<QCheckBox *>(widget)) {
        if (check->isChecked() != (text == QLatin1String("1")))
            check->click();
    } else if (auto *const table = qobject_cast<QTableWidget *>(widget)) {
        const bool adds = text.startsWith(QLatin1Char('+'));
        table->selectionModel()->select(
            table->model()->index(text.toInt(), 0),
            QItemSelectionModel::Rows |
                (adds ? QItemSelectionModel::Select : QItemSelectionModel::ClearAndSelect));
    } else {
        type(widget, text);
        if (qobject_cast<QSpinBox *>(widget))
            QTest::keyClick(widget, Qt::Key_Return);
    }
}

} // namespace

// The tool dialogs in their window, from their widgets to the bytes on the line and back.
class MainWindowTest : public WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        WindowFixture::init();
        device = std::make_unique<FakeDevice>();
        window->setCommDevice(device.get());
    }
    void cleanup()
    {
        WindowFixture::cleanup();
        device.reset();
    }

    void steps_data()
    {
        QTest::addColumn<QStringList>("row");
        QFile table(QStringLiteral(VORSEL_DIALOGS_TABLE));
        QVERIFY(table.open(QIODevice::ReadOnly | QIODevice::Text));
        while (!table.atEnd()) {
            const QString line = QString::fromUtf8(table.readLine()).remove(QLatin1Char('\n'));
            if (!line.startsWith(QLatin1Char('#')))
                QTest::newRow(qPrintable(line.section(QLatin1Char('|'), 0, 1)))
                    << line.split(QLatin1Char('|'));
        }
    }
    void steps()
    {
        QFETCH(QStringList, row);
        dialog = window->findChild<QDialog *>(row[0]);
        dialog->show();
        for (const QString &step : row[2].split(QLatin1Char(';'))) {
            play(step);
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(step));
        }
    }

    void full_buffers_are_tried_again()
    {
        dialog = window->findChild<QDialog *>(QStringLiteral("ThroughputDialog"));
        for (const char *step : {"pushEnable0", "pushEnable1", ">W0", "<00030406 00 8201", ">"})
            play(QString::fromLatin1(step));
        const auto written = [this] { return QString::fromLatin1(device->written.toHex()); };
        QTRY_COMPARE(written(), hex(QStringLiteral("W0"))); // the same link
        device->written.clear();
        const QTime sent = QTime::currentTime();
        QTRY_VERIFY(sent.msecsTo(QTime::currentTime()) >= 1); // a time to divide by
        play(QStringLiteral("<00030406 00 0000"));
        play(QStringLiteral(">W1"));
        const QString label = shown(widget(QStringLiteral("labelThroughput")));
        QVERIFY2(label.startsWith(QStringLiteral("Sent:40 (")) && label.endsWith(QStringLiteral(" KiB/s)")),
                 qPrintable(label)); // the refused bytes count
        const double rate = label.section(QLatin1Char('('), 1).section(QLatin1Char(' '), 0, 0).toDouble();
        QVERIFY2(rate > 0 && rate <= 20, qPrintable(label));
        for (const char *step : {"<00030406 01 8201", "pushEnable1"}) // the one that is to be tried again
            play(QString::fromLatin1(step));
        QTRY_COMPARE(written(), hex(QStringLiteral("W0")));
        device->written.clear();
        // What waits for its time when a test ends does not run in the next one.
        for (const char *step : {"<00030406 00 8201", "pushEnable0", "pushEnable0"})
            play(QString::fromLatin1(step));
        bool later = false;
        QTimer::singleShot(30, this, [&later] { later = true; }); // behind the retry's 10 ms
        QTRY_VERIFY(later);
        play(QStringLiteral(">W0"));
    }

    // A passkey that is given up sends nothing, and one over six digits cannot be given.
    void passkey()
    {
        dialog = window->findChild<QDialog *>(QStringLiteral("SMDialog"));
        bool accepts = false;
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&accepts] {
            auto *const input = qobject_cast<QInputDialog *>(QApplication::activeModalWidget());
            if (!input)
                return;
            QCOMPARE(input->windowTitle(), QStringLiteral("MITM Protection"));
            QCOMPARE(input->labelText(), QStringLiteral("Enter Passkey"));
            QCOMPARE(input->intValue(), 0);
            input->setIntValue(1000000);
            accepts ? input->accept() : input->reject();
        });
        watch.start(1);
        play(QStringLiteral("pushPasskey"));
        play(QStringLiteral(">"));
        accepts = true;
        play(QStringLiteral("pushPasskey"));
        play(QStringLiteral(">00050504 00 3f420f00"));
    }

    // Whatever stands in the boxes, whatever comes, and whether a dialog was ever shown.
    void bad_input_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << QString();
        QTest::newRow("letters") << QStringLiteral("xyz -1 0x");
        QTest::newRow("markup") << QStringLiteral("<img src=/dev/zero>&#0;");
        QTest::newRow("nul") << QString(3, QChar(0));
        QTest::newRow("a million") << QString(1 << 20, QLatin1Char('f'));
    }
    void bad_input()
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
            for (auto *table : window->findChildren<QTableWidget *>(QStringLiteral("tablePSKeys"))) {
                device->receive("800301000000 00");
                table->item(0, 0)->setText(text);
                table->item(0, 1)->setText(text);
                table->selectRow(0);
            }
            press_all_buttons(dialogs);
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
        trigger("actionGet_Address");
        QCOMPARE(device->written.toHex(), QByteArray("00000002"));
    }

private:
    static void press_all_buttons(const QList<QDialog *> &dialogs)
    {
        for (QDialog *each : dialogs) {
            const QString name = each->objectName();
            // Those that open a file dialog or start a program.
            if (name == QLatin1String("DFUDialog") || name == QLatin1String("FlashMem"))
                continue;
            for (auto *button : each->findChildren<QPushButton *>()) {
                if (button->objectName() != QLatin1String("pushPasskey"))
                    button->click();
            }
        }
    }

    QWidget *widget(const QString &name) const
    {
        auto *const found = name.isEmpty() ? dialog : dialog->findChild<QWidget *>(name);
        if (!found)
            qFatal("no %s", qPrintable(name));
        return found;
    }

    void play(const QString &step)
    {
        const QString name = step.section(QRegularExpression(QStringLiteral("[=?]")), 0, 0);
        const QString value = step.mid(name.size() + 1);
        if (step.startsWith(QLatin1Char('>'))) {
            QCOMPARE(QString::fromLatin1(device->written.toHex()), hex(step.mid(1)));
            device->written.clear();
        } else if (step.startsWith(QLatin1Char('<'))) {
            device->receive(hex(step.mid(1)).toLatin1().constData());
        } else if (step == QLatin1String("ESCAPE")) {
            QTest::keyClick(dialog, Qt::Key_Escape);
            QVERIFY(dialog->isHidden());
        } else if (name == QLatin1String("cell")) {
            dialog->findChild<QTableWidget *>()
                ->item(value.section(QLatin1Char(' '), 0, 0).toInt(),
                       value.section(QLatin1Char(' '), 1, 1).toInt())
                ->setText(value.section(QLatin1Char(' '), 2));
        } else if (step.contains(QLatin1Char('?'))) {
            const QString property = name.section(QLatin1Char('.'), 1);
            const QWidget *const shows = widget(name.section(QLatin1Char('.'), 0, 0));
            QCOMPARE(property.isEmpty() ? shown(shows) : shows->property(qPrintable(property)).toString(),
                     value);
        } else if (step.contains(QLatin1Char('='))) {
            set(widget(name), value);
        } else {
            qobject_cast<QAbstractButton *>(widget(name))->click();
        }
    }

    std::unique_ptr<FakeDevice> device;
    QDialog *dialog = nullptr;
};

QTEST_MAIN(MainWindowTest)
#include "tst_dialogs.moc"
