#pragma once

#include "protocol/cls_ble.h"
#include "tests/protocol/catalogue.h"

#include <QObject>

#include <functional>
#include <memory>

// Writes down everything that an engine emits, in order, as texts: "line a| b" with "|" between the pieces,
// "data 00000001", "sent 00000001", and for a response or event "message system rsp_reg_read 0040 ff" with
// the wire bytes of its arguments.
class EngineLog : public QObject
{
public:
    explicit EngineLog(cls_ble &engine);

    QStringList entries;
    // Run inside the signal, once it is written down.
    std::function<void(const QString &entry)> onEntry;

    // The entries in a word each: "line", "data", "sent", or the name of the message.
    QString story() const;
    // What stands behind `kind` in the entries of this kind, "data" or another.
    QStringList all(const char *kind) const;

    int qt_metacall(QMetaObject::Call call, int id, void **args) override;

private:
    void add(const QString &entry);

    QVector<const catalogue::Message *> received;
};

// An engine and what it emits.
struct Rig
{
    cls_ble engine;
    EngineLog log{engine};
};

QObject *classObject(cls_ble &engine, int classId);

// Calls the command's slot with these values.
void callCommand(cls_ble &engine, const catalogue::Message &command, const catalogue::Values &values);
