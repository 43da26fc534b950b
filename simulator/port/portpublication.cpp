#include "simulator/port/portpublication.h"

#include "transport/platform/published_ports.h"

#include <QDir>

namespace simulator {
namespace {

// Another publisher may be taking over the lock of a dead process.
constexpr int lockTimeout = 250; // ms

} // namespace

Error PortPublication::publish(const QString &name, const QString &device)
{
    if (!isPortName(name))
        return QStringLiteral("not a name for a port: \"%1\"").arg(name);
    const QString dir = published_ports_dir();
    if (dir.isEmpty() || !QDir().mkpath(dir))
        return QStringLiteral("cannot use the directory of published ports \"%1\"").arg(dir);
    auto candidate = std::make_unique<QLockFile>(published_port_lock(name));
    candidate->setStaleLockTime(0);
    if (!candidate->tryLock(lockTimeout))
        return candidate->error() == QLockFile::LockFailedError
                   ? QStringLiteral("a port named \"%1\" is published already").arg(name)
                   : QStringLiteral("cannot lock \"%1\"").arg(published_port_lock(name));
    const QFileInfo previous(dir, name);
    if (previous.isSymLink())
        QFile::remove(previous.filePath());
    if (!QFile::link(device, previous.filePath()))
        return QStringLiteral("cannot create the link \"%1\"").arg(previous.filePath());
    lock = std::move(candidate);
    link = previous.filePath();
    return {};
}

void PortPublication::withdraw()
{
    if (lock)
        QFile::remove(link);
    lock.reset();
}

} // namespace simulator
