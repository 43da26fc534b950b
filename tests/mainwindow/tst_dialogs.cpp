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
        table->setSelectionMode(QAbstractItemView::ExtendedSelection);
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

private:
    QWidget *widget(const QString &name) const
    {
        auto *const found = dialog->findChild<QWidget *>(name);
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
            QCOMPARE(shown(widget(name)), value);
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
