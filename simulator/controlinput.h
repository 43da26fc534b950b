#pragma once

#include "simulator/platform/process.h"

#include <QByteArray>
#include <QObject>

namespace simulator {

// Cuts a file descriptor's bytes into lines of text, for standard input. Its end, or a descriptor that cannot
// be read, just ends the lines.
class ControlInput : public QObject
{
    Q_OBJECT

public:
    explicit ControlInput(int descriptor, QObject *parent = nullptr);

    // What the lines can say, a line each.
    static QString help();

Q_SIGNALS:
    void lineRead(const QString &line);
    void lineDropped(const QString &beginning); // of one over 8 KiB

private:
    void cutIntoLines(const QByteArray &bytes);

    ByteInput input;
    QByteArray unfinished;
};

} // namespace simulator
