#pragma once

#include <QtTest>
#include <QtWidgets>

#include <memory>
#include <utility>

#include "mainwindow/mainwindow.h"
#include "protocol/types.h"
#include "tests/text.h"
#include "transport/commdev.h"

// The friend of MainWindow that hands its private members to the tests.
class MainWindowTest
{
public:
    static void setDevice(MainWindow &window, CommDev *device) { window.setCommDevice(device); }
    static const cls_ble &engine(const MainWindow &window) { return window.engine; }
};

// A device that only remembers what it was told.
class FakeDevice : public CommDev
{
    Q_OBJECT

public:
    FakeDevice()
        : CommDev(nullptr)
    {
    }
    void SetBaudrate(int) override {}
    void TxData(QByteArray data) override { written += data; }
    void Disconnect() override {}
    void receive(const char *hex) { Q_EMIT RxData(QByteArray::fromHex(hex)); }

    QByteArray written;
};

// A window for each test, started in a directory from which the definition file is found, and with no
// simulated module in sight.
class WindowFixture : public QObject
{
    Q_OBJECT

public:
    WindowFixture()
    {
        qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
        register_meta_types();
    }

    // The object of that name, dialogs left out; ends the test program if the form has none.
    template <typename Object = QWidget>
    Object *find(const char *name) const
    {
        const auto inDialog = [](const QObject *object) {
            while (object && !qobject_cast<const QDialog *>(object))
                object = object->parent();
            return object != nullptr;
        };
        for (Object *object : window->findChildren<Object *>(QLatin1String(name))) {
            if (!inDialog(object))
                return object;
        }
        qFatal("the form has no %s", name);
    }
    void click(const char *button) const { find<QAbstractButton>(button)->click(); }
    void trigger(const char *action) const { find<QAction>(action)->trigger(); }

    bool show() const
    {
        window->show();
        window->activateWindow();
        return QTest::qWaitForWindowActive(window.get());
    }

    // Text, background and button colour of the device label, and the text of its button.
    QString deviceState() const
    {
        const auto *const label = find<QLabel>("labelDev");
        return "%1 %2 %3 %4"_s.arg(label->text(), label->palette().color(QPalette::Window).name(),
                                   label->palette().color(QPalette::Button).name(),
                                   find<QPushButton>("pushConnectDev")->text());
    }

    // The log as its own button puts it on the clipboard, without the time stamps; lines stand apart by '|'.
    QString log() const
    {
        static const QRegularExpression stamp(
            "^<b>\\d{4}\\.\\d{2}\\.\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3}</b>  ?"_s);
        click("pushLogCopy");
        const QString html = QApplication::clipboard()->mimeData()->html();
        QStringList lines = html.split("<br />"_s, Qt::SkipEmptyParts);
        for (QString &line : lines) {
            const int size = stamp.match(line).capturedLength();
            line = size > 0 ? line.mid(size) : QLatin1String("no time stamp: ") + line;
            if (line.endsWith(QLatin1String("<br>")))
                line.chop(4);
        }
        return lines.join(u'|');
    }

    std::unique_ptr<MainWindow> window;
    const QString attached = "Connected #00ff00 #000000 Detach"_s;
    const QString detached = "Disconnected #ff0000 #000000 Attach"_s;

protected Q_SLOTS:
    void init()
    {
        QDir::setCurrent(QStringLiteral(VORSEL_START_DIR));
        window = std::make_unique<MainWindow>();
    }
    void cleanup() { window.reset(); }

private:
    QTemporaryDir runtime;
};

// The window with a device, which outlives the window if it is attached.
class DeviceFixture : public WindowFixture
{
    Q_OBJECT

protected Q_SLOTS:
    void init()
    {
        WindowFixture::init();
        attachNewDevice();
    }

    void cleanup()
    {
        const bool isAttached = find<QLabel>("labelDev")->text() == QLatin1String("Connected");
        WindowFixture::cleanup();
        QCOMPARE(!device.isNull(), isAttached);
        if (isAttached)
            device->receive("00000001"); // to nobody
        delete device;
    }

protected:
    void attachNewDevice() { MainWindowTest::setDevice(*window, device = new FakeDevice); }

    // The bytes sent since the last call, in hex.
    QString sent() const { return QString::fromLatin1(std::exchange(device->written, {}).toHex()); }

    QPointer<FakeDevice> device;
};
