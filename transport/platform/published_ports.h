#pragma once

#include <QString>

#include <vector>

// Ports that programs of this user publish for the port list, such as the pseudo-terminal of the simulated
// module. A link in a directory below the user's runtime directory has the name of the port and leads to its
// device. The publisher holds a QLockFile for as long as the port exists. POSIX only.

struct published_port
{
    QString name; // as shown to the user
    QString path; // of the device, with all links resolved: "/dev/pts/3"
};

// The directory of the links; empty if this user has no runtime directory.
QString published_ports_dir();

// The path of the QLockFile of a published port.
QString published_port_lock(const QString &name);

// Ports of live publishers, sorted by name. Links to anything but a character device are ignored.
std::vector<published_port> list_published_ports();
