#pragma once

#include "simulator/wire/parsing.h"

#include <QLockFile>

#include <memory>

namespace simulator {

// Publishes a port for the list of ports, until the object is destroyed.
class PortPublication
{
public:
    PortPublication() = default;
    ~PortPublication() { withdraw(); }
    PortPublication(const PortPublication &) = delete;
    PortPublication &operator=(const PortPublication &) = delete;

    // Publishes `device` under `name`, which must be a file name that isPortName() accepts. A name that a
    // live process has published is refused; the name of a dead process is taken over.
    Error publish(const QString &name, const QString &device);

    void withdraw();

    // At most 240 bytes of UTF-8, without a leading dot or a slash.
    static bool isPortName(const QString &name)
    {
        constexpr int maxBytes = 240; // a file name has at most 255, and the lock adds six
        return !name.isEmpty() && !name.startsWith(QLatin1Char('.')) && !name.contains(QLatin1Char('/')) &&
               !name.contains(QChar(0)) && name.toUtf8().size() <= maxBytes;
    }

private:
    QString link; // path of the published link
    std::unique_ptr<QLockFile> lock;
};

} // namespace simulator
