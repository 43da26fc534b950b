#pragma once

#include "tests/e2e/panel.h"

#include <QEventLoop>
#include <QRadioButton>
#include <QTimer>

#include <functional>

// Steps of a user whose window is attached to a simulated module.

// Ends the program if the condition does not hold within a minute.
inline void waitUntil(const std::function<bool()> &isSo)
{
    QTimer guard;
    QObject::connect(&guard, &QTimer::timeout, [] { qFatal("waited for a minute"); });
    guard.start(60000);
    while (!isSo())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

// Scans until the device of that name is listed. Returns false if the scan does not find the device.
inline bool scanFor(Window &window, const QString &name)
{
    window.find<QRadioButton>("radioScanObservation")->click();
    window.click("pushStartScan");
    return QTest::qWaitFor([&] { return Panel(window, name).exists(); }, answerMs);
}

// Stops the scan and connects to a listed device. Returns false if that device does not get connected.
inline bool connectTo(Window &window, const QString &name)
{
    window.click("pushStopScan");
    const Panel panel(window, name);
    window.click(panel.find<QPushButton>("pushConnect"));
    return QTest::qWaitFor([&] { return panel.status().startsWith("Connected"_s); }, answerMs);
}
