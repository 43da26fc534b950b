#include "simulator/air.h"
#include "simulator/simulatedmodule.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

using namespace simulator;

namespace {

constexpr int patienceMs = 20'000;

// Waits until so many more packets have been heard.
bool hear(Air &air, int count)
{
    QEventLoop loop;
    QTimer::singleShot(patienceMs, &loop, &QEventLoop::quit);
    QObject::connect(&air, &Air::heard, &loop, [&] {
        if (--count == 0)
            loop.quit();
    });
    loop.exec();
    return count <= 0;
}

// "3r": the last byte of an address as shown and its type, public or random.
QString shortName(uint8 lastByte, uint8 type)
{
    return QString::number(lastByte) + QLatin1Char(type == 0 ? 'p' : 'r');
}

// A module among fast devices, and what it sends.
struct Subject : SimulatedModule
{
    explicit Subject(bool numberReports = false)
        : SimulatedModule(fast(numberReports))
    {
    }

    static ModuleIdentity fast(bool numberReports)
    {
        ModuleIdentity identity;
        identity.numberReports = numberReports;
        identity.world.rate = WorldSize::fastest;
        return identity;
    }

    // Sends commands in hex, ";" between; the last one's response.
    QByteArray send(const QByteArray &commands)
    {
        int response = 0;
        for (const QByteArray &command : commands.split(';')) {
            response = frames.size();
            takeFrame(QByteArray::fromHex(command));
        }
        return frames[response][0].toByteArray().toHex();
    }

    // "3r/0" for each event of a class and message that names a device behind two bytes; the 0 is the second.
    QStringList events(const char *classAndMessage) const
    {
        QStringList all;
        for (const QList<QVariant> &signal : frames) {
            const QByteArray frame = signal[0].toByteArray();
            if (frame.startsWith('\x80') && frame.mid(2, 2) == QByteArray::fromHex(classAndMessage))
                all.append(shortName(uint8(frame[6]), uint8(frame[12])) + QLatin1Char('/') +
                           QString::number(frame[5]));
        }
        return all;
    }

    QSignalSpy frames{this, &SimulatedModule::frameReady};
};

const char reports[] = "0600", statuses[] = "0300";
const QByteArray listEightAndTwin = "0007000a 08eeffaa55c0 01; 0007000a 10eeffaa55c0 00;";
const QByteArray listedOnly = listEightAndTwin + "00030606 010000;";
const QByteArray reportOnce = "00030606 000001;", active = "00050607 c800 c800 01;";
const QByteArray limited = "00010602 00", generic = "00010602 01", observation = "00010602 02";
const QByteArray connectTo = "000f0603", anyLink = "0600 0c00 6400 0000";

} // namespace

// The remote devices, and what the module's class gap makes of them.
class TestAir : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void worldIsWellFormed()
    {
        QSet<QString> identities;
        int fullPackets = 0;
        for (const RemoteDevice &d : makeWorld(1, {WorldSize::most, 0})) {
            const bd_addr &address = d.address.address;
            identities.insert(shortName(address.addr[0], d.address.type) + QString::number(address.addr[1]));
            for (const QByteArray &data : {d.advertisingData, d.scanResponseData}) {
                int at = 0;
                while (at < data.size())
                    at += uint8(data[at]) + 1;
                QVERIFY2(at == data.size() && at <= 31, data.toHex().constData());
                fullPackets += at == 31 ? 1 : 0;
            }
        }
        QCOMPARE(identities.size(), WorldSize::most);
        QVERIFY(fullPackets > 0);
    }

    void packetsFollowTheSeed()
    {
        const auto packets = [](quint32 seed) {
            Air air(seed, makeWorld(seed, {30, 0}));
            QByteArrayList all;
            connect(&air, &Air::heard, &air, [&all](const Advertisement &packet) {
                all.append(packet.device->advertisingData + char(packet.rssi));
            });
            air.listen(true, true, 0.5);
            return hear(air, 30) ? all : QByteArrayList();
        };
        QCOMPARE(packets(3), packets(3));
        QVERIFY(packets(3) != packets(4));
    }

    void rateIsKept()
    {
        for (const double share : {1.0, 0.25}) { // of the time listened; 2500 packets a second are heard
            Air air(1, makeWorld(1, {40, 0}), int(2500 / share));
            QElapsedTimer time;
            int count = 0;
            qint64 lastAt = 0;
            connect(&air, &Air::heard, this, [&] {
                ++count;
                lastAt = time.elapsed();
            });
            time.start();
            air.listen(true, false, share);
            QVERIFY(hear(air, 500));
            QThread::msleep(300); // the process wakes late, and makes up for it
            QTRY_VERIFY(count >= 2500);
            QVERIFY2(qAbs(count - double(lastAt) * 2.5) < 250, qPrintable(QString::number(lastAt)));
        }
    }

    void awayDevicesAreSilent()
    {
        RemoteDevice device;
        device.interval = 1;
        device.nearTime = device.awayTime = 40;
        Air air(1, {device});
        bool inRange = true;
        int moves = 0, heardNear = 0, heardAway = 0;
        connect(&air, &Air::rangeChanged, this, [&](const RemoteDevice &, bool now) {
            inRange = now;
            ++moves;
        });
        connect(&air, &Air::heard, this, [&] { ++(inRange ? heardNear : heardAway); });
        QTRY_VERIFY(moves >= 2);
        QCOMPARE(heardNear + heardAway, 0); // nobody listens yet
        air.listen(true);
        QTRY_VERIFY(moves >= 6);
        QVERIFY(heardNear > 0 && heardAway == 0);
        QVERIFY(air.move(device.address, true) && inRange);
        QVERIFY(!air.move({device.address.address, 1}, true));
    }

    void discovers_data()
    {
        const QString discoverable =
            QStringLiteral("11p/0 12r/0 13r/0 14r/0 15r/0 16p/0 16r/0 18p/0 19p/0 1p/0 20r/0 2r/0 "
                           "3r/0 4r/0 5p/0 6r/0 ");
        const QString generally = discoverable + QStringLiteral("8r/6 9r/0");
        const QString everybody = QStringLiteral("10r/2 ") + discoverable + QStringLiteral("7r/2 8r/6 9r/0");
        QTest::addColumn<QByteArray>("commands");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("once");
        QTest::newRow("limited") << limited << QStringLiteral("12r/0") << false;
        QTest::newRow("generic") << generic << generally << false;
        QTest::newRow("each once") << reportOnce + observation << everybody << true;
        QTest::newRow("listed") << listedOnly + observation << QStringLiteral("16p/0 8r/6") << false;
        QTest::newRow("listed and limited") << listedOnly + limited << QString() << true;
        QTest::newRow("both packets once")
            << active + reportOnce + limited << QStringLiteral("12r/0 12r/4") << true;
        QTest::newRow("active, no connectable")
            << active + listedOnly + observation << QStringLiteral("16p/0 16p/4 8r/4 8r/6") << false;
        QTest::newRow("reset forgets")
            << active + listedOnly + reportOnce + "00010000 00;" + observation << everybody << false;
    }

    void discovers()
    {
        QFETCH(QByteArray, commands);
        Subject module;
        module.send(commands);
        QVERIFY(hear(module.air(), 70)); // each device twice at least
        QStringList all = module.events(reports);
        const int packets = all.size();
        all.removeDuplicates();
        all.sort();
        QTEST(all.join(QLatin1Char(' ')), "expected");
        QTEST(packets == all.size(), "once");
    }

    void numberedReports()
    {
        Subject module(true);
        module.send(active + observation);
        QVERIFY(hear(module.air(), 300)); // more than one byte counts
        uint count = 0;
        for (const QList<QVariant> &signal : module.frames) {
            const QByteArray frame = signal[0].toByteArray(), data = frame.mid(15);
            if (!frame.startsWith('\x80'))
                continue;
            ++count;
            QCOMPARE(data.left(8), QByteArray("\x07\xff\xff\xff", 4) + char(count) + char(count >> 8) +
                                       QByteArray(2, '\0'));
            int at = 0;
            while (at < data.size())
                at += uint8(data[at]) + 1;
            QVERIFY(at == data.size() && at <= 31 && at == uint8(frame[14])); // no element is cut
        }
        QVERIFY(count >= 300);
    }

    void endedDiscoveryIsSilent()
    {
        Subject module;
        module.send(observation);
        QVERIFY(hear(module.air(), 5));
        // Ended, and begun and ended once more before the event loop has its turn.
        module.send("00000604;" + observation + ";00000604");
        bool heard = false;
        connect(&module.air(), &Air::heard, this, [&heard] { heard = true; });
        QVERIFY(!module.frames.wait(30) && !heard);
    }

    void connectsUntilHandlesRunOut()
    {
        Subject module;
        int handle = 0;
        for (const char *device : {"01eeffaa55c000", "02eeffaa55c001", "04eeffaa55c001", "05eeffaa55c000",
                                   "06eeffaa55c001", "09eeffaa55c001", "0beeffaa55c000", "10eeffaa55c001"}) {
            QCOMPARE(module.send(connectTo + device + anyLink).right(2).toInt(), handle++);
            QTRY_COMPARE(module.events(statuses).size(), handle);
            QCOMPARE(module.send("00000604"), QByteArray("000206048101")); // the procedure is over
            QCOMPARE(module.send(connectTo + device + anyLink).mid(8, 4), QByteArray("8101"));
        }
        QCOMPARE(module.events(statuses).constLast(),
                 QStringLiteral("16r/5")); // of the twins, the one asked for
        QCOMPARE(module.send(connectTo + "0ceeffaa55c001" + anyLink), QByteArray("00030603820100"));
        QVERIFY(module.events(reports).isEmpty());
    }

    void connectingWaitsForTheDevice_data()
    {
        QTest::addColumn<QByteArray>("command");
        QTest::newRow("direct") << connectTo + "10eeffaa55c000" + anyLink;
        QTest::newRow("whitelist") << "00080605" + anyLink; // the other one in it takes no connection
    }

    void connectingWaitsForTheDevice()
    {
        QFETCH(QByteArray, command);
        Subject module;
        const DeviceAddress twin{{{0x10, 0xee, 0xff, 0xaa, 0x55, 0xc0}}, 0};
        QVERIFY(module.air().move(twin, false));
        QVERIFY(module.send(listEightAndTwin + command).endsWith("000000"));
        QVERIFY(hear(module.air(), 40));
        QVERIFY(!module.links().isConnected(twin));
        QCOMPARE(module.send(observation), QByteArray("000206028101"));
        QVERIFY(module.air().move(twin, true));
        QTRY_COMPARE(module.events(statuses).value(0), QStringLiteral("16p/5"));
    }
};

QTEST_GUILESS_MAIN(TestAir)
#include "tst_air.moc"
