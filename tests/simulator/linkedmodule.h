#pragma once

#include "simulator/module/module.h"

#include <QtTest>

// The rows of a table: a name, numbers behind "|" if there are any, ":", and indented below it the steps.
inline void addRows(const char *path)
{
    QTest::addColumn<QByteArray>("steps");
    QTest::addColumn<QByteArrayList>("numbers");
    QFile table(QString::fromLatin1(path));
    QVERIFY(table.open(QIODevice::ReadOnly | QIODevice::Text));
    const QRegularExpression nextRow(QStringLiteral("\n(?! )")), space(QStringLiteral("\\s"));
    for (const QString &row : QString::fromLatin1(table.readAll()).split(nextRow, Qt::SkipEmptyParts)) {
        const QByteArrayList head = row.section(QStringLiteral(":\n"), 0, 0).toLatin1().split('|');
        if (!row.startsWith(QLatin1Char('#')))
            QTest::newRow(head[0].trimmed().constData())
                << row.section(QStringLiteral(":\n"), 1).remove(space).toLatin1()
                << head.value(1).simplified().split(' ');
    }
}

// A module with a remote device in reach, and what came from it, in hex without the lengths: class and
// message, then the payload; "!" in front of an event. A link to the device is opened on handle 0.
class LinkedModule : public QObject
{
public:
    explicit LinkedModule(simulator::RemoteDevice remote = remoteDevice(),
                          const simulator::ModuleOptions &options = {})
        : device(std::move(remote))
        , module(options)
    {
        connect(&module, &simulator::Module::frameReady, this, [this](const QByteArray &frame) {
            received.append(((frame[0] & char(0x80)) != 0 ? "!" : "") + frame.mid(2).toHex());
        });
        link(0, device);
    }

    static simulator::RemoteDevice remoteDevice()
    {
        simulator::RemoteDevice device;
        device.address = {{{1, 2, 3, 4, 5, 6}}, 1};
        device.name = "Dev";
        device.services = 7;
        device.pairing = simulator::PairingFeatures{};
        device.minInterval = 12;
        device.features[0] = 0x0d;
        device.company = 0x0102;
        device.subVersion = 0x0304;
        return device;
    }

    void link(uint8 handle, const simulator::RemoteDevice &to)
    {
        module.connections().open(handle, to, {12, 10, 0});
    }

    // Sends commands in hex with "+" between, of which "link N" is none, and gives what comes from here on.
    QByteArray send(const QByteArray &commands)
    {
        received.clear();
        for (const QByteArray &command : commands.split('+')) {
            const QByteArray bytes = QByteArray::fromHex(command);
            if (command.startsWith("link"))
                link(uint8(command.mid(4).toInt()), device);
            else
                module.takeFrame(QByteArray(1, '\0') + char(bytes.size() - 2) + bytes);
        }
        return seen();
    }

    QByteArray seen() const { return received.join(','); }

    // "COMMANDS>FRAME,FRAME; COMMANDS>...": sends them and waits for as many frames as there are.
    void play(QByteArray steps)
    {
        for (const QByteArray &step : steps.replace(' ', "").split(';')) {
            const QByteArray expected = step.mid(step.indexOf('>') + 1);
            send(step.left(step.indexOf('>')));
            QTRY_VERIFY(received.size() > expected.count(','));
            QCoreApplication::processEvents(); // one frame too many is an error as well
            QCOMPARE(seen(), expected);
        }
    }
    const simulator::RemoteDevice device;
    simulator::Module module;
    QByteArrayList received;
};
