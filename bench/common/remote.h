#pragma once

#include "tests/e2e/panel.h"

#include <QEventLoop>
#include <QRadioButton>
#include <QTimer>

#include <functional>

// Steps of a user whose window is attached to a simulated module. A minute without what is waited for ends
// the program.

inline void wait_until(const std::function<bool()> &is_so)
{
    QTimer guard;
    QObject::connect(&guard, &QTimer::timeout, [] { qFatal("waited for a minute"); });
    guard.start(60000);
    while (!is_so())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

inline Panel connect_to(Window &window, const QString &name)
{
    window.find<QRadioButton>("radioScanObservation")->click();
    window.click("pushStartScan");
    wait_until([&] { return Panel(window, name).exists(); });
    window.click("pushStopScan");
    const Panel panel(window, name);
    panel.find<QPushButton>("pushConnect")->click();
    wait_until([&] { return panel.status().startsWith(QStringLiteral("Connected")); });
    return panel;
}
