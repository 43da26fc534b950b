#include "firmware/dfudialog.h"
#include "tests/chains.h"

#include "protocol/cls_ble.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>
#include <tuple>

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

    void chains_data() { addChains(VORSEL_CHAINS); }

    void chains()
    {
        QFETCH(QByteArrayList, steps);
        for (const QByteArray &step : steps) {
            const QByteArrayList words = step.split(' ') << QByteArray();
            const QByteArray &verb = words.at(0);
            const QByteArray &object = words.at(1);
            const QByteArray rest = step.mid(verb.size() + 1);
            if (verb == "press") {
                find<QPushButton>(object)->click();
            } else if (verb == "set") {
                find<QSpinBox>(object)->setValue(words.at(2).toInt());
            } else if (verb == "load") {
                QVERIFY(load(object, words.at(2).toInt()));
            } else if (verb == "rx") {
                engine->rx_data(QByteArray::fromHex(rest));
            } else if (verb == "retry") {
                const QDeadlineTimer early(99, Qt::PreciseTimer);
                QTRY_VERIFY(!sent.isEmpty());
                QVERIFY2(early.hasExpired(), step.constData());
            } else if (verb == "tx") {
                QCOMPARE(sent.join(' '), rest);
                sent.clear();
            } else if (verb == "value") {
                QCOMPARE(object + ' ' + QByteArray::number(find<QSpinBox>(object)->value()), rest);
            } else {
                QCOMPARE(verb, QByteArray("text"));
                static const QRegularExpression number(QStringLiteral("\\([0-9.e+-]+ "));
                const QString shown = find<QLabel>(object)->text().replace(number, QStringLiteral("(# "));
                QCOMPARE((object + ' ' + shown.toLatin1()).trimmed(), rest);
            }
        }
        QCOMPARE(sent.join(' '), QByteArray());
    }

    // Nothing that cannot be read is waited for, and nothing is sent.
    void badFiles()
    {
        // clazy:excludeall=range-loop-reference // made from the literals, so there is nothing to refer to
        for (const QByteArray name : {"/nowhere/<b>x</b>", "/", "/dev/zero", "/proc/self/mem"}) {
            for (const QByteArray edit : {"fileEdit", "fileOTAEdit"}) {
                QByteArray shown;
                atModal<QMessageBox>([&shown](QMessageBox *box) {
                    shown = (box->windowTitle() + box->text()).toLatin1();
                    QVERIFY(box->icon() == QMessageBox::Critical && box->textFormat() == Qt::PlainText);
                    QCOMPARE(box->standardButtons(), QMessageBox::Ok);
                    box->accept();
                });
                find<QLineEdit>(edit)->setText(QString::fromLatin1(name));
                find<QPushButton>(edit == "fileEdit" ? "uploadButton" : "pushOTAUpload")->click();
                const bool opens = edit == "fileEdit" && name == "/proc/self/mem"; // and then cannot be read
                QCOMPARE(shown, (opens ? "DFUUnable to parse hexfile: " : "DFUUnable to open: ") + name);
                QCOMPARE(sent.size(), 0);
            }
        }
    }

    void browse()
    {
        const QStringList hex{QStringLiteral("Select DFU image"), QStringLiteral("Hex files (*.hex)")};
        const QStringList ota{QStringLiteral("Select OTA image"), QStringLiteral("OTA files (*.ota)")};
        for (const auto &[button, edit, text] : {std::make_tuple("browseButton", "fileEdit", hex),
                                                 std::make_tuple("browseButtonUSB", "fileEditUSB", hex),
                                                 std::make_tuple("browseOTAFile", "fileOTAEdit", ota)}) {
            find<QLineEdit>(edit)->setText(QStringLiteral("before"));
            QStringList shown;
            atModal<QFileDialog>([&shown](QFileDialog *files) {
                shown = QStringList(files->windowTitle()) + files->nameFilters();
                files->reject();
            });
            find<QPushButton>(button)->click();
            QCOMPARE(shown, text);
            QCOMPARE(find<QLineEdit>(edit)->text(), QString());

            QString start;
            atModal<QFileDialog>([&start](QFileDialog *files) {
                start = files->directory().path();
                files->reject();
            });
            find<QPushButton>(button)->click();
            QCOMPARE(start, QDir::homePath());
        }
    }

    void tool()
    {
        // What the tool is told to do, and the text below the first two lines.
        const std::tuple<const char *, const char *> rows[] = {
            {"0 %1", "DFU Started...\n\n[%2:] [0 %1]\nFinished"},
            {"", "DFU Started...\n\n[%2:] []\nFinished"},
            {"3", "DFU Started...\n\n[%2:] [3]\nError in USB DFU:3 0\n"},
            {"zero", "DFU Started...\n\nab\nFinished"},
            {"half", "DFU Started...\n\n<b>\xef\xbf\xbd\nFinished"},
            {"crash", "DFU Started...\n\nError in USB DFU:\nExit with error\nError in USB DFU:9 1\n"},
            {"missing", "Error in USB DFU:\nFailed to start"},
            {"forbidden", "Error in USB DFU:\nFailed to start"},
        };
        const QString name = QCoreApplication::applicationDirPath() + QStringLiteral("/dfutool");
        const QFile::Permissions permissions = QFile::permissions(name);
        find<QLineEdit>("lineVID")->setText(QStringLiteral("%2"));
        find<QLineEdit>("linePID")->clear();
        for (const auto &[word, output] : rows) {
            const QString image = QLatin1String(word);
            QFile program(name);
            if (image == QLatin1String("missing"))
                QVERIFY(program.rename(name + QLatin1Char('~')));
            if (image == QLatin1String("forbidden"))
                QVERIFY(program.setPermissions(QFile::ReadOwner));
            startTool(image);
            const QString expected = QStringLiteral("Starting DFU:") + name + QStringLiteral(" %2: ") +
                                     image + QStringLiteral("\n\n") + QString::fromUtf8(output);
            const bool isShown = QTest::qWaitFor([&] { return shownOutput() == expected; });
            program.rename(name);
            program.setPermissions(permissions);
            QVERIFY2(isShown, qPrintable(shownOutput()));
        }
    }

    void endlessOutput()
    {
        dialog->show();
        for (const char *const image : {"lines", "stream"}) {
            QElapsedTimer clock;
            qint64 maxTurn = 0;
            QTimer turns;
            connect(&turns, &QTimer::timeout, this, [&] { maxTurn = std::max(maxTurn, clock.restart()); });
            clock.start();
            turns.start(0);
            startTool(QLatin1String(image));
            QTRY_VERIFY_WITH_TIMEOUT(find<QPlainTextEdit>("outputTextUSB")->document()->lastBlock().text() ==
                                         QLatin1String("Finished"),
                                     60'000);
            qInfo("%s: longest turn of the event loop %d ms", image, int(maxTurn));
            QVERIFY(maxTurn < 2'000);
            QVERIFY(shownOutput().size() > 5'000 && shownOutput().size() <= 1'000'100);
        }
    }

    void runningTool()
    {
        startTool(QStringLiteral("silent"));
        QTRY_VERIFY(shownOutput().contains(QLatin1String("DFU Started")));
        startTool(QStringLiteral("again"));
        QVERIFY(shownOutput().endsWith(QLatin1String("again\n\nError in USB DFU:\nFailed to start")));
        dialog->dfu_error(QProcess::WriteError);
        dialog->dfu_error(QProcess::ReadError);
        QVERIFY(shownOutput().endsWith(
            QLatin1String("Error in USB DFU:\nWriteError\nError in USB DFU:\nReadError")));
        const QDeadlineTimer limit(5'000);
        dialog.reset();
        QVERIFY(!limit.hasExpired());
    }

private:
    template <typename Widget>
    Widget *find(const QByteArray &name) const
    {
        return dialog->findChild<Widget *>(QString::fromLatin1(name));
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
            if (modal)
                act(modal);
            else
                atModal<Dialog>(act);
        });
    }

    // A hex file has a record a byte.
    bool load(const QByteArray &edit, int size)
    {
        QFile file(folder.filePath(QString::fromLatin1(edit)));
        find<QLineEdit>(edit)->setText(file.fileName());
        QByteArray content;
        for (int i = 0; i < size; ++i) {
            const QByteArray byte(1, char(i * i % 251));
            content += edit == "fileEdit"
                           ? ":01" + QByteArray::number(0x10000 + i, 16).mid(1) + "00" + byte.toHex() + "\n"
                           : byte;
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
