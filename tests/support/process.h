#pragma once

#include <QDir>
#include <QFile>

#include <malloc.h>

// What this process holds, as the system counts it.

inline int openDescriptors()
{
    // The listing's own descriptor is one of them.
    return QDir(QStringLiteral("/proc/self/fd"))
               .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
               .size() -
           1;
}

inline int runningThreads()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

// Bytes allocated and not freed.
inline double heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks) + double(info.hblkhd);
}

// KiB of memory that the system has given, freed ones that the allocator keeps among them.
inline int residentKib()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf("VmRSS:") + 6).simplified().split(' ').value(0).toInt();
}
