#pragma once

#include "simulator/simulatedmodule.h"

#include <QtTest>

// A name, and steps for LinkedModule::play().
struct Row
{
    const char *name;
    const char *steps;
};

template <std::size_t count>
void addRows(const Row (&rows)[count])
{
    QTest::addColumn<QString>("steps");
    for (const Row &row : rows)
        QTest::newRow(row.name) << QString::fromLatin1(row.steps);
}

// A module with a remote device in reach, and what came from it, in hex without the lengths: class and
// message, then the payload; "!" in front of an event. A link to the device is opened on handle 0.
class LinkedModule : public QObject
{
public:
    explicit LinkedModule(simulator::RemoteDevice remote = remoteDevice(),
                          const simulator::ModuleIdentity &identity = {})
        : device(std::move(remote))
        , module(identity)
    {
        connect(&module, &simulator::SimulatedModule::frameReady, this, [this](const QByteArray &frame) {
            const QByteArray mark = (frame[0] & char(0x80)) != 0 ? "!" : "";
            received.append(QString::fromLatin1(mark + frame.mid(2).toHex()));
        });
        module.links().open(0, device, {12, 10, 0});
    }

    static simulator::RemoteDevice remoteDevice()
    {
        simulator::RemoteDevice device;
        device.address = {{{1, 2, 3, 4, 5, 6}}, 1};
        device.name = "Dev";
        device.services = 7;
        device.pairing = simulator::PairingFeatures{};
        device.shortestInterval = 12;
        device.features[0] = 0x0d;
        device.company = 0x0102;
        device.subVersion = 0x0304;
        return device;
    }

    void send(const QString &command)
    {
        const QByteArray bytes = QByteArray::fromHex(command.toLatin1());
        module.takeFrame(QByteArray(1, '\0') + char(bytes.size() - 2) + bytes);
    }

    QString seen() const { return received.join(QLatin1Char(',')); }

    // "COMMAND>FRAME,FRAME; COMMAND>...": sends each command and waits for as many frames as there are.
    void play(QString steps)
    {
        for (const QString &step : steps.remove(QLatin1Char(' ')).split(QLatin1Char(';'))) {
            const QString expected = step.section(QLatin1Char('>'), 1);
            received.clear();
            send(step.section(QLatin1Char('>'), 0, 0));
            QTRY_VERIFY(received.size() > expected.count(QLatin1Char(',')));
            QCoreApplication::processEvents(); // one frame too many is an error as well
            QCOMPARE(seen(), expected);
        }
    }
    const simulator::RemoteDevice device;
    simulator::SimulatedModule module;
    QStringList received;
};
