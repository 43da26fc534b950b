#include "simulator/framecutter.h"

#include <QtTest>

using namespace simulator;

namespace {

// Pieces in hex, frames in brackets, neighbouring dropped bytes joined.
QString text(const QVector<FrameCutter::Piece> &pieces)
{
    QString all;
    for (const auto &piece : pieces)
        all += QLatin1String(piece.isFrame ? "[" : "") + QString::fromLatin1(piece.bytes.toHex()) +
               QLatin1String(piece.isFrame ? "]" : "");
    return all;
}

} // namespace

class TestFrameCutter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cuts_data()
    {
        QTest::addColumn<bool>("packetMode");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("pieces");
        const QByteArray two = "00000001 00010000 00", half = "00 0001", hello = "00000001";
        const QByteArray longFrame = "0104000905ff" + QByteArray(258, 'a').toHex();
        const QString longText = QStringLiteral("[%1]").arg(QLatin1String(longFrame));
        QTest::newRow("two frames and a half") << false << two + half << "[00000001][0001000000]";
        QTest::newRow("11-bit length") << false << longFrame << longText;
        QTest::newRow("junk") << false << "ff08" + hello + "8010" + hello << "ff08[00000001]8010[00000001]";
        QTest::newRow("junk alone goes at once") << false << QByteArray("ff") << "ff";
        QTest::newRow("packet mode") << true << "04" + hello + "0500010000 00"
                                     << "[00000001][0001000000]";
        QTest::newRow("packet mode, low 8 bits of 264") << true << "08" + longFrame << longText;
        QTest::newRow("no packet byte") << true << hello + "04" + hello << "00000001[00000001]";
        QTest::newRow("wrong packet byte") << true << "07" + hello + "04" + hello << "0700000001[00000001]";
    }

    void cuts()
    {
        QFETCH(bool, packetMode);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, pieces);
        const QByteArray all = QByteArray::fromHex(bytes);
        FrameCutter byByte(packetMode);
        QVector<FrameCutter::Piece> got;
        for (int split = 0; split < all.size(); ++split) {
            got += byByte.add(all.mid(split, 1));
            FrameCutter cutter(packetMode);
            const auto first = cutter.add(all.left(split));
            QCOMPARE(text(first + cutter.add(all.mid(split))), pieces);
        }
        QCOMPARE(text(got), pieces);
    }

    void forgetsUnfinishedFrame()
    {
        FrameCutter cutter;
        QVERIFY(cutter.add(QByteArray::fromHex("07ff00")).isEmpty());
        cutter.clear();
        QCOMPARE(text(cutter.add(QByteArray::fromHex("00000001"))), QStringLiteral("[00000001]"));
    }
};

QTEST_GUILESS_MAIN(TestFrameCutter)
#include "tst_framecutter.moc"
