#include "simulator/framecutter.h"

#include <QtTest>

using namespace simulator;

namespace {

// Pieces in hex, frames in brackets, neighbouring dropped bytes joined.
QString text(const QVector<FrameCutter::Piece> &pieces)
{
    QString all;
    for (const auto &piece : pieces)
        all +=
            QString::fromLatin1(piece.isFrame ? "[%1]" : "%1").arg(QString::fromLatin1(piece.bytes.toHex()));
    return all;
}

} // namespace

class TestFrameCutter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cuts_data();
    void cuts();
    void forgetsUnfinishedFrame();
    void longJunkIsLinear();
};

void TestFrameCutter::cuts_data()
{
    QTest::addColumn<bool>("packetMode");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("pieces");
    const QByteArray longFrame = "01040009"
                                 "05"
                                 "ff" +
                                 QByteArray(258, 'a').toHex();
    QTest::newRow("frame") << false << QByteArray("00000001") << QStringLiteral("[00000001]");
    QTest::newRow("two frames and a half")
        << false << QByteArray("00000001 00010000 00 0001") << QStringLiteral("[00000001][0001000000]");
    QTest::newRow("11-bit length") << false << longFrame
                                   << QStringLiteral("[%1]").arg(QLatin1String(longFrame));
    QTest::newRow("junk before and between") << false << QByteArray("ff08 00000001 8010 00000001")
                                             << QStringLiteral("ff08[00000001]8010[00000001]");
    QTest::newRow("junk alone goes at once") << false << QByteArray("ff") << QStringLiteral("ff");
    QTest::newRow("packet mode") << true << QByteArray("04 00000001 05 00010000 00")
                                 << QStringLiteral("[00000001][0001000000]");
    QTest::newRow("packet mode, low 8 bits of 264")
        << true << "08" + longFrame << QStringLiteral("[%1]").arg(QLatin1String(longFrame));
    QTest::newRow("packet mode without the byte")
        << true << QByteArray("00000001 04 00000002") << QStringLiteral("00000001[00000002]");
    QTest::newRow("packet mode, wrong byte")
        << true << QByteArray("07 00000001 04 00000002") << QStringLiteral("0700000001[00000002]");
}

void TestFrameCutter::cuts()
{
    QFETCH(bool, packetMode);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, pieces);
    const QByteArray all = QByteArray::fromHex(bytes);
    for (int split = 0; split <= all.size(); ++split) {
        FrameCutter cutter(packetMode);
        auto got = cutter.add(all.left(split));
        got += cutter.add(all.mid(split));
        QCOMPARE(text(got), pieces);
    }
    FrameCutter cutter(packetMode);
    QVector<FrameCutter::Piece> got;
    for (const char byte : all)
        got += cutter.add(QByteArray(1, byte));
    QCOMPARE(text(got), pieces);
}

void TestFrameCutter::forgetsUnfinishedFrame()
{
    FrameCutter cutter;
    QVERIFY(cutter.add(QByteArray::fromHex("07ff00")).isEmpty());
    cutter.clear();
    QCOMPARE(text(cutter.add(QByteArray::fromHex("00000001"))), QStringLiteral("[00000001]"));
}

void TestFrameCutter::longJunkIsLinear()
{
    FrameCutter cutter;
    const auto pieces = cutter.add(QByteArray(4 << 20, '\xff') + QByteArray::fromHex("00000001"));
    QCOMPARE(pieces.size(), 2);
    QCOMPARE(pieces[0].bytes.size(), 4 << 20);
    QVERIFY(pieces[1].isFrame);
}

QTEST_GUILESS_MAIN(TestFrameCutter)
#include "tst_framecutter.moc"
