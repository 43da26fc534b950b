#include "transport/platform/published_ports.h"

#include <QDir>
#include <QLockFile>
#include <QRegularExpression>
#include <QStandardPaths>

#include <sys/stat.h>

namespace {

// Taking the lock would disturb the publisher and others who list the ports, so look at its owner.
bool is_held(const QString &lock_path)
{
    qint64 pid = 0;
    QString host;
    QString program;
    if (!QLockFile(lock_path).getLockInfo(&pid, &host, &program))
        return false;
    // The number of a dead process may belong to another one. The kernel marks a program file that has been
    // replaced since the start.
    QString executable = QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget();
    executable.remove(QRegularExpression(QStringLiteral(" \\(deleted\\)$")));
    return QFileInfo(executable).fileName() == program;
}

bool is_character_device(const QString &path)
{
    struct stat info = {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 && S_ISCHR(info.st_mode);
}

} // namespace

QString published_ports_dir()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return base.isEmpty() ? base : base + QStringLiteral("/vorsel/ports");
}

QString published_port_lock(const QString &name)
{
    return QStringLiteral("%1/.%2.lock").arg(published_ports_dir(), name);
}

std::vector<published_port> list_published_ports()
{
    std::vector<published_port> ports;
    const QString dir = published_ports_dir();
    if (dir.isEmpty())
        return ports;
    // The filter System includes links that lead nowhere and links to devices.
    for (const QFileInfo &entry : QDir(dir).entryInfoList(QDir::Files | QDir::System, QDir::Name)) {
        const QString path = entry.canonicalFilePath();
        if (entry.isSymLink() && is_character_device(path) && is_held(published_port_lock(entry.fileName())))
            ports.push_back({entry.fileName(), path});
    }
    return ports;
}
