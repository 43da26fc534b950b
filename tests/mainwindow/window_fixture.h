#pragma once

#include <QtTest>
#include <QtWidgets>

#include <memory>

#include "mainwindow/mainwindow.h"
#include "protocol/types.h"
#include "transport/commdev.h"

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
        const auto in_dialog = [](const QObject *object) {
            while (object != nullptr && qobject_cast<const QDialog *>(object) == nullptr)
                object = object->parent();
            return object != nullptr;
        };
        for (Object *object : window->findChildren<Object *>(QLatin1String(name))) {
            if (!in_dialog(object))
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
    QString device_state() const
    {
        const auto *const label = find<QLabel>("labelDev");
        return QStringLiteral("%1 %2 %3 %4")
            .arg(label->text(), label->palette().color(QPalette::Window).name(),
                 label->palette().color(QPalette::Button).name(),
                 find<QPushButton>("pushConnectDev")->text());
    }

    // The log as its own button puts it on the clipboard, without the time stamps; lines stand apart by '|'.
    QString log() const
    {
        static const QRegularExpression stamp(
            QStringLiteral("^<b>\\d{4}\\.\\d{2}\\.\\d{2} \\d{2}:\\d{2}:\\d{2}\\.\\d{3}</b>  ?"));
        click("pushLogCopy");
        const QString html = QApplication::clipboard()->mimeData()->html();
        QStringList lines = html.split(QStringLiteral("<br />"), Qt::SkipEmptyParts);
        for (QString &line : lines) {
            const int size = stamp.match(line).capturedLength();
            line = size > 0 ? line.mid(size) : QLatin1String("no time stamp: ") + line;
            if (line.endsWith(QLatin1String("<br>")))
                line.chop(4);
        }
        return lines.join(QLatin1Char('|'));
    }

    std::unique_ptr<MainWindow> window;
    const QString attached = QStringLiteral("Connected #00ff00 #000000 Detach");
    const QString detached = QStringLiteral("Disconnected #ff0000 #000000 Attach");

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
