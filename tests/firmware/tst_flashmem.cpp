#include "firmware/flashmem.h"
#include "tests/chains.h"

#include <QtTest>
#include <QtWidgets>

namespace {

// Writes down what is sent and which boxes come up, closes the boxes and answers file dialogs.
struct Flash : FlashMem
{
    QStringList sent, boxes;
    QString chosen; // cancels the file dialog if empty
    uint32 asked = 0;
    QTimer watch;
    QTemporaryDir folder;

    Flash()
    {
        connect(this, &FlashMem::erase, [this](int page) { sent += QStringLiteral("E%1").arg(page, 0, 16); });
        connect(this, &FlashMem::program, [this](int address, const QByteArray &words) {
            sent += QStringLiteral("P%1 %2").arg(address, 0, 16).arg(QString::fromLatin1(words.toHex()));
        });
        connect(this, &FlashMem::cmd_read_memory, [this](uint32 address, int length) {
            sent += QStringLiteral("R%1 %2").arg(asked = address, 0, 16).arg(length, 0, 16);
        });
        connect(&watch, &QTimer::timeout, this, [this] {
            QWidget *const widget = QApplication::activeModalWidget();
            if (const auto *const box = qobject_cast<QMessageBox *>(widget)) {
                boxes += box->windowTitle() + QLatin1Char('\n') + box->text();
                QVERIFY(box->icon() == QMessageBox::Critical && box->textFormat() == Qt::PlainText);
                widget->close();
            } else if (auto *const dialog = qobject_cast<QFileDialog *>(widget)) {
                QCOMPARE(dialog->windowTitle(), QStringLiteral("Select File"));
                dialog->findChild<QLineEdit *>()->setText(chosen);
                chosen.isEmpty() ? dialog->reject() : static_cast<QDialog *>(dialog)->accept();
            }
        });
        watch.start(1);
    }
    void set(const QString &edit, const QString &text)
    {
        findChild<QLineEdit *>(edit)->selectAll();
        findChild<QLineEdit *>(edit)->insert(text);
    }
};

// Of such sizes, one behind the other.
QByteArray bytes(const QString &sizes)
{
    QByteArray content;
    for (const QString &size : sizes.split(QLatin1Char(' '))) {
        for (int i = 0; i < size.toInt(); ++i)
            content += char(i);
    }
    return content;
}

} // namespace

class TestFlashMem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void chains_data() { addChains(VORSEL_FLASH); }

    void chains()
    {
        QFETCH(QByteArrayList, steps);
        Flash flash;
        const QString path = flash.folder.filePath(QStringLiteral("%1<b>.bin"));
        const QString pipe = flash.folder.filePath(QStringLiteral("pipe"));
        QCOMPARE(QProcess::execute(QStringLiteral("mkfifo"), {pipe}), 0);
        for (const QByteArray &line : steps) {
            QString step = QString::fromLatin1(line).replace(QStringLiteral("\\n"), QStringLiteral("\n"));
            step.replace(QStringLiteral("FILE"), path).replace(QStringLiteral("PIPE"), pipe);
            const QString rest = step.section(QLatin1Char(' '), 1),
                          object = rest.section(QLatin1Char(' '), 0, 0);
            const QString text = rest.section(QLatin1Char(' '), 1);
            QFile file(path);
            if (line.startsWith("press ")) {
                flash.findChild<QPushButton *>(object)->click();
            } else if (line.startsWith("set ")) {
                flash.set(object, text);
            } else if (line.startsWith("choose")) {
                flash.chosen = rest;
            } else if (line.startsWith("load ")) {
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes(rest)) == rest.toInt());
                flash.chosen = path;
            } else if (line.startsWith("rx ")) {
                flash.rsp_read_memory(text.isEmpty() ? flash.asked : text.toUInt(), bytes(object));
                QVERIFY(flash.boxes.isEmpty()); // nobody waits for a box
            } else if (line.startsWith("tx")) {
                QTRY_COMPARE(flash.sent.join(QLatin1Char(',')), rest);
                flash.sent.clear();
            } else if (line.startsWith("box ")) {
                QTRY_COMPARE(flash.boxes.join(QLatin1Char('|')), rest);
                flash.boxes.clear();
            } else if (line.startsWith("file ")) {
                QVERIFY(file.open(QIODevice::ReadOnly));
                QCOMPARE(file.readAll(), bytes(rest));
            } else if (line.startsWith("progress ")) {
                const auto *const progress = flash.findChild<QProgressBar *>();
                QCOMPARE(QStringLiteral("%1 %2").arg(progress->value()).arg(progress->maximum()), rest);
            } else {
                QVERIFY2(line.startsWith("text "), line.constData());
                QCOMPARE(flash.findChild<QWidget *>(object)->property("text").toString(), text);
            }
        }
        QVERIFY(flash.sent.isEmpty() && flash.boxes.isEmpty());
    }

    void message()
    {
        Flash flash;
        const auto *const info = flash.findChild<QLabel *>(QStringLiteral("labelInfo"));
        flash.set(QStringLiteral("lineData"), QStringLiteral("<b>") + QString(1'000'000, QChar(0)));
        QCOMPARE(info->text(), QStringLiteral("Address and Data length must be divisible by 4"));
        flash.set(QStringLiteral("lineData"), QStringLiteral("00000000"));
        QCOMPARE(info->text(), QString());
    }

    void keys()
    {
        Flash flash;
        flash.show();
        auto *const address = flash.findChild<QLineEdit *>(QStringLiteral("lineAddress"));
        address->setText(QStringLiteral("1f0"));
        address->setCursorPosition(1);
        QTest::keyClicks(address, QStringLiteral("AB"));
        QCOMPARE(address->text(), QStringLiteral("1abf0"));
        QCOMPARE(address->cursorPosition(), 3);
        QTest::keyClick(address, Qt::Key_Return); // erases nothing
        QTest::keyClick(address, Qt::Key_Escape);
        QVERIFY(flash.isHidden() && flash.sent.isEmpty());
    }
};

QTEST_MAIN(TestFlashMem)
#include "tst_flashmem.moc"
