#pragma once

#include "transport/commdev.h"
#include "transport/platform/platform.h"

// The thread sanitizer sees no lock that is taken inside Qt, and so not that a device's destructor waits for
// its thread. This lets the end of the thread pass through a lock of the platform, which the destructor takes
// after it.
inline void showEndOfThread(CommDev &device)
{
    QObject::connect(
        &device, &QThread::finished, &device, [] { vs::poll_event(vs::no_event); }, Qt::DirectConnection);
}
