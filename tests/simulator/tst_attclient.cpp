#include "linkedmodule.h"

using namespace simulator;

namespace {

// The device's handles: 1 Generic Access, 6 Generic Attribute, 7 Device Information, 0e Battery, 12 Heart
// Rate, 1a the vendor's service up to 30.
constexpr Row rows[] = {
    {"services",
     "0401 00 0100 ffff 02 0028>0401 00 0000, !0402 00 0100 0500 02 0018, !0402 00 0600 0600 02 0118, "
     "!0402 00 0700 0d00 02 0a18, !0402 00 0e00 1100 02 0f18, !0402 00 1200 1900 02 0d18, "
     "!0402 00 1a00 3000 10 e7d0412f6c3b578a5b4c1e9d00010000, !0401 00 0000 0000; "
     "0401 00 0100 0600 10 fb349b5f80000080001000000028 0000>0401 00 0000, !0402 00 0100 0500 02 0018, "
     "!0402 00 0600 0600 02 0118, !0401 00 0000 0000; 0401 00 1b00 ffff 02 0028>0401 00 0000, "
     "!0401 00 0a04 1b00; 0401 00 0100 ffff 02 0128>0401 00 0000, !0401 00 0a04 0100; "
     "0401 00 0200 ffff 02 0328>0401 00 0000, !0401 00 1004 0200"},
    {"a service by its UUID",
     "0400 00 0100 ffff 0028 02 0f18>0400 00 0000, !0402 00 0e00 1100 02 0f18, !0401 00 0000 0000; "
     "0400 00 0100 ffff 0028 02 ff18>0400 00 0000, !0401 00 0a04 0100"},
    {"characteristics, told twice",
     "0402 00 0100 0500 02 0328>0402 00 0000, !0403 00 0200 0300 02 02 002a, "
     "!0405 00 0200 03 05 020300002a, !0403 00 0400 0500 02 02 012a, !0405 00 0400 03 05 020500012a, "
     "!0401 00 0000 0000; 0402 00 2e00 ffff 02 0328>0402 00 0000, "
     "!0403 00 2e00 2f00 0a 10 e7d0412f6c3b578a5b4c1e9d07010000, "
     "!0405 00 2e00 03 13 0a2f00e7d0412f6c3b578a5b4c1e9d07010000, !0401 00 0000 0000"},
    {"values by type",
     "0402 00 0100 ffff 02 002a>0402 00 0000, !0405 00 0300 03 03 446576, !0401 00 0000 0000; "
     "0402 00 0100 ffff 02 372a>0402 00 0000, !0401 00 0204 1400; "
     "0402 00 0100 ffff 10 e7d0412f6c3b578a5b4c1e9d05010000>0402 00 0000, "
     "!0405 00 2800 03 13 000102030405060708090a0b0c0d0e0f101112, !0401 00 0000 0000; "
     "0402 00 0400 ffff 02 002a>0402 00 0000, !0401 00 0a04 0400"},
    {"all attributes",
     "0403 00 1000 1200>0403 00 0000, !0404 00 1000 02 192a, !0404 00 1100 02 0229, !0404 00 1200 02 0028, "
     "!0401 00 0000 0000; 0403 00 3000 ffff>0403 00 0000, !0404 00 3000 02 0129, !0401 00 0000 0000; "
     "0403 00 3100 ffff>0403 00 0000, !0401 00 0a04 3100"},
    {"read",
     "0404 00 0300>0404 00 0000, !0405 00 0300 00 03 446576, !0401 00 0000 0300; 0404 00 2800>0404 00 0000, "
     "!0405 00 2800 00 16 000102030405060708090a0b0c0d0e0f101112131415, !0401 00 0000 2800; "
     "0404 00 1f00>0404 00 0000, !0401 00 0204 1f00; 0404 00 0000>0404 00 0000, !0401 00 0104 0000; "
     "0404 00 3100>0404 00 0000, !0401 00 0104 3100; 0404 00 2f00>0404 00 0000, !0401 00 0f04 2f00"},
    {"read long",
     "0405 00 2200 04 61626364>0405 00 0000, !0401 00 0000 2200; 0408 00 2200>0408 00 0000, "
     "!0405 00 2200 04 04 61626364, !0401 00 0000 2200; 0408 00 2500>0408 00 0000, !0405 00 2500 04 00, "
     "!0401 00 0000 2500; 0408 00 1f00>0408 00 0000, !0401 00 0204 1f00"},
    {"write", "0405 00 1f00 01 61>0405 00 0000, !0401 00 0000 1f00; 0405 00 0300 01 61>0405 00 0000, "
              "!0401 00 0304 0300; 0405 00 2500 01 61>0405 00 0000, !0401 00 0304 2500; "
              "0405 00 3100 00>0405 00 0000, !0401 00 0104 3100; 0405 00 1100 01 01>0405 00 0000, "
              "!0401 00 0d04 1100; 0405 00 2f00 01 61>0405 00 0000, !0401 00 0f04 2f00; "
              "0405 00 1900 01 02>0405 00 0000, !0401 00 8004 1900; 0405 00 1900 01 01>0405 00 0000, "
              "!0401 00 0000 1900; 0405 00 2200 15 000000000000000000000000000000000000000000>0405 00 8001"},
    {"write command",
     "0406 00 2500 02 6162>0406 00 0000; 0404 00 2500>0404 00 0000, !0405 00 2500 00 02 6162, "
     "!0401 00 0000 2500; 0406 00 0300 01 61>0406 00 0000; 0406 00 9900 01 61>0406 00 0000; "
     "0406 00 2200 01 61>0406 00 0000; 0404 00 2200>0404 00 0000, !0405 00 2200 00 04 74657874, "
     "!0401 00 0000 2200; 0406 00 2500 15 000000000000000000000000000000000000000000>0406 00 8001"},
    {"prepared writes",
     "0409 00 2200 0000 02 4142>0409 00 0000, !0401 00 0000 2200; 0409 00 2200 0200 01 43>0409 00 0000, "
     "!0401 00 0000 2200; 040a 00 01>040a 00 0000, !0401 00 0000 0000; 0404 00 2200>0404 00 0000, "
     "!0405 00 2200 00 03 414243, !0401 00 0000 2200; 0409 00 2200 0000 01 5a>0409 00 0000, "
     "!0401 00 0000 2200; 0409 00 2200 0200 01 5a>0409 00 0000, !0401 00 0000 2200; "
     "040a 00 01>040a 00 0000, !0401 00 0704 2200; 040a 00 01>040a 00 0000, !0401 00 0000 0000; "
     "0409 00 2200 0000 01 5a>0409 00 0000, !0401 00 0000 2200; 040a 00 00>040a 00 0000, "
     "!0401 00 0000 0000; 0409 00 1100 0100 02 0000>0409 00 0000, !0401 00 0000 1100; "
     "040a 00 01>040a 00 0000, !0401 00 0d04 1100; 0404 00 2200>0404 00 0000, !0405 00 2200 00 03 414243, "
     "!0401 00 0000 2200; 0409 00 0300 0000 00>0409 00 0000, !0401 00 0304 0300; 040a 00 02>040a 00 8001; "
     "0409 00 2200 0000 13 00000000000000000000000000000000000000>0409 00 8001"},
    {"several values",
     "040b 00 04 0300 1000>040b 00 0000, !0406 00 04 4465765f, !0401 00 0000 0000; "
     "040b 00 04 0300 2800>040b 00 0000, !0406 00 16 446576 000102030405060708090a0b0c0d0e0f101112, "
     "!0401 00 0000 0000; 040b 00 06 0300 1f00 9900>040b 00 0000, !0401 00 0204 1f00; "
     "040b 00 02 0300>040b 00 8001; 040b 00 05 0300050000>040b 00 8001"},
    {"bad parameters", "0400 00 0000 ffff 0028 00>0400 00 8001; 0401 00 0200 0100 02 0028>0401 00 8001; "
                       "0401 00 0100 ffff 03 002800>0401 00 8001; 0402 00 0100 ffff 00>0402 00 8001; "
                       "0403 00 0000 ffff>0403 00 8001; 0403 01 0000 ffff>0403 01 8601"},
    {"nothing to confirm", "0407 00>0407 8101; 0407 01>0407 8601"},
};

} // namespace

class TestAttClient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void procedure_data() { addRows(rows); }

    void procedure()
    {
        QFETCH(QString, steps);
        LinkedModule().play(steps);
    }

    void longValueComesInPieces()
    {
        LinkedModule linked;
        linked.received.clear();
        linked.send(QStringLiteral("0408 00 2800"));
        QTRY_COMPARE(linked.received.size(), 1 + 10 + 1);
        QCOMPARE(linked.received[2],
                 QStringLiteral("!04050028000416161718191a1b1c1d1e1f202122232425262728292a2b"));
        QCOMPARE(linked.received[10], QStringLiteral("!04050028000402c6c7"));
    }

    void prepareQueueFillsUp()
    {
        LinkedModule linked;
        const QString taken = QStringLiteral("0409 00 2200 0000 00>0409 00 0000, !0401 00 0000 2200;");
        linked.play(taken.repeated(16) +
                    QStringLiteral("0409 00 2200 0000 00>0409 00 0000, !0401 00 0904 2200"));
    }

    void oneProcedureAtATime()
    {
        ModuleIdentity identity;
        identity.answerDelay = 20;
        LinkedModule linked(LinkedModule::remoteDevice(), identity);
        linked.module.links().open(1, linked.device, {12, 10, 0});
        linked.received.clear();
        linked.send(QStringLiteral("0404 00 0300"));
        linked.send(QStringLiteral("0403 00 0100 ffff"));
        linked.send(QStringLiteral("0406 00 2500 00"));
        linked.send(QStringLiteral("0404 01 0100"));
        QCOMPARE(linked.seen(), QStringLiteral("0404000000,0403008101,0406000000,0404010000"));
        QTRY_COMPARE(linked.received.size(), 4 + 4);
        linked.play(QStringLiteral("0404 00 9900>0404 00 0000, !0401 00 0104 9900"));
    }

    void endOfLinkEndsProcedure()
    {
        LinkedModule linked;
        linked.play(QStringLiteral("0405 00 2200 01 61>0405 00 0000, !0401 00 0000 2200;"
                                   "0409 00 2200 0000 01 5a>0409 00 0000, !0401 00 0000 2200"));
        linked.received.clear();
        linked.send(QStringLiteral("0401 00 0100 ffff 02 0028"));
        linked.send(QStringLiteral("0300 00"));
        QCoreApplication::processEvents();
        QCOMPARE(linked.seen(), QStringLiteral("0401000000,0300000000,!0304001602"));
        // What was written stays, even when the module restarts; what was only prepared does not.
        linked.module.links().open(0, linked.device, {12, 10, 0});
        linked.play(QStringLiteral("040a 00 01>040a 00 0000, !0401 00 0000 0000;"
                                   "0404 00 2200>0404 00 0000, !0405 00 2200 00 01 61, !0401 00 0000 2200"));
        linked.send(QStringLiteral("0000 00"));
        linked.module.links().open(0, linked.device, {12, 10, 0});
        linked.play(QStringLiteral("0404 00 2200>0404 00 0000, !0405 00 2200 00 01 61, !0401 00 0000 2200"));
    }

    void updateOverTheAir()
    {
        RemoteDevice updatable = LinkedModule::remoteDevice();
        updatable.services = RemoteDevice::update;
        LinkedModule linked(updatable);
        linked.play(QStringLiteral(
            "0402 00 0e00 ffff 02 0328>0402 00 0000, "
            "!0403 00 0f00 1000 08 10 636032e0375ea488534e6dfb6435bff7, "
            "!0405 00 0f00 03 13 081000 636032e0375ea488534e6dfb6435bff7, "
            "!0403 00 1100 1200 04 10 53a1811f582cd0a54540fc34f3274298, "
            "!0405 00 1100 03 13 041200 53a1811f582cd0a54540fc34f3274298, !0401 00 0000 0000"));
        // Each order in turn, those out of turn refused; data count from the load start on.
        const QString order = QStringLiteral("0405 00 1000 01 %1>0405 00 0000, !0401 00 %2 1000");
        for (const char *step : {"00 8004", "04 0000", "00 0000", "02 8004", "01 0000", "03 8004", "05 8004"})
            linked.play(order.arg(QLatin1String(step, 2), QLatin1String(step + 3)));
        linked.send(QStringLiteral("0406 00 1200 01 ff"));
        linked.play(order.arg(QStringLiteral("02"), QStringLiteral("0000")) +
                    QStringLiteral("; 0406 00 1200 02 6162>0406 00 0000; 0406 00 1200 01 63>0406 00 0000;") +
                    order.arg(QStringLiteral("03"), QStringLiteral("0000")));
        linked.send(QStringLiteral("0000 00")); // the device is not restarted with the module
        QCOMPARE(linked.module.ota().image(), QByteArray("abc"));
    }

    void hostThatAnswersAtOnce()
    {
        LinkedModule linked;
        connect(&linked.module, &SimulatedModule::frameReady, &linked, [&linked](const QByteArray &frame) {
            if (frame.mid(2, 2) == QByteArray::fromHex("0402") && (frame[0] & char(0x80)) != 0)
                linked.send(QStringLiteral("0300 00"));
        });
        linked.play(
            QStringLiteral("0401 00 0100 ffff 02 0028>0401 00 0000, !0402 00 0100 0500 02 0018, 0300 00 "
                           "0000, !0304 00 1602"));
    }

    void notifiesAndIndicates()
    {
        LinkedModule linked, same;
        for (LinkedModule *one : {&linked, &same}) {
            one->play(QStringLiteral("0405 00 1100 02 0100>0405 00 0000, !0401 00 0000 1100;"
                                     "0405 00 1500 02 0100>0405 00 0000, !0401 00 0000 1500;"
                                     "0405 00 2c00 02 0200>0405 00 0000, !0401 00 0000 2c00"));
            one->received.clear();
        }
        // The second time without an indication, since the first is not confirmed.
        QTRY_COMPARE(linked.received.size(), 3 + 2);
        QTRY_COMPARE(same.seen(), linked.seen());
        QCOMPARE(linked.received[0], QStringLiteral("!040500100001015e"));
        QCOMPARE(linked.received[1].left(17), QStringLiteral("!0405001400010408"));
        QCOMPARE(linked.received[2], QStringLiteral("!0405002b00050401000000"));
        QCOMPARE(linked.received[3], QStringLiteral("!040500100001015d"));
        linked.play(QStringLiteral("0407 00>0407 0000; 0407 00>0407 8101;"
                                   "0405 00 1100 02 0000>0405 00 0000, !0401 00 0000 1100;"
                                   "0405 00 1500 02 0000>0405 00 0000, !0401 00 0000 1500"));
        linked.received.clear();
        QTRY_COMPARE(linked.seen(), QStringLiteral("!0405002b00050402000000"));
    }
};

QTEST_GUILESS_MAIN(TestAttClient)
#include "tst_attclient.moc"
