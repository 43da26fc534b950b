#include "firmware/flashmem.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

// Writes down what is sent and which boxes come up, closes the boxes and answers file dialogs.
struct Flash : FlashMem
{
    QStringList sent, boxes;
    QString chosen; // cancels the file dialog if empty
    QTimer watch;
    QTemporaryDir folder;

    Flash()
    {
        connect(this, &FlashMem::erase, [this](int page) { sent += QStringLiteral("E%1").arg(page, 0, 16); });
        connect(this, &FlashMem::program, [this](int address, const QByteArray &words) {
            sent += QStringLiteral("P%1 %2").arg(address, 0, 16).arg(QString::fromLatin1(words.toHex()));
        });
        connect(this, &FlashMem::cmd_read_memory, [this](uint32 address, int length) {
            sent += QStringLiteral("R%1 %2").arg(address, 0, 16).arg(length, 0, 16);
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
    QLineEdit *edit(const char *name) { return findChild<QLineEdit *>(QLatin1String(name)); }
    void click(const char *name) { findChild<QPushButton *>(QLatin1String(name))->click(); }
    QString path() const { return folder.filePath(QStringLiteral("%1<b>.bin")); }
    QByteArray content() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "none";
    }
    void paste(const QStringList &fields) // name=text
    {
        for (const QString &field : fields) {
            auto *const target = findChild<QLineEdit *>(field.section(QLatin1Char('='), 0, 0));
            target->selectAll();
            target->insert(field.section(QLatin1Char('='), 1));
        }
    }
    void choose(const QByteArray &content)
    {
        QFile file(chosen = path());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        click("pushSelect");
    }
};

QByteArray bytes(int size)
{
    QByteArray content;
    for (int i = 0; i < size; ++i)
        content += char(i);
    return content;
}

QStringList lines(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

} // namespace

class TestFlashMem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typed_data()
    {
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("sent");
        const auto row = [](const char *fields, const char *shown, const char *sent) {
            QTest::newRow(fields) << lines(fields) << QString::fromLatin1(shown) << lines(sent);
        };
        row("lineAddress=80000", "7ffff ff", "Eff");
        row("linePage=100", "7ffff ff", "Eff");
        row("linePage=123456", "7ffff ff", "Eff");
        row("linePage=3E", "1f000 3e", "E3e");
        row("lineAddress=01F7FF", "1f7ff 3e", "E3e");
        row("lineAddress=1f000,lineAddress=xyz", "0 0", "E0");
        row("lineAddress=1f000,linePage=", "0 0", "E0");
        row("lineAddress=2,lineData=01020304", "2 0", "E0");
        row("lineData=01020304,lineAddress=2", "2 0", "E0");
        row("lineData=0102030", "0 0", "E0");
        row("lineData=01020304,lineData=", "0 0", "E0");
        row("lineData=0102 304", "0 0", "E0,P0 00102304"); // eight characters, seven digits, four bytes
        row("lineData=01 02 03", "0 0", "E0");             // eight characters, three bytes
        row("lineData=DEADBEEF,lineAddress=1f004", "1f004 3e", "E3e,P7c01 deadbeef");
        row("lineData=01020304,lineAddress=7fffc", "7fffc ff", "Eff,Pffff 01020304"); // 16 bits of 1ffff
    }
    void typed()
    {
        QFETCH(QStringList, fields);
        Flash flash;
        flash.click("pushFlash"); // disabled at first
        flash.paste(fields);
        flash.click("pushErase");
        flash.click("pushFlash");
        QTEST(flash.sent, "sent");
        QTEST(flash.edit("lineAddress")->text() + QLatin1Char(' ') + flash.edit("linePage")->text(), "shown");
    }

    void message()
    {
        Flash flash;
        const auto *const info = flash.findChild<QLabel *>(QStringLiteral("labelInfo"));
        flash.paste({QStringLiteral("lineData=<b>") + QString(1'000'000, QChar(0))});
        QCOMPARE(info->text(), QStringLiteral("Address and Data length must be divisible by 4"));
        flash.paste({QStringLiteral("lineData=00000000")});
        QCOMPARE(info->text(), QString());
    }

    void programFile_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("presses");
        QTest::addColumn<QStringList>("sent");
        const QByteArray full = bytes(32).toHex();
        const auto row = [](int size, const char *address, int presses, const QByteArray &sent) {
            QTest::addRow("%d at %s, %d", size, address, presses)
                << size << QString::fromLatin1(address) << presses << lines(sent.constData());
        };
        row(0, "1f000", 1, "");
        row(5, "1F001", 1, "P7c00 ff0001020304ffff");
        row(33, "1f000", 1, "P7c00 " + full + ",P7c08 20ffffff");
        row(32, "40003", 1, "P0 ffffff" + full.left(58) + ",P8 1d1e1fff");
        // The second press starts again, with the first one's timer still to come.
        row(65, "", 2, "P0 " + full + ",P0 " + full + ",P8 " + bytes(64).mid(32).toHex() + ",P10 40ffffff");
    }
    void programFile()
    {
        QFETCH(int, size);
        QFETCH(QString, address);
        QFETCH(int, presses);
        QFETCH(QStringList, sent);
        Flash flash;
        flash.edit("lineFileAddress")->setText(address);
        flash.choose(bytes(size));
        QCOMPARE(flash.edit("lineFileSize")->text(), QString::number(size));
        const auto *const progress = flash.findChild<QProgressBar *>();
        QCOMPARE(progress->maximum(), sent.size() - presses + 1);
        for (int i = 0; i < presses; ++i)
            flash.click("pushFlashFile");
        QTRY_COMPARE(flash.sent, sent);
        QCOMPARE(progress->value(), progress->maximum());
    }

    void refusedFile()
    {
        Flash flash;
        flash.choose(bytes(4));
        flash.chosen.clear();
        flash.click("pushSelect");
        flash.chosen = QStringLiteral("/dev/zero"); // has no end
        flash.click("pushSelect");
        QCOMPARE(flash.boxes, lines("Open File\nerror:5,Open File\nerror:4"));
        flash.click("pushFlashFile");
        QCOMPARE(flash.sent, lines("P7c00 00010203"));
    }

    void readToFile_data()
    {
        QTest::addColumn<QStringList>("fields");
        QTest::addColumn<QList<int>>("replies"); // sizes of the pieces
        QTest::addColumn<QStringList>("sent");
        const auto row = [](const char *fields, const QList<int> &replies, const char *sent) {
            QTest::newRow(fields) << lines(fields) << replies << lines(sent);
        };
        row("savesizeEdit=10", {32}, "R0 20");
        row("savesizeEdit=0", {32}, "R0 20");
        row("savesizeEdit=20", {32}, "R0 20");
        row("savesizeEdit=21", {32, 1}, "R0 20,R20 1");
        row("savesizeEdit=45", {5, 0, 32, 32}, "R0 20,R5 20,R5 20,R25 20");
        row("savesizeEdit=21,saveaddressEdit=fffffff0", {32, 1}, "Rfffffff0 20,R10 1");
    }
    void readToFile()
    {
        QFETCH(QStringList, fields);
        QFETCH(QList<int>, replies);
        Flash flash;
        flash.rsp_read_memory(0, bytes(32)); // nobody asked
        flash.chosen = flash.path();
        flash.click("browseButton");
        flash.paste(fields);
        flash.click("readButton");
        QByteArray memory;
        for (const int size : replies) {
            const uint32 address =
                flash.sent.last().mid(1).section(QLatin1Char(' '), 0, 0).toUInt(nullptr, 16);
            memory += bytes(size);
            flash.rsp_read_memory(address, bytes(size));
            QCOMPARE(flash.content(), memory); // nothing waits in a buffer
        }
        flash.rsp_read_memory(0, bytes(32)); // too late
        QTEST(flash.sent, "sent");
        QCOMPARE(flash.content(), memory);
    }

    void refusedRead_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("box"); // up to the text of the field
        const auto row = [](const char *field, const char *box) {
            QTest::newRow(field) << QString::fromLatin1(field) << QString::fromLatin1(box);
        };
        row("savesizeEdit=<b>%1%2", "Size error\nExpected hexadecimal value\n");
        row("savesizeEdit=80000000", "Size error\nExpected hexadecimal value\n"); // the count has a sign
        row("saveaddressEdit=", "Address error\nExpected hexadecimal value\n");
        row("savefileName=/", "File open failed\nIs a directory\n");
        row("savefileName=pipe", "File open failed\nIs a pipe\n");
        row("savefileName=", "File open failed\nNo file name specified\n");
    }
    void refusedRead()
    {
        QFETCH(QString, field);
        QFETCH(QString, box);
        Flash flash;
        QProcess::execute(QStringLiteral("mkfifo"), {flash.folder.filePath(QStringLiteral("pipe"))});
        field.replace(QStringLiteral("=pipe"),
                      QLatin1Char('=') + flash.folder.filePath(QStringLiteral("pipe")));
        flash.edit("savefileName")->setText(flash.path());
        flash.click("readButton");
        flash.paste({field});
        flash.click("readButton");
        QCOMPARE(flash.boxes, QStringList(box + field.section(QLatin1Char('='), 1)));
        flash.rsp_read_memory(0, bytes(2)); // the read before goes on
        QCOMPARE(flash.sent, lines("R0 20,R2 20"));
    }

    void fullDisk()
    {
        Flash flash;
        flash.edit("savefileName")->setText(QStringLiteral("/dev/full"));
        flash.click("readButton");
        flash.rsp_read_memory(0, bytes(32));
        flash.rsp_read_memory(32, bytes(32));
        QVERIFY(flash.boxes.isEmpty()); // nobody waits for the box
        QTRY_COMPARE(flash.boxes, lines("File write failed\nNo space left on device\n/dev/full"));
        QCOMPARE(flash.sent, lines("R0 20"));
    }

    void keys()
    {
        Flash flash;
        flash.show();
        auto *const address = flash.edit("lineAddress");
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
