#include "firmware/hexfile.h"

#include <QtTest>

#include <algorithm>

namespace {

QByteArray image;
uint32 low;
uint32 high;

bool read(QByteArray hex)
{
    QBuffer file(&hex);
    file.open(QIODevice::ReadOnly);
    return readHexFile(file, image, low, high);
}

} // namespace

class TestHexFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void records_data()
    {
        QTest::addColumn<QByteArray>("hex");
        QTest::addColumn<QByteArray>("result");
        QTest::addColumn<QByteArray>("bytes");
        QFile table(QStringLiteral(VORSEL_RECORDS));
        QVERIFY(table.open(QIODevice::ReadOnly));
        for (table.readLine(); !table.atEnd();) {
            const QByteArrayList cells = table.readLine().replace("\\n", "\n").split('|');
            QByteArray hex = QByteArray::fromPercentEncoding(cells.at(1).mid(1));
            hex.chop(1);
            QTest::newRow(cells.at(0).constData())
                << hex << cells.at(2).trimmed() << QByteArray::fromHex(cells.at(3));
        }
    }

    void records()
    {
        QFETCH(QByteArray, hex);
        image = "what was there before";
        QTEST(QByteArray(read(hex) ? "ok" : "fail"), "result");
        QTEST(image, "bytes");
        QVERIFY(low == 0 && high == 0x7fffffff);
    }

    void everyPair()
    {
        for (int pair = 0; pair < 0x10000; ++pair) {
            const char text[] = {char(pair >> 8), char(pair)};
            if (text[0] == '\n' || text[1] == '\n')
                continue;
            QVERIFY(read(":01000000" + QByteArray(text, 2)));
            const uint value = QString::fromUtf8(text, 2).toUInt(nullptr, 16);
            QCOMPARE(image.toHex() + text[0] + text[1],
                     QByteArray(1, char(value)).toHex() + text[0] + text[1]);
        }
    }

    // Files of other programs. A row: the command, and how many bytes of 0xff stand before the data.
    void otherPrograms_data()
    {
        QTest::addColumn<int>("gap"); // -1: must be refused
        const auto row = [](const QString &command, int gap) { QTest::newRow(qPrintable(command)) << gap; };
        const QString cat(QStringLiteral("srec_cat in -binary -offset %1 -o out -intel %2"));
        for (int length = 1; length <= 255; length += length < 40 ? 1 : 43)
            row(cat.arg(4096).arg(QStringLiteral("-obs=%1").arg(length)), 4096);
        for (int offset : {0, 1, 0xfff0, 0xffff, 0x10000, 0x123456, 0xffffff})
            row(cat.arg(offset).arg(QString()), offset);
        row(cat.arg(0).arg(QStringLiteral("-crlf -esa 4096")), 0);
        row(cat.arg(0x20000).arg(QStringLiteral("-address-length=3")), -1);
        const QString copy(QStringLiteral("objcopy -I binary -O ihex --change-addresses %1 in out"));
        row(copy.arg(0), -1); // above 64 KiB and below 1 MiB it writes segment records
        row(copy.arg(0x100000), 0x100000);
        row(copy.arg(0x1ffff3), 0x1ffff3);
    }

    void otherPrograms()
    {
        QFETCH(int, gap);
        QTemporaryDir folder;
        QByteArray data(200'000, '\0');
        QRandomGenerator random(7);
        std::generate(data.begin(), data.end(), [&] { return char(random.bounded(256)); });
        QFile in(folder.filePath(QStringLiteral("in")));
        QVERIFY(in.open(QIODevice::WriteOnly) && in.write(data) == data.size() && in.flush());
        QProcess program;
        program.setWorkingDirectory(folder.path());
        QStringList words =
            QString::fromLatin1(QTest::currentDataTag()).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        const QString command = words.takeFirst();
        if (QStandardPaths::findExecutable(command).isEmpty())
            QSKIP("not installed");
        program.start(command, words);
        QVERIFY(program.waitForFinished());
        QVERIFY2(program.exitCode() == 0, program.readAllStandardError().constData());
        QFile out(folder.filePath(QStringLiteral("out")));
        QVERIFY(out.open(QIODevice::ReadOnly) && out.size() > data.size());
        QCOMPARE(readHexFile(out, image, low, high), gap >= 0);
        QVERIFY(gap < 0 || image == QByteArray(gap, '\xff') + data);
    }

    void large()
    {
        const QByteArray line = ":10000000000102030405060708090A0B0C0D0E0F78\n";
        QVERIFY(read(line.repeated(100'000'000 / line.size())) && image.size() == 16);
        QVERIFY(read(":0100000041BE" + QByteArray(100'000'000, 'A') + "\n:FF0001004200"));
        QCOMPARE(image, "AB" + QByteArray(254, '\0'));
        const QByteArray top = ":020000040FFFEC\n"; // the last 64 KiB of what can be
        QVERIFY(read(top + ":00000004FC\n:0100000077FE\n" + top + ":10FFF000" + QByteArray(32, '7')));
        QVERIFY(image.size() == maxImageSize && image.startsWith("\x77\xff"));
        QCOMPARE(image.right(17), '\xff' + QByteArray(16, 'w'));
        QVERIFY(!read(top + ":01FFF00042\n:11FFF000\n") && image.endsWith("\xff\x42"));
        image.clear();
    }
};

QTEST_GUILESS_MAIN(TestHexFile)
#include "tst_hexfile.moc"
