#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>

namespace simulator {

// The module's end of the serial line: the master of a new pseudo-terminal, or a serial port of the machine.
// On a pseudo-terminal, hosts may come and go; what is written while none is there is discarded.
class ModuleLink : public QObject
{
    Q_OBJECT

public:
    explicit ModuleLink(QObject *parent = nullptr);
    ~ModuleLink() override;

    // Both give false and an error text if it cannot be had. Any speed in bits a second that the port's
    // driver can do will do.
    bool openPseudoTerminal(QString *error);
    bool openPort(const QString &path, int speed, QString *error);

    // What a host opens: the pseudo-terminal's slave. For a port, the port itself.
    QString path() const { return devicePath; }

    // Takes the bytes at once and writes them as fast as the host reads. False and nothing taken if no host
    // is there, or if more than 4 MiB would pile up.
    bool write(const QByteArray &bytes);

    // Whether bytes wait here or, as far as can be seen, in the pseudo-terminal for the host to read.
    bool hasUnreadOutput() const;

    // Goes away as a device does that is pulled out.
    void close();

Q_SIGNALS:
    void received(const QByteArray &bytes);
    void hostAttached();
    void hostDetached();
    void overrun(int lostBytes);
    void lost(); // a port that is not there any more; the link is closed

private:
    void watch();
    void readMore();
    void writeMore();
    void lookForHost();
    void hangUp();
    void settleSlave(bool isNew) const;

    int fd = -1;
    bool isPseudoTerminal = false;
    bool attached = false;
    QString devicePath;
    QByteArray pending;
    std::unique_ptr<QSocketNotifier> readable;
    std::unique_ptr<QSocketNotifier> writable;
    QTimer attachTimer;
};

} // namespace simulator
