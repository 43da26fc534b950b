#pragma once

#include <QDir>
#include <QFile>

// What this process holds, as the system counts it.

inline int open_descriptors()
{
    // The listing's own descriptor is one of them.
    return QDir(QStringLiteral("/proc/self/fd"))
               .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
               .size() -
           1;
}

inline int running_threads()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

// Memory in use by the process, in KiB.
inline int resident_kib()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf("VmRSS:") + 6).simplified().split(' ').value(0).toInt();
}
