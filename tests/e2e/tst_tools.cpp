// Each tool dialog opened by its shortcut or menu entry, and its work done at the module.

#include "tests/e2e/remote_fixture.h"

#include <QInputDialog>
#include <QTimer>

class TestTools : public RemoteFixture
{
    Q_OBJECT

private Q_SLOTS:
    void steps_data() { rows("tools"); }
    void steps() { playRow(); }
    void radioTest();
    void security();
    void throughput();
};

// A test that is waited for by what it counts.
void TestTools::radioTest()
{
    start();
    play("press Ctrl+R;open Bletest;spinFreq=2441;pushTestRX;wire <- 00 01 08 01 13;spinFreq?2440"_s);
    QTRY_VERIFY_WITH_TIMEOUT((click("pushTestEnd"_s), text("labelRXpackets").toInt() == 0), answerMs);
    click("pushTestRX"_s);
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY_WITH_TIMEOUT(clock.elapsed() > 100, answerMs); // 160 packets are sent in this time
    click("pushTestEnd"_s);
    QTRY_VERIFY_WITH_TIMEOUT(text("labelRXpackets").toInt() > 50, answerMs);
    play("pushTestTX;pushTestReset;wire -> 00 00 08 03;picture tools-radio-test;close"_s);
}

void TestTools::security()
{
    start();
    play("scan Door lock;connect Door lock"_s); // shows its passkey
    QWidget *const lock = place;
    play("press Ctrl+S;open "
         "SMDialog;comboIOCapabilities=KeyboardOnly;checkMITM;checkBondable;pushSetParameters;"
         "wire <- 00 03 05 03 01 07 02;picture tools-security"_s);
    QWidget *const dialog = place;
    int requests = 0;
    const auto pair = [&](int passkey, const QString &outcome) {
        place = lock;
        play("pushEncrypt;times %1 evt sm_passkey_request"_s.arg(++requests));
        place = dialog;
        bool entered = false;
        QTimer::singleShot(0, this, [&] {
            auto *const input = dialog->findChild<QInputDialog *>();
            if (!input)
                return;
            input->setIntValue(passkey);
            picture(input, "tools-passkey"_s);
            entered = true;
            QTest::keyClick(input, Qt::Key_Return);
        });
        click("pushPasskey"_s);
        QVERIFY(entered);
        play("log "_s + outcome);
    };
    pair(1, "ble_evt_sm_bonding_fail"_s);
    pair(123456, "ble_evt_sm_bond_status"_s);
    close();
}

void TestTools::throughput()
{
    start({"--result"_s, "attclient_write_command=0x0182@5"_s});
    // The attribute takes write commands.
    play("scan Everything;connect Everything;press Ctrl+Alt+Shift+T;open ThroughputDialog;spinAttribute0=37;"
         "pushEnable0"_s);
    const auto sent = [this] { return text("labelThroughput").mid(5).section(u' ', 0, 0).toInt(); };
    QTRY_VERIFY_WITH_TIMEOUT(sent() >= 100 * 20, answerMs);
    play("picture tools-throughput;close"_s);
    const QString last = text("labelThroughput");
    // Behind the last write's answer.
    play("log ble_rsp_attclient_write_command;send system_hello;log ble_rsp_system_hello"_s);
    QCOMPARE(text("labelThroughput"), last);
}

QTEST_MAIN(TestTools)
#include "tst_tools.moc"
