#include "firmware/flashmem.h"

#include <QtTest>
#include <QtWidgets>

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

QStringList lines(const QByteArray &text)
{
    return QString::fromLatin1(text).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

} // namespace

class TestFlashMem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typed()
    {
        const struct
        {
            const char *fields, *shown, *sent; // names and texts; address and page; commands
        } rows[] = {
            {"lineAddress=80000", "7ffff ff", "Eff"},
            {"linePage=100", "7ffff ff", "Eff"},
            {"linePage=123456", "7ffff ff", "Eff"},
            {"linePage=3E", "1f000 3e", "E3e"},
            {"lineAddress=01F7FF", "1f7ff 3e", "E3e"},
            {"lineAddress=1f000,lineAddress=xyz", "0 0", "E0"},
            {"lineAddress=1f000,linePage=", "0 0", "E0"},
            {"lineAddress=2,lineData=01020304", "2 0", "E0"},
            {"lineData=01020304,lineAddress=2", "2 0", "E0"},
            {"lineData=0102030", "0 0", "E0"},
            {"lineData=01020304,lineData=", "0 0", "E0"},
            {"lineData=0102 304", "0 0", "E0,P0 00102304"}, // eight characters, seven digits, four bytes
            {"lineData=01 02 03", "0 0", "E0"},             // eight characters, three bytes
            {"lineData=DEADBEEF,lineAddress=1f004", "1f004 3e", "E3e,P7c01 deadbeef"},
            {"lineData=01020304,lineAddress=7fffc", "7fffc ff", "Eff,Pffff 01020304"}, // 16 bits of 1ffff
        };
        for (const auto &row : rows) {
            Flash flash;
            flash.click("pushFlash"); // disabled at first
            flash.paste(lines(row.fields));
            flash.click("pushErase");
            flash.click("pushFlash");
            const QString shown =
                flash.edit("lineAddress")->text() + QLatin1Char(' ') + flash.edit("linePage")->text();
            QCOMPARE(lines(row.fields) + flash.sent << shown, lines(row.fields) + lines(row.sent)
                                                                  << QString::fromLatin1(row.shown));
        }
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

    void programFile()
    {
        const QByteArray full = bytes(32).toHex();
        const struct
        {
            int size;
            const char *address;
            int presses;
            QByteArray sent;
        } rows[] = {
            {0, "1f000", 1, ""},
            {5, "1F001", 1, "P7c00 ff0001020304ffff"},
            {33, "1f000", 1, "P7c00 " + full + ",P7c08 20ffffff"},
            {32, "40003", 1, "P0 ffffff" + full.left(58) + ",P8 1d1e1fff"},
            // The second press starts again, with the first one's timer still to come.
            {65, "", 2, "P0 " + full + ",P0 " + full + ",P8 " + bytes(64).mid(32).toHex() + ",P10 40ffffff"},
        };
        for (const auto &row : rows) {
            const QStringList sent = lines(row.sent);
            Flash flash;
            flash.edit("lineFileAddress")->setText(QString::fromLatin1(row.address));
            flash.choose(bytes(row.size));
            QCOMPARE(flash.edit("lineFileSize")->text(), QString::number(row.size));
            const auto *const progress = flash.findChild<QProgressBar *>();
            QCOMPARE(progress->maximum(), sent.size() - row.presses + 1);
            for (int i = 0; i < row.presses; ++i)
                flash.click("pushFlashFile");
            QTRY_COMPARE(flash.sent, sent);
            QCOMPARE(progress->value(), progress->maximum());
        }
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

    void readToFile()
    {
        const struct
        {
            const char *fields;
            QList<int> replies; // sizes of the pieces
            const char *sent;
        } rows[] = {
            {"savesizeEdit=10", {32}, "R0 20"},
            {"savesizeEdit=0", {32}, "R0 20"},
            {"savesizeEdit=20", {32}, "R0 20"},
            {"savesizeEdit=21", {32, 1}, "R0 20,R20 1"},
            {"savesizeEdit=45", {5, 0, 32, 32}, "R0 20,R5 20,R5 20,R25 20"},
            {"savesizeEdit=21,saveaddressEdit=fffffff0", {32, 1}, "Rfffffff0 20,R10 1"},
        };
        for (const auto &row : rows) {
            Flash flash;
            flash.rsp_read_memory(0, bytes(32)); // nobody asked
            flash.chosen = flash.path();
            flash.click("browseButton");
            flash.paste(lines(row.fields));
            flash.click("readButton");
            QByteArray memory;
            for (const int size : row.replies) {
                const QString address = flash.sent.last().mid(1).section(QLatin1Char(' '), 0, 0);
                memory += bytes(size);
                flash.rsp_read_memory(address.toUInt(nullptr, 16), bytes(size));
                QCOMPARE(flash.content(), memory); // nothing waits in a buffer
            }
            flash.rsp_read_memory(0, bytes(32)); // too late
            QCOMPARE(lines(row.fields) + flash.sent, lines(row.fields) + lines(row.sent));
            QCOMPARE(flash.content(), memory);
        }
    }

    void refusedRead()
    {
        const struct
        {
            const char *field, *box; // up to the text of the field
        } rows[] = {
            {"savesizeEdit=<b>%1%2", "Size error\nExpected hexadecimal value\n"},
            {"savesizeEdit=80000000", "Size error\nExpected hexadecimal value\n"}, // the count has a sign
            {"saveaddressEdit=", "Address error\nExpected hexadecimal value\n"},
            {"savefileName=/", "File open failed\nIs a directory\n"},
            {"savefileName=pipe", "File open failed\nIs a pipe\n"},
            {"savefileName=", "File open failed\nNo file name specified\n"},
        };
        for (const auto &row : rows) {
            Flash flash;
            const QString pipe = flash.folder.filePath(QStringLiteral("pipe"));
            QProcess::execute(QStringLiteral("mkfifo"), {pipe});
            const QString field = QString::fromLatin1(row.field).replace(QStringLiteral("pipe"), pipe);
            flash.edit("savefileName")->setText(flash.path());
            flash.click("readButton");
            flash.paste({field});
            flash.click("readButton");
            QCOMPARE(flash.boxes, {QString::fromLatin1(row.box) + field.section(QLatin1Char('='), 1)});
            flash.rsp_read_memory(0, bytes(2)); // the read before goes on
            QCOMPARE(flash.sent, lines("R0 20,R2 20"));
        }
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
