#include "firmware/dfudialog.h"

#include "protocol/cls_ble.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

namespace {

QByteArray imageBytes(int offset, int count)
{
    QByteArray bytes;
    for (int i = offset; i < offset + count; ++i)
        bytes += char(i * i % 251);
    return bytes;
}

// "@20:16" in the tables stands for the 16 bytes of the image from 20 on.
QByteArray expanded(QByteArray text)
{
    static const QRegularExpression part(QStringLiteral("@(\\d+):(\\d+)"));
    for (auto found = part.match(QString::fromLatin1(text)); found.hasMatch();
         found = part.match(QString::fromLatin1(text)))
        text.replace(found.capturedStart(), found.capturedLength(),
                     imageBytes(found.capturedRef(1).toInt(), found.capturedRef(2).toInt()).toHex());
    return text;
}

} // namespace

class TestDfuDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        engine = std::make_unique<cls_ble>();
        dialog = std::make_unique<DFUDialog>(engine.get());
        sent.clear();
        connect(engine.get(), &cls_ble::tx_data, this,
                [this](const QByteArray &frame) { sent << frame.toHex(); });
        connect(dialog.get(), &DFUDialog::ota_running, this,
                [this](bool on) { sent << (on ? "runs" : "ended"); });
        connect(dialog.get(), &DFUDialog::usb_reset, this, [this] { sent << "usb_reset"; });
    }
    void cleanup() { dialog.reset(); }

    void chains_data()
    {
        QTest::addColumn<QByteArrayList>("steps");
        QFile table(QStringLiteral(VORSEL_CHAINS));
        QVERIFY(table.open(QIODevice::ReadOnly));
        for (const QByteArray &chain : table.readAll().replace("\n== ", "\x01").split('\x01').mid(1)) {
            QByteArrayList lines = chain.split('\n');
            const QByteArray name = lines.takeFirst();
            QTest::newRow(name.constData()) << lines;
        }
    }

    // The steps are told in the table.
    void chains()
    {
        QFETCH(QByteArrayList, steps);
        for (const QByteArray &step : steps) {
            const QByteArrayList words = step.split(' ');
            const QByteArray rest = step.mid(words.at(0).size() + 1);
            if (words.at(0) == "press") {
                find<QPushButton>(words.at(1).constData())->click();
            } else if (words.at(0) == "set") {
                find<QSpinBox>(words.at(1).constData())->setValue(words.at(2).toInt());
            } else if (words.at(0) == "value") {
                QVERIFY2(find<QSpinBox>(words.at(1).constData())->value() == words.at(2).toInt(),
                         step.constData());
            } else if (words.at(0) == "load") {
                QVERIFY(load(words.at(1), words.at(2).toInt()));
            } else if (words.at(0) == "rx") {
                engine->rx_data(QByteArray::fromHex(rest));
            } else if (words.at(0) == "tx") {
                QVERIFY2(sent.join(' ') == expanded(rest),
                         (step + "\nbut sent: " + sent.join(' ')).constData());
                sent.clear();
            } else if (words.at(0) == "retry") {
                QElapsedTimer clock;
                clock.start();
                QTRY_VERIFY(!sent.isEmpty());
                QVERIFY(clock.elapsed() >= 99);
            } else if (words.at(0) == "text") {
                const QString shown = find<QLabel>(words.at(1).constData())->text();
                QString wanted =
                    QRegularExpression::escape(QString::fromLatin1(rest.mid(words.at(1).size() + 1)));
                wanted.replace(QStringLiteral("\\#"), QStringLiteral("[0-9.e+-]+"));
                const QRegularExpression pattern(QRegularExpression::anchoredPattern(wanted));
                QVERIFY2(pattern.match(shown).hasMatch(),
                         (step + "\nbut shown: " + shown.toUtf8()).constData());
            } else {
                QVERIFY2(step.isEmpty() || step.startsWith('#'), step.constData());
            }
        }
        QCOMPARE(sent.join(' '), QByteArray());
    }

    // Nothing that cannot be read is waited for, and nothing is sent.
    void badFiles_data()
    {
        QTest::addColumn<QByteArray>("hexText");
        QTest::newRow("/nowhere/<b>x</b>") << QByteArray("Unable to open: ");
        QTest::newRow("/") << QByteArray("Unable to open: ");
        QTest::newRow("/dev/zero") << QByteArray("Unable to open: ");
        QTest::newRow("/proc/self/mem")
            << QByteArray("Unable to parse hexfile: "); // opens, but cannot be read
    }

    void badFiles()
    {
        QFETCH(QByteArray, hexText);
        const QByteArray name = QTest::currentDataTag();
        for (const bool isHex : {true, false}) {
            QStringList box;
            atModal<QMessageBox>([&box](QMessageBox *shown) {
                box << shown->windowTitle() << shown->text() << QString::number(shown->icon())
                    << QString::number(shown->standardButtons()) << QString::number(shown->textFormat());
                shown->accept();
            });
            find<QLineEdit>(isHex ? "fileEdit" : "fileOTAEdit")->setText(QString::fromLatin1(name));
            find<QPushButton>(isHex ? "uploadButton" : "pushOTAUpload")->click();
            QCOMPARE(box.join(QLatin1Char('|')),
                     QStringLiteral("DFU|%1|3|1024|0")
                         .arg(QString::fromLatin1((isHex ? hexText : "Unable to open: ") + name)));
            QCOMPARE(sent.size(), 0);
        }
    }

    void browse_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("dialogText");
        const QString hex(QStringLiteral("Select DFU image|Hex files (*.hex)"));
        QTest::newRow("browseButton") << QStringLiteral("fileEdit") << hex;
        QTest::newRow("browseButtonUSB") << QStringLiteral("fileEditUSB") << hex;
        QTest::newRow("browseOTAFile")
            << QStringLiteral("fileOTAEdit") << QStringLiteral("Select OTA image|OTA files (*.ota)");
    }

    void browse()
    {
        QFETCH(QString, edit);
        QFETCH(QString, dialogText);
        auto *const line = dialog->findChild<QLineEdit *>(edit);
        line->setText(QStringLiteral("before"));
        QString shown;
        atModal<QFileDialog>([&shown](QFileDialog *files) {
            shown = files->windowTitle() + QLatin1Char('|') + files->nameFilters().join(QLatin1Char(','));
            files->reject();
        });
        find<QPushButton>(QTest::currentDataTag())->click();
        QCOMPARE(shown, dialogText);
        QCOMPARE(line->text(), QString());
    }

    // A row: what the tool is to do, and the text below the first two lines.
    void tool_data()
    {
        QTest::addColumn<QString>("output");
        const QString started(QStringLiteral("DFU Started...\n\n"));
        QTest::newRow("0 %1") << started + QStringLiteral("[%2:] [0 %1]\nFinished");
        QTest::newRow("") << started + QStringLiteral("[%2:] []\nFinished");
        QTest::newRow("3") << started + QStringLiteral("[%2:] [3]\nError in USB DFU:3 0\n");
        QTest::newRow("zero") << started + QStringLiteral("ab\nFinished");
        QTest::newRow("half") << started + QStringLiteral("<b>\ufffd\nFinished");
        QTest::newRow("crash") << started + QStringLiteral(
                                                "Error in USB DFU:\nExit with error\nError in USB DFU:9 1\n");
        QTest::newRow("missing") << QStringLiteral("Error in USB DFU:\nFailed to start");
        QTest::newRow("forbidden") << QStringLiteral("Error in USB DFU:\nFailed to start");
    }

    void tool()
    {
        QFETCH(QString, output);
        const QString image = QString::fromLatin1(QTest::currentDataTag());
        QFile program(QCoreApplication::applicationDirPath() + QStringLiteral("/dfutool"));
        const QFile::Permissions permissions = program.permissions();
        const QString name = program.fileName();
        if (image == QLatin1String("missing"))
            QVERIFY(program.rename(name + QLatin1Char('~')));
        if (image == QLatin1String("forbidden"))
            QVERIFY(program.setPermissions(QFile::ReadOwner));
        find<QLineEdit>("lineVID")->setText(QStringLiteral("%2"));
        find<QLineEdit>("linePID")->clear();
        startTool(image);
        const QString wanted = QStringLiteral("Starting DFU:") + name + QStringLiteral(" %2: ") + image +
                               QStringLiteral("\n\n") + output;
        QTest::qWaitFor([&] { return shownOutput() == wanted; });
        program.rename(name);
        program.setPermissions(permissions);
        QCOMPARE(shownOutput(), wanted);
    }

    void endlessOutput()
    {
        for (const char *const image : {"lines", "stream"}) {
            QElapsedTimer clock;
            clock.start();
            qint64 longestTurn = 0;
            QTimer turns;
            connect(&turns, &QTimer::timeout, this,
                    [&] { longestTurn = std::max(longestTurn, clock.restart()); });
            turns.start(0);
            dialog->show();
            startTool(QLatin1String(image));
            QTRY_VERIFY_WITH_TIMEOUT(shownOutput().endsWith(QLatin1String("xxx\nFinished")), 120'000);
            qInfo("%s: longest turn of the event loop %d ms", image, int(longestTurn));
            QVERIFY(longestTurn < 2'000);
            QVERIFY(shownOutput().size() <= 1'000'100);
        }
    }

    void runningTool()
    {
        startTool(QStringLiteral("silent"));
        QTRY_VERIFY(shownOutput().contains(QLatin1String("DFU Started")));
        startTool(QStringLiteral("again"));
        QVERIFY(shownOutput().endsWith(QLatin1String("again\n\nError in USB DFU:\nFailed to start")));
        QElapsedTimer clock;
        clock.start();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Destroyed while process")));
        dialog.reset();
        QVERIFY(clock.elapsed() < 5'000);
    }

private:
    template <typename Widget>
    Widget *find(const char *name) const
    {
        auto *const widget = dialog->findChild<Widget *>(QString::fromLatin1(name));
        if (widget == nullptr)
            qFatal("the form has no %s", name);
        return widget;
    }

    QString shownOutput() const { return find<QPlainTextEdit>("outputTextUSB")->toPlainText(); }

    void startTool(const QString &image)
    {
        find<QLineEdit>("fileEditUSB")->setText(image);
        find<QPushButton>("pushButton_2")->click();
    }

    // Runs `act` as soon as such a dialog is open.
    template <typename Dialog, typename Act>
    void atModal(Act act)
    {
        QTimer::singleShot(10, this, [this, act] {
            auto *const modal = qobject_cast<Dialog *>(QApplication::activeModalWidget());
            if (modal != nullptr)
                act(modal);
            else
                atModal<Dialog>(act);
        });
    }

    // Names a file of the image's first bytes in its tab: a hex file, a record a byte, or a raw one.
    bool load(const QByteArray &edit, int size)
    {
        QFile file(folder.filePath(QString::fromLatin1(edit)));
        find<QLineEdit>(edit)->setText(file.fileName());
        QByteArray content = imageBytes(0, size);
        if (edit == "fileEdit") {
            content.clear();
            for (int i = 0; i < size; ++i)
                content += ":01" + QByteArray::number(0x10000 + i, 16).mid(1) + "00" +
                           imageBytes(i, 1).toHex() + "\n";
        }
        return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
    }

    QTemporaryDir folder;
    std::unique_ptr<cls_ble> engine;
    std::unique_ptr<DFUDialog> dialog;
    QByteArrayList sent;
};

QTEST_MAIN(TestDfuDialog)
#include "tst_dfudialog.moc"
