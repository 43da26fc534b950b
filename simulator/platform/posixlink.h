#pragma once

#include "simulator/modulelink.h"

#include <QSocketNotifier>
#include <QTimer>

#include <memory>

class port_publication;

namespace simulator {

class PosixLink : public ModuleLink
{
    Q_OBJECT

public:
    PosixLink();
    ~PosixLink() override;

    bool openPseudoTerminal(const QString &name, QString *error) override;
    bool openPort(const QString &path, int speed, QString *error) override;
    bool write(const QByteArray &bytes) override;
    bool hasUnreadOutput() const override;
    void close() final;

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
    QByteArray pending;
    std::unique_ptr<QSocketNotifier> readable;
    std::unique_ptr<QSocketNotifier> writable;
    QTimer attachTimer;
    std::unique_ptr<port_publication> publication;
};

} // namespace simulator
