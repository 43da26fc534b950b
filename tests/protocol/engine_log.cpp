#include "tests/protocol/engine_log.h"

#include <cstring>

static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "arguments are taken as they lie in memory");

EngineLog::EngineLog(cls_ble &engine)
{
    const auto frame = [this](const char *kind) {
        return [this, kind](const QByteArray &bytes) { add(QString::fromLatin1(kind + bytes.toHex())); };
    };
    connect(&engine, &cls_ble::parsed_message_str, this,
            [this](const QStringList &pieces) { add(QLatin1String("line ") + pieces.join(u'|')); });
    connect(&engine, &cls_ble::parsed_message_data, this, frame("data "));
    connect(&engine, &cls_ble::tx_data, this, frame("sent "));
    for (const catalogue::Message &m : catalogue::messages()) {
        if (m.kind == catalogue::Kind::command)
            continue;
        QObject *sender = classObject(engine, m.classId);
        const int signal = sender->metaObject()->indexOfSignal(m.signature().constData());
        if (signal < 0)
            qFatal("no signal %s", m.title().constData());
        QMetaObject::connect(sender, signal, this, staticMetaObject.methodCount() + received.size());
        received.append(&m);
    }
}

int EngineLog::qt_metacall(QMetaObject::Call call, int id, void **args)
{
    id = QObject::qt_metacall(call, id, args);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    const catalogue::Message &m = *received.at(id);
    catalogue::Values values;
    for (const catalogue::Field &field : m.fields) {
        const void *argument = *++args;
        values.append(field.isArray ? *static_cast<const QByteArray *>(argument)
                                    : QByteArray(static_cast<const char *>(argument), field.size));
    }
    add(catalogue::shown(m, values));
    return -1;
}

void EngineLog::add(const QString &entry)
{
    entries.append(entry);
    if (onEntry)
        onEntry(entry);
}

QString EngineLog::story() const
{
    QStringList words;
    for (const QString &entry : entries)
        words +=
            entry.startsWith(QLatin1String("message ")) ? entry.section(u' ', 2, 2).mid(4) : entry.left(4);
    return words.join(u' ');
}

QStringList EngineLog::all(const char *kind) const
{
    QStringList found;
    for (const QString &entry : entries) {
        if (entry.section(u' ', 0, 0) == QLatin1String(kind))
            found += entry.section(u' ', 1);
    }
    return found;
}

QObject *classObject(cls_ble &engine, int classId)
{
    QObject *const objects[] = {&engine.system,    &engine.flash, &engine.attributes, &engine.connection,
                                &engine.attclient, &engine.sm,    &engine.gap,        &engine.hardware,
                                &engine.test,      &engine.dfu};
    return objects[classId];
}

void callCommand(cls_ble &engine, const catalogue::Message &command, const catalogue::Values &values)
{
    QVector<quint64> numbers(values.size());
    QVector<void *> args{nullptr};
    for (int i = 0; i < values.size(); ++i) {
        std::memcpy(&numbers[i], values[i].constData(), std::size_t(qMin(values[i].size(), 8)));
        args.append(command.fields[i].isArray ? const_cast<QByteArray *>(&values[i])
                                              : static_cast<void *>(&numbers[i]));
    }
    QObject *object = classObject(engine, command.classId);
    const int slot = object->metaObject()->indexOfSlot(command.signature().constData());
    if (slot < 0)
        qFatal("no slot %s", command.title().constData());
    QMetaObject::metacall(object, QMetaObject::InvokeMetaMethod, slot, args.data());
}
