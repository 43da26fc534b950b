#include "linkedmodule.h"
#include "simulator/module/behaviours.h"

using namespace simulator;

// What goes over a link: the link itself, the remote device's attributes, and pairing; and what happens
// around the module's pins, and takes time.
class TestLinks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchange_data() { addRows(VORSEL_LINKS); }

    void exchange()
    {
        QFETCH(QByteArray, steps);
        QFETCH(QByteArrayList, numbers);
        RemoteDevice device = LinkedModule::remoteDevice();
        ModuleOptions options;
        const auto number = [&numbers](int at, int otherwise) {
            return numbers.value(at).isEmpty() ? otherwise : numbers[at].toInt();
        };
        device.services = unsigned(number(0, int(device.services)));
        device.pairing = {IoCapability(number(1, noInputNoOutput)), number(2, 0) != 0,
                          uint8(number(3, PairingFeatures::minKey)),
                          uint8(number(4, PairingFeatures::maxKey))};
        options.pairingTimeout = number(5, options.pairingTimeout);
        options.answerDelay = number(6, 0);
        LinkedModule(device, options).play(steps);
    }

    void life()
    {
        using Connecting = RemoteDevice::Connecting;
        const QByteArray status = "!03000005010203040506010c000a000000ff";
        const std::tuple<Connecting, uint16, QByteArray> rows[] = {
            {Connecting::stays, 12, status},
            {Connecting::stays, 13, status + ",!0304003b02"},
            {Connecting::hangsUp, 12, status + ",!0304001302"},
            {Connecting::neverAnswers, 12, "!0304003e02"},
        };
        for (const auto &[connecting, minInterval, frames] : rows) {
            RemoteDevice device = LinkedModule::remoteDevice();
            device.connecting = connecting;
            device.minInterval = minInterval;
            device.hangUpTime = 10;
            LinkedModule linked(device);
            Connections &links = linked.module.connections();
            QVERIFY(links.isConnected(device.address));
            QTRY_COMPARE(linked.seen(), frames);
            const bool stays = frames == status;
            QCOMPARE(links.freeHandle(), stays ? 1 : 0);
            QCOMPARE(links.hangUp(0), stays);
            QVERIFY(!links.isConnected(device.address));
        }
    }

    void eightAtMost()
    {
        LinkedModule linked;
        Connections &links = linked.module.connections();
        for (int handle = links.freeHandle(); handle >= 0; handle = links.freeHandle())
            linked.link(uint8(handle), linked.device);
        linked.received.clear();
        linked.link(8, linked.device);
        linked.link(3, linked.device);
        QCOMPARE(linked.seen(), QByteArray());
        linked.send("0006");
        QCOMPARE(linked.received.size(), 1 + 8);
        QCOMPARE(linked.received[0], QByteArray("000608"));
        QCOMPARE(linked.received[8], QByteArray("!03000701010203040506010c000a000000ff"));
        linked.send("0300 03");
        QCOMPARE(links.freeHandle(), 3);
        linked.send("0000 00"); // without a word about the links
        QCOMPARE(linked.received.size(), 2);
        QCOMPARE(links.freeHandle(), 0);
    }

    void outOfReach()
    {
        LinkedModule linked;
        Air &air = linked.module.air();
        Q_EMIT air.rangeChanged(linked.device, false);
        linked.send("0404 00 0300 + 0406 00 2500 00");
        QCoreApplication::processEvents();
        QCOMPARE(linked.seen(), QByteArray("0404000000,0406008201"));
        linked.received.clear();
        // Back in time: the answer arrives, and the link lasts for a timeout from the next absence on.
        Q_EMIT air.rangeChanged(linked.device, true);
        QTRY_COMPARE(linked.seen(), QByteArray("!04050003000003446576,!04010000000300"));
        linked.received.clear();
        Q_EMIT air.rangeChanged(linked.device, false);
        QElapsedTimer clock;
        clock.start();
        QTRY_COMPARE(linked.seen(), QByteArray("!0304000802"));
        QVERIFY(clock.elapsed() >= 99);
    }

    void bondsAndDevicesWithout()
    {
        LinkedModule linked;
        std::vector<RemoteDevice> devices(9, LinkedModule::remoteDevice());
        linked.send("0501 01");
        for (RemoteDevice &device : devices) {
            device.address.address.addr[0] = uint8(0x10 + (&device - devices.data()));
            linked.module.connections().hangUp(0);
            linked.link(0, device);
            linked.send("0500 00 01");
            QTRY_COMPARE(linked.received.size(), &device == &devices.back() ? 1 : 3);
        }
        QCOMPARE(linked.seen(), QByteArray("0500008b01"));
        linked.send("0000 00");
        QCOMPARE(int(linked.module.bondOf(devices[5].address)), 5);
        linked.received.clear();
        linked.link(0, devices[5]);
        QCOMPARE(linked.seen(), QByteArray("!03000005150203040506010c000a00000005"));
        RemoteDevice unpaired = LinkedModule::remoteDevice();
        unpaired.pairing.reset();
        linked.link(1, unpaired);
        linked.play("0500 00 00>0500 00 0000, !0300 00 03 150203040506 01 0c00 0a00 0000 05;"
                    "0500 01 01>0500 01 0000, !0501 01 0503; 0404 01 2f00>0404 01 0000, !0401 01 0f04 2f00");
    }

    void updateOverTheAir()
    {
        RemoteDevice updatable = LinkedModule::remoteDevice();
        updatable.services = RemoteDevice::update;
        LinkedModule linked(updatable);
        // Each order in turn, those out of turn refused; data count from the load start on.
        const auto order = [&linked](const char *step) {
            const QByteArray byte(step, 2);
            linked.play("0405 00 1000 01" + byte + ">0405 00 0000, !0401 00" + (step + 2) + "1000");
        };
        for (const char *step : {"00 8004", "04 0000", "00 0000", "02 8004", "01 0000", "03 8004", "05 8004"})
            order(step);
        linked.play("0406 00 1200 01 ff>0406 00 0000");
        order("02 0000");
        linked.play("0406 00 1200 02 6162>0406 00 0000; 0406 00 1200 01 63>0406 00 0000");
        order("03 0000");
        linked.send("0000 00"); // the device is not restarted with the module
        QCOMPARE(linked.module.ota().image(), QByteArray("abc"));
    }

    void hostThatAnswersAtOnce()
    {
        LinkedModule linked;
        connect(&linked.module, &Module::frameReady, &linked, [&linked](const QByteArray &frame) {
            if (frame.startsWith('\x80') && frame.mid(2, 2) == "\4\2")
                linked.module.takeFrame(QByteArray::fromHex("00010300 00"));
        });
        linked.play("0401 00 0100 ffff 02 0028>0401 00 0000, !0402 00 0100 0500 02 0018, 0300 00 0000,"
                    "!0304 00 1602");
    }

    void notifiesAndIndicates()
    {
        LinkedModule linked, same;
        for (LinkedModule *one : {&linked, &same}) {
            one->play("0405 00 1100 02 0100>0405 00 0000, !0401 00 0000 1100;"
                      "0405 00 1500 02 0100>0405 00 0000, !0401 00 0000 1500;"
                      "0405 00 2c00 02 0200>0405 00 0000, !0401 00 0000 2c00");
            one->received.clear();
        }
        // The second time without an indication, since the first is not confirmed.
        QTRY_COMPARE(linked.received.size(), 3 + 2);
        QTRY_COMPARE(same.seen(), linked.seen());
        linked.received[1].truncate(17); // the heart rate is a matter of chance
        linked.received.removeLast();
        QCOMPARE(linked.seen(), QByteArray("!040500100001015e,!0405001400010200,!0405002b00050401000000,"
                                           "!040500100001015d"));
        linked.play("0407 00>0407 0000; 0407 00>0407 8101;"
                    "0405 00 1100 02 0000>0405 00 0000, !0401 00 0000 1100;"
                    "0405 00 1500 02 0000>0405 00 0000, !0401 00 0000 1500");
        linked.received.clear();
        QTRY_COMPARE(linked.seen(), QByteArray("!0405002b00050402000000"));
    }

    void levelChangesInterrupt()
    {
        // Name, commands, levels, pins that are driven, the event (port, pins that interrupt, levels), levels
        // after.
        const std::tuple<const char *, const char *, uint8, uint8, QByteArray, const char *> rows[] = {
            {"rising, only enabled pins", "070501ff00+0700010300", 0xfe, 0xff, "0102fe", "fe"},
            {"falling", "0700010f01", 0xf5, 0xff, "010af5", "f5"},
            {"the other edge", "0700010f00", 0xf5, 0xff, "", "f5"},
            {"no change", "0700010f01", 0xff, 0xff, "", "ff"},
            {"what is not driven shows its pull", "0700010f01", 0x00, 0x03, "0103fc", "fc"},
            {"outputs keep their level", "070301ff+070001ff01", 0x00, 0xff, "", "ff"},
            {"another port's pins", "070002ff01", 0x00, 0xff, "", "00"},
            {"nothing after a reset", "0700010f01+000000", 0xf5, 0xff, "", "f5"},
        };
        for (const auto &[name, set, levels, driven, event, after] : rows) {
            LinkedModule linked;
            linked.send(set);
            linked.received.clear();
            QVERIFY(linked.module.hardware().drivePins(1, levels, driven));
            QCOMPARE(name + linked.seen().mid(5 + 8),
                     name + event); // behind "!0700" and a timestamp
            QCOMPARE(name + linked.send("070701ff"), name + QByteArray("0707000001") + after);
            QVERIFY(!linked.module.hardware().drivePins(3, 0, 0xff));
        }
    }

    void comparatorReportsChanges()
    {
        LinkedModule linked;
        HardwareBehaviour &hardware = linked.module.hardware();
        linked.send("071201");
        hardware.setComparatorOutput(true); // still off
        linked.send("071001");
        linked.received.clear();
        hardware.setComparatorOutput(true);
        QCOMPARE(linked.seen(), QByteArray());
        hardware.setComparatorOutput(false);
        QCOMPARE(linked.seen().remove(5, 8), QByteArray("!070300"));
    }

    void receiverCountsAndTimestampRuns()
    {
        LinkedModule linked;
        const auto answer = [&linked](const char *command, int size) {
            const QByteArray bytes = QByteArray::fromHex(linked.send(command).mid(4, 2 * size));
            return qFromLittleEndian<quint32>(bytes.leftJustified(4, '\0').constData());
        };
        QElapsedTimer clock;
        clock.start();
        const auto before = answer("0716", 4);
        linked.send("080105 + 0801ff"); // the second is refused, the test goes on
        QTRY_VERIFY(clock.elapsed() >= 50);
        const auto packets = answer("0802", 2), ticks = answer("0716", 4) - before;
        const auto most = clock.nsecsElapsed() / 1000;
        QVERIFY2(packets >= 70 && packets <= most / 625, qPrintable(QString::number(packets)));
        QVERIFY2(ticks >= 1600 && ticks <= most * 32768 / 1000000 + 1, qPrintable(QString::number(ticks)));
        QCOMPARE(answer("0802", 2), 0u);
    }

    void seedDecidesVoltages()
    {
        const auto differences = [](quint32 seed) {
            ModuleOptions options;
            options.seed = seed;
            LinkedModule linked(LinkedModule::remoteDevice(), options);
            return linked.send("0702080300 + 0702090300 + 07020a0300 + 07020b0300");
        };
        QCOMPARE(differences(1), differences(1));
        QVERIFY(differences(1) != differences(2));
    }
};

QTEST_GUILESS_MAIN(TestLinks)
#include "tst_links.moc"
