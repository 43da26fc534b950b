#include "linkedmodule.h"

using namespace simulator;

namespace {

// 0503: sm_set_parameters; !0502 and !0503: a passkey is shown and asked for; 40e20100: 123456.
const struct
{
    Row row;
    PairingFeatures remote;
    int timeout = 30000;
} rows[] = {
    {{"asked, wrong at first; the bond needs none, and is deleted",
      "0503 00 07 02>0503; 0501 01>0501; 0404 00 1000>0404 00 0000, !0401 00 0504 1000;"
      "0500 00 01>0500 00 0000, !0503 00; 0500 00 01>0500 00 8101; 0504 00 40420f00>0504 8001;"
      "0504 00 41e20100>0504 0000, !0501 00 0403; 0504 00 40e20100>0504 8101;"
      "0500 00 01>0500 00 0000, !0503 00; 0504 00 40e20100>0504 0000, "
      "!0300 00 03 010203040506 01 0c00 0a00 0000 00, !0504 00 10 01 15; 0505>0505 01, !0504 00 10 01 15;"
      "0404 00 1000>0404 00 0000, !0405 00 1000 00 01 00, !0401 00 0000 1000;"
      "0500 00 01>0500 00 0000, !0300 00 03 010203040506 01 0c00 0a00 0000 00; 0502 ff>0502 0000;"
      "0505>0505 00; 0500 00 01>0500 00 0000, !0503 00; 0300 00>0300 00 0000, !0304 00 1602"},
     {displayOnly, true}},
    {{"shown, the seed's first; the shorter key, and one too short",
      "0503 00 0a 00>0503; 0501 01>0501; 0500 00 01>0500 00 0000, !0502 00 65760100, "
      "!0300 00 03 010203040506 01 0c00 0a00 0000 00, !0504 00 0a 01 15; 0504 00 65760100>0504 8101;"
      "0502 00>0502 0000; 0503 00 0b 00>0503; 0500 00 01>0500 00 0000, !0501 00 0603"},
     {keyboardOnly, true, 7, 10}},
    {{"both can do both, only one demands it", "0503 01 07 04>0503; 0500 00 00>0500 00 0000, !0502 00 "
                                               "65760100, !0300 00 03 010203040506 01 0c00 0a00 0000 ff"},
     {keyboardDisplay}},
    {{"two displays", "0503 00 07 01>0503; 0500 00 01>0500 00 0000, !0501 00 0303"}, {displayYesNo, true}},
    {{"nobody demands it: encrypted, not authenticated",
      "0503 00 07 02>0503; 0500 00 00>0500 00 0000, !0300 00 03 010203040506 01 0c00 0a00 0000 ff;"
      "0404 00 1000>0404 00 0000, !0401 00 0504 1000"},
     {displayOnly}},
    {{"none in time", "0503 00 07 04>0503; 0500 00 00>0500 00 0000, !0503 00, !0501 00 8501;"
                      "0504 00 40e20100>0504 8101; 0500 00 00>0500 00 0000, !0503 00, !0501 00 8501"},
     {displayOnly, true},
     20},
    {{"out-of-band data, keys",
      "0506 00>0506; 0506 02 aabb>0506, !0006 8001; 0506 10 00112233445566778899aabbccddeeff>0506;"
      "0508 07 07>0508 0000; 0508 08 00>0508 8001; 0508 00 08>0508 8001"},
     {}},
};

} // namespace

class TestPairing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchange_data()
    {
        QTest::addColumn<int>("number");
        for (const auto &row : rows)
            QTest::newRow(row.row.name) << int(&row - rows);
    }

    void exchange()
    {
        QFETCH(int, number);
        RemoteDevice device = LinkedModule::remoteDevice();
        device.services = RemoteDevice::lock;
        device.pairing = rows[number].remote;
        ModuleIdentity identity;
        identity.pairingTimeout = rows[number].timeout;
        LinkedModule(device, identity).play(QString::fromLatin1(rows[number].row.steps));
    }
};

QTEST_GUILESS_MAIN(TestPairing)
#include "tst_pairing.moc"
