#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>

namespace simulator {

// The module's end of the serial line: the master of a new pseudo-terminal, or a serial port of the machine.
// On a pseudo-terminal, hosts may come and go; what is written while none is there is discarded.
class ModuleLink : public QObject
{
    Q_OBJECT

public:
    static std::unique_ptr<ModuleLink> make(); // of this system's kind

    // What the program's help says of this system's kind.
    struct Help
    {
        const char *start; // behind "It"
        const char *name;
        const char *port;
    };
    static const Help help;

    // Both give false and an error text if it cannot be had. The pseudo-terminal is published under `name`
    // for the list of ports. Any speed in bits a second that the port's driver can do will do.
    virtual bool openPseudoTerminal(const QString &name, QString *error) = 0;
    virtual bool openPort(const QString &path, int speed, QString *error) = 0;

    // What a host opens: the pseudo-terminal's slave. For a port, the port itself.
    QString path() const { return devicePath; }

    // Takes the bytes at once and writes them as fast as the host reads. False and nothing taken if no host
    // is there, or if more than 4 MiB would pile up.
    virtual bool write(const QByteArray &bytes) = 0;

    // Whether bytes wait here or, as far as can be seen, in the pseudo-terminal for the host to read.
    virtual bool hasUnreadOutput() const = 0;

    // Goes away as a device does that is pulled out.
    virtual void close() = 0;

Q_SIGNALS:
    void received(const QByteArray &bytes);
    void hostAttached();
    void hostDetached();
    void overrun(int lostBytes);
    void lost(); // a port that is not there any more; the link is closed

protected:
    static constexpr int maxPending = 4 << 20;

    QString devicePath;
};

} // namespace simulator
