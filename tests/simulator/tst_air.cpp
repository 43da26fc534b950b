#include "simulator/module/module.h"

#include <QtTest>

using namespace simulator;

namespace {

// Waits until so many more packets at least have been heard.
bool hear(Air &air, int count)
{
    QObject receiver;
    QObject::connect(&air, &Air::heard, &receiver, [&count] { --count; });
    return QTest::qWaitFor([&count] { return count <= 0; }, 20'000);
}

// The size of the elements that data begin with, as each gives its own.
int sizeOfElements(const QByteArray &data)
{
    int at = 0;
    while (at < data.size())
        at += uint8(data[at]) + 1;
    return at;
}

// "3r": the last byte of an address as shown and its type, public or random.
QByteArray shortName(uint8 lastByte, uint8 type)
{
    return QByteArray::number(lastByte) + (type == 0 ? 'p' : 'r');
}

// A module among fast devices, and what it sends.
struct Subject : Module
{
    explicit Subject(bool numberReports = false)
        : Module([numberReports] {
            ModuleOptions options;
            options.numberReports = numberReports;
            options.world.rate = WorldSize::maxRate;
            return options;
        }())
    {
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
    QByteArrayList events(const char *classAndMessage) const
    {
        QByteArrayList all;
        for (const QList<QVariant> &signal : frames) {
            const QByteArray frame = signal[0].toByteArray();
            if (frame.startsWith('\x80') && frame.mid(2, 2) == QByteArray::fromHex(classAndMessage))
                all += shortName(uint8(frame[6]), uint8(frame[12])) + '/' + QByteArray::number(frame[5]);
        }
        return all;
    }

    QSignalSpy frames{this, &Module::frameReady};
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
        QSet<QByteArray> identities;
        int fullPackets = 0;
        for (const RemoteDevice &d : makeDevices(1, {WorldSize::maxDevices, 0})) {
            const bd_addr &address = d.address.address;
            identities.insert(shortName(address.addr[0], d.address.type) +
                              QByteArray::number(address.addr[1]));
            for (const QByteArray &data : {d.advertisingData, d.scanResponseData}) {
                QVERIFY2(sizeOfElements(data) == data.size() && data.size() <= 31, data.toHex().constData());
                fullPackets += data.size() == 31 ? 1 : 0;
            }
        }
        QCOMPARE(identities.size(), WorldSize::maxDevices);
        QVERIFY(fullPackets > 0);
    }

    void packetsFollowTheSeed()
    {
        const auto packets = [](quint32 seed) {
            Air air(seed, makeDevices(seed, {30, 0}));
            QByteArrayList all;
            connect(&air, &Air::heard, &air, [&all](const Advertisement &packet) {
                all.append(packet.device->advertisingData + char(packet.rssi));
            });
            air.listen(true, true, 0.5);
            return hear(air, 30) ? all.mid(0, 30) : QList<QByteArray>();
        };
        QCOMPARE(packets(3), packets(3));
        QVERIFY(packets(3) != packets(4));
    }

    void rateIsKept()
    {
        for (const double share : {1.0, 0.25}) { // of the time listened; 2500 packets a second are heard
            Air air(1, makeDevices(1, {40, 0}), int(2500 / share));
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

    void discovers()
    {
        const QByteArray discoverable =
            "11p/0 12r/0 13r/0 14r/0 15r/0 16p/0 16r/0 18p/0 19p/0 1p/0 20r/0 2r/0 "
            "3r/0 4r/0 5p/0 6r/0 ";
        const QByteArray everybody = "10r/2 " + discoverable + "7r/2 8r/6 9r/0";
        const std::tuple<QByteArray, QByteArray, bool> rows[] = {
            {limited, "12r/0", false},
            {generic, discoverable + "8r/6 9r/0", false},
            {reportOnce + observation, everybody, true},
            {listedOnly + observation, "16p/0 8r/6", false},
            {listedOnly + limited, "", true},
            {active + reportOnce + limited, "12r/0 12r/4", true},
            {active + listedOnly + observation, "16p/0 16p/4 8r/4 8r/6", false}, // no connectable one
            {active + listedOnly + reportOnce + "00010000 00;" + observation, everybody, false},
        };
        for (const auto &[commands, reported, once] : rows) {
            Subject module;
            module.send(commands);
            QVERIFY(hear(module.air(), 70)); // each device twice at least
            QByteArrayList all = module.events(reports);
            std::sort(all.begin(), all.end());
            const int packets = all.size();
            all.erase(std::unique(all.begin(), all.end()), all.end());
            QCOMPARE(commands + all.join(' '), commands + reported);
            QCOMPARE(packets == all.size(), once);
        }
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
            QVERIFY(data.size() <= 31 && data.size() == uint8(frame[14]));
            QCOMPARE(sizeOfElements(data), data.size()); // no element is cut
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
        QCOMPARE(module.events(statuses).constLast(), QByteArray("16r/5")); // of the twins, the one asked for
        QCOMPARE(module.send(connectTo + "0ceeffaa55c001" + anyLink), QByteArray("00030603820100"));
        QVERIFY(module.events(reports).isEmpty());
    }

    void connectingWaitsForTheDevice()
    {
        const DeviceAddress twin{{{0x10, 0xee, 0xff, 0xaa, 0x55, 0xc0}}, 0};
        // By its address, and by the whitelist, of which the other one takes no connection.
        for (const QByteArray &command : {connectTo + "10eeffaa55c000" + anyLink, "00080605" + anyLink}) {
            Subject module;
            QVERIFY(module.air().move(twin, false));
            QVERIFY(module.send(listEightAndTwin + command).endsWith("000000"));
            QVERIFY(hear(module.air(), 40));
            QVERIFY(!module.connections().isConnected(twin));
            QCOMPARE(module.send(observation), QByteArray("000206028101"));
            QVERIFY(module.air().move(twin, true));
            QTRY_COMPARE(module.events(statuses).value(0), QByteArray("16p/5"));
        }
    }
};

QTEST_GUILESS_MAIN(TestAir)
#include "tst_air.moc"
