#pragma once

#include "protocol/cls_ble.h"
#include "tests/protocol/catalogue.h"

#include <QObject>

#include <functional>

// Writes down everything that an engine emits, in order.
class EngineLog : public QObject
{
public:
    // The engine's own three signals, and the responses and events of its ten objects.
    enum What { line, data, sent, message };

    struct Entry
    {
        What what;
        QByteArray bytes;            // data and sent: the frame
        QStringList pieces;          // line
        const catalogue::Message *m; // message
        catalogue::Values values;    // message: wire bytes of the arguments
    };

    explicit EngineLog(cls_ble &engine);

    // Run inside the signal, once it is written down.
    std::function<void(const Entry &)> on_entry;

    QVector<Entry> entries;

    // The entries as words: "reg_read" for a message, "line", "data", "sent".
    QStringList story() const;
    QVector<QByteArray> frames(What what) const;
    QStringList lines() const; // joined with one blank each
    QVector<catalogue::Values> values() const;

    int qt_metacall(QMetaObject::Call call, int id, void **args) override;

private:
    void add(const Entry &entry);

    QVector<const catalogue::Message *> m_received;
};

QObject *class_object(cls_ble &engine, int class_id);

// The value in the storage of a signal's or slot's argument, as wire bytes, and the other way about.
QByteArray argument_bytes(const catalogue::Field &field, const void *argument);
// Calls the command's slot with these values.
void call_command(cls_ble &engine, const catalogue::Message &command, const catalogue::Values &values);

inline QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}
