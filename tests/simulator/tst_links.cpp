#include "linkedmodule.h"
#include "simulator/attributesbehaviour.h"

using namespace simulator;
using Connecting = RemoteDevice::Connecting;

namespace {

constexpr Row rows[] = {
    {"status", "0307 00>0307 00, !0300 00 01 010203040506 01 0c00 0a00 0000 ff; 0307 01>0307 01, "
               "!0300 01 00 000000000000 00 0000 0000 0000 00; 0307 09>0307 09, "
               "!0300 09 00 000000000000 00 0000 0000 0000 00"},
    {"signal strength", "0301 00>0301 00 c4; 0301 01>0301 01 00"},
    {"version", "0303 00>0303 00 0000, !0301 00 06 0201 0403; 0303 01>0303 01 8601"},
    {"features", "0306 00>0306 00 0000, !0302 00 08 0d00000000000000; 0306 08>0306 08 8601"},
    {"update: the shortest that both accept, or no change",
     "0302 00 0600 1400 0300 6400>0302 00 0000, !0300 00 09 010203040506 01 0c00 6400 0300 ff; "
     "0302 00 0600 0b00 0000 6500>0302 00 0000, !0300 00 01 010203040506 01 0c00 6400 0300 ff; "
     "0302 00 800c 800c 0600 800c>0302 00 0000, !0300 00 09 010203040506 01 800c 800c 0600 ff"},
    {"update: out of range",
     "0302 00 0500 1400 0000 6400>0302 00 8001; 0302 00 1400 1300 0000 6400>0302 00 8001; "
     "0302 00 0600 810c 0000 6400>0302 00 8001; 0302 00 0600 0600 f401 6400>0302 00 8001; "
     "0302 00 0600 0600 0000 0900>0302 00 8001; 0302 00 0600 0600 0000 810c>0302 00 8001; "
     "0302 00 800c 800c 0700 800c>0302 00 8001; 0302 00 ffff ffff ffff ffff>0302 00 8001; 0302 01 0500 1400 "
     "0000 6400>0302 01 8601"},
    {"channel map",
     "0304 00>0304 00 05 ffffffff1f; 0305 00 05 0300000000>0305 00 0000; 0304 00>0304 00 05 0300000000; "
     "0305 00 05 0100000000>0305 00 8001; 0305 00 05 ffffffff3f>0305 00 8001; "
     "0305 00 04 ffffffff>0305 00 8001; 0304 00>0304 00 05 0300000000; 0305 01 00>0305 01 8601"},
    {"raw packets, latency", "0308 00 02 aabb>0308 00; 0309 01>0309 0000; 0309 02>0309 8001"},
    {"local notification", "0205 00 0d00 01 50>0205 0000; 0205 01 0d00 01 50>0205 8601"},
    {"disconnect", "0300 00>0300 00 0000, !0304 00 1602; 0300 00>0300 00 8601; 0307 00>0307 00, "
                   "!0300 00 00 000000000000 00 0000 0000 0000 00"},
    {"encryption without a bond",
     "0500 00 01>0500 00 0000, !0300 00 03 010203040506 01 0c00 0a00 0000 ff; 0404 00 2f00>0404 00 0000, "
     "!0405 00 2f00 00 06 736563726574, !0401 00 0000 2f00; 0505>0505 00; 0500 00 02>0500 00 8001; "
     "0500 01 01>0500 01 8601"},
    {"a bond", "0501 01>0501; 0500 00 01>0500 00 0000, !0300 00 03 010203040506 01 0c00 0a00 0000 00, "
               "!0504 00 10 00 15; 0500 00 01>0500 00 0000, !0300 00 03 010203040506 01 0c00 0a00 0000 00; "
               "0505>0505 01, !0504 00 10 00 15; 0507>0507 0000 01; 000b 010203040506 01>000b 0000; "
               "0502 01>0502 8001; 0502 00>0502 0000; 0502 00>0502 8001; 0307 00>0307 00, "
               "!0300 00 03 010203040506 01 0c00 0a00 0000 ff"},
    {"no protection from the middle",
     "0503 01 07 03>0503; 0500 00 00>0500 00 0000, !0501 00 0303; 0503 00 06 03>0503, !0006 8001; "
     "0500 00 00>0500 00 0000, !0501 00 0303"},
};

} // namespace

class TestLinks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void indicationsAreConfirmed()
    {
        LinkedModule linked;
        linked.play(QStringLiteral("0205000d000150>02050000")); // nobody has asked for it
        QCOMPARE(int(linked.module.attributes().remoteWrite(0, 0x0e, 0, QByteArray::fromHex("0200"))), 0);
        linked.play(
            QStringLiteral("0205000d000150>02050000,!0400000d00; 0205ff0d000150>02050000,!0400000d00"));
    }

    void exchange_data() { addRows(rows); }

    void exchange()
    {
        QFETCH(QString, steps);
        LinkedModule().play(steps);
    }

    void life_data()
    {
        QTest::addColumn<int>("connecting");
        QTest::addColumn<QString>("frames");
        const QString status = QStringLiteral("!03000005010203040506010c000a000000ff");
        QTest::newRow("stays") << int(Connecting::stays) << status;
        QTest::newRow("wants longer intervals") << -1 << status + QStringLiteral(",!0304003b02");
        QTest::newRow("hangs up") << int(Connecting::hangsUp) << status + QStringLiteral(",!0304001302");
        QTest::newRow("never answers") << int(Connecting::neverAnswers) << QStringLiteral("!0304003e02");
    }

    void life()
    {
        QFETCH(int, connecting);
        QFETCH(QString, frames);
        RemoteDevice device = LinkedModule::remoteDevice();
        if (connecting >= 0)
            device.connecting = Connecting(connecting);
        else
            device.shortestInterval = 13;
        device.hangUpTime = 10;
        LinkedModule linked(device);
        QVERIFY(linked.module.links().isConnected(device.address));
        QTRY_COMPARE(linked.seen(), frames);
        const bool stays = connecting == int(Connecting::stays);
        QCOMPARE(linked.module.links().freeHandle(), stays ? 1 : 0);
        QCOMPARE(linked.module.links().hangUp(0), stays);
        QVERIFY(!linked.module.links().isConnected(device.address));
    }

    void eightAtMost()
    {
        LinkedModule linked;
        Links &links = linked.module.links();
        for (int handle = links.freeHandle(); handle >= 0; handle = links.freeHandle())
            links.open(uint8(handle), linked.device, {12, 10, 0});
        linked.received.clear();
        links.open(8, linked.device, {12, 10, 0});
        links.open(3, linked.device, {12, 10, 0});
        linked.send(QStringLiteral("0006"));
        QCOMPARE(linked.received.size(), 1 + 8);
        QCOMPARE(linked.received[0], QStringLiteral("000608"));
        QCOMPARE(linked.received[8], QStringLiteral("!03000701010203040506010c000a000000ff"));
        linked.send(QStringLiteral("0300 03"));
        QCOMPARE(links.freeHandle(), 3);
        linked.received.clear();
        linked.send(QStringLiteral("0000 00")); // without a word about the links
        QCOMPARE(linked.received.size(), 2);
        QCOMPARE(links.freeHandle(), 0);
    }

    void outOfReach()
    {
        LinkedModule linked;
        Air &air = linked.module.air();
        linked.received.clear();
        Q_EMIT air.rangeChanged(linked.device, false);
        linked.send(QStringLiteral("0404 00 0300"));
        linked.send(QStringLiteral("0406 00 2500 00"));
        QCoreApplication::processEvents();
        QCOMPARE(linked.seen(), QStringLiteral("0404000000,0406008201"));
        linked.received.clear();
        // Back in time: the answer arrives, and the link lasts for a timeout from the next absence on.
        Q_EMIT air.rangeChanged(linked.device, true);
        QTRY_COMPARE(linked.seen(), QStringLiteral("!04050003000003446576,!04010000000300"));
        linked.received.clear();
        Q_EMIT air.rangeChanged(linked.device, false);
        QElapsedTimer clock;
        clock.start();
        QTRY_COMPARE(linked.seen(), QStringLiteral("!0304000802"));
        QVERIFY(clock.elapsed() >= 99);
    }

    void bondsAndDevicesWithout()
    {
        LinkedModule linked;
        std::vector<RemoteDevice> devices(9, LinkedModule::remoteDevice());
        linked.send(QStringLiteral("0501 01"));
        for (RemoteDevice &device : devices) {
            device.address.address.addr[0] = uint8(0x10 + (&device - devices.data()));
            linked.module.links().hangUp(0);
            linked.module.links().open(0, device, {12, 10, 0});
            linked.received.clear();
            linked.send(QStringLiteral("0500 00 01"));
            const bool isLast = &device == &devices.back();
            QTRY_COMPARE(linked.received.size(), isLast ? 1 : 3);
        }
        QCOMPARE(linked.seen(), QStringLiteral("0500008b01"));
        linked.send(QStringLiteral("0000 00"));
        QCOMPARE(int(linked.module.bondOf(devices[5].address)), 5);
        linked.received.clear();
        linked.module.links().open(0, devices[5], {12, 10, 0});
        QCOMPARE(linked.seen(), QStringLiteral("!03000005150203040506010c000a00000005"));
        linked.play(QStringLiteral("0500 00 00>0500 00 0000, !0300 00 03 150203040506 01 0c00 0a00 0000 05"));
        RemoteDevice unpaired = LinkedModule::remoteDevice();
        unpaired.pairing.reset();
        linked.module.links().open(1, unpaired, {12, 10, 0});
        linked.play(QStringLiteral("0500 01 01>0500 01 0000, !0501 01 0503;"
                                   "0404 01 2f00>0404 01 0000, !0401 01 0f04 2f00"));
        linked.send(QStringLiteral("000a 000000000000 00"));
        linked.play(QStringLiteral("0507>0507 8201 07"));
    }
};

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
