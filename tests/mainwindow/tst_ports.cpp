#include <asm/termbits.h>
#include <poll.h>
#include <sys/ioctl.h>

#include "tests/mainwindow/window_fixture.h"
#include "tests/support/pseudo_terminal.h"

class TestPorts : public WindowFixture
{
    Q_OBJECT

private Q_SLOTS:
    // The machine that runs this may have ports of its own.
    void init()
    {
        WindowFixture::init();
        ports()->clear();
    }

    void portsAreListedByName()
    {
        for (const char *name : {"M", "C <b>x</b>", "A"})
            window->DeviceFound(QLatin1String(name), QLatin1String(name).left(1));
        window->DeviceFound("M"_s, "M2"_s);
        QCOMPARE(listed(), "A=A|C <b>x</b>=C|M=M|M=M2"_s);
        window->DeviceFound(1, 2, "%2"_s, false);
        ports()->addItem("z"_s, 0x10002u);
        window->DeviceDisconnect(2, 1);
        QCOMPARE(listed(), "%2 bus:1 addr:2=%2|A=A|C <b>x</b>=C|M=M|M=M2|z=65538"_s);
        window->DeviceDisconnect(1, 2);
        QCOMPARE(listed(), "%2 bus:1 addr:2=%2|A=A|C <b>x</b>=C|M=M|M=M2"_s);
    }

    // With an empty list there is no way to detach either.
    void attachWithoutAPortDoesNothing()
    {
        click("pushConnectDev");
        QCOMPARE(find<QLabel>("labelDev")->text(), "Disconnected"_s);
        FakeDevice device;
        MainWindowTest::setDevice(*window, &device);
        find<QPushButton>("pushConnectDev")->setText("Detach"_s);
        click("pushConnectDev");
        QCOMPARE(deviceState(), attached);
    }

    void attachedPortTakesSpeedsAndBytes()
    {
        PseudoTerminal module;
        const auto speed = [&module] {
            termios2 line{};
            return ::ioctl(module.descriptor(), TCGETS2, &line) == 0 ? line.c_ospeed : 0;
        };
        auto *const speeds = find<QComboBox>("comboBaudrate");
        window->DeviceFound("Module"_s, module.path());
        speeds->setCurrentText("14400"_s);
        click("pushConnectDev");
        QCOMPARE(deviceState(), attached);
        QCOMPARE(speed(), 14400u);
        speeds->setCurrentText("110"_s);
        QCOMPARE(speed(), 110u);

        click("pushDevRefresh");
        QCOMPARE(ports()->findData(module.path()), -1);
        QCOMPARE(deviceState(), attached);
        window->txData("ab");
        QCOMPARE(module.receive(2).toHex(), QByteArray("6162")); // and nothing before it

        window->DeviceFound("Other"_s, "/nonexistent/port"_s);
        ports()->setCurrentIndex(0);
        click("pushConnectDev");
        QCOMPARE(deviceState(), detached);
        speeds->setCurrentIndex(0);
        pollfd unread = {module.descriptor(), POLLIN, 0};
        ::poll(&unread, 1, 0);
        QVERIFY((unread.revents & POLLIN) == 0);
    }

private:
    QComboBox *ports() const { return find<QComboBox>("comboDev"); }
    QString listed() const
    {
        QStringList rows;
        for (int i = 0; i < ports()->count(); ++i)
            rows << ports()->itemText(i) + u'=' + ports()->itemData(i).toString();
        return rows.join(u'|');
    }
};

QTEST_MAIN(TestPorts)
#include "tst_ports.moc"
