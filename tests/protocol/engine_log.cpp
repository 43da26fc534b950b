#include "tests/protocol/engine_log.h"

#include <QtEndian>

#include <cstring>

namespace {

constexpr int own_signals = 3;

template <typename T>
QByteArray little_endian(const void *argument)
{
    T value;
    std::memcpy(&value, argument, sizeof(T));
    value = qToLittleEndian(value);
    return QByteArray(reinterpret_cast<const char *>(&value), int(sizeof(T)));
}

} // namespace

EngineLog::EngineLog(cls_ble &engine)
{
    const int base = QObject::staticMetaObject.methodCount();
    const char *const signatures[own_signals] = {"parsed_message_str(QStringList)",
                                                 "parsed_message_data(QByteArray)", "tx_data(QByteArray)"};
    for (int i = 0; i < own_signals; ++i) {
        const int signal = engine.metaObject()->indexOfSignal(signatures[i]);
        QMetaObject::connect(&engine, signal, this, base + i, Qt::DirectConnection);
    }
    for (const catalogue::Message &m : catalogue::messages()) {
        if (m.kind == catalogue::Kind::command)
            continue;
        QObject *sender = class_object(engine, m.class_id);
        const int signal = sender->metaObject()->indexOfSignal(m.signature().constData());
        if (signal < 0)
            qFatal("no signal %s", m.title().constData());
        QMetaObject::connect(sender, signal, this, base + own_signals + m_received.size(),
                             Qt::DirectConnection);
        m_received.append(&m);
    }
}

int EngineLog::qt_metacall(QMetaObject::Call call, int id, void **args)
{
    id = QObject::qt_metacall(call, id, args);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    if (id == line) {
        add({line, {}, *static_cast<QStringList *>(args[1]), nullptr, {}});
    } else if (id < own_signals) {
        add({static_cast<What>(id), *static_cast<QByteArray *>(args[1]), {}, nullptr, {}});
    } else {
        const catalogue::Message *m = m_received.at(id - own_signals);
        catalogue::Values values;
        for (int i = 0; i < m->fields.size(); ++i)
            values.append(argument_bytes(m->fields.at(i), args[i + 1]));
        add({message, {}, {}, m, values});
    }
    return -1;
}

void EngineLog::add(const Entry &entry)
{
    entries.append(entry);
    if (on_entry)
        on_entry(Entry(entry)); // a copy: what runs now may grow the list
}

QStringList EngineLog::story() const
{
    QStringList words;
    for (const Entry &entry : entries) {
        switch (entry.what) {
        case line: words.append(QStringLiteral("line")); break;
        case data: words.append(QStringLiteral("data")); break;
        case sent: words.append(QStringLiteral("sent")); break;
        case message: words.append(QString::fromLatin1(entry.m->name)); break;
        }
    }
    return words;
}

QVector<QByteArray> EngineLog::frames(What what) const
{
    QVector<QByteArray> found;
    for (const Entry &entry : entries) {
        if (entry.what == what)
            found.append(entry.bytes);
    }
    return found;
}

QStringList EngineLog::lines() const
{
    QStringList found;
    for (const Entry &entry : entries) {
        if (entry.what == line)
            found.append(entry.pieces.join(QLatin1Char(' ')));
    }
    return found;
}

QVector<catalogue::Values> EngineLog::values() const
{
    QVector<catalogue::Values> found;
    for (const Entry &entry : entries) {
        if (entry.what == message)
            found.append(entry.values);
    }
    return found;
}

QObject *class_object(cls_ble &engine, int class_id)
{
    QObject *const objects[] = {&engine.system,    &engine.flash, &engine.attributes, &engine.connection,
                                &engine.attclient, &engine.sm,    &engine.gap,        &engine.hardware,
                                &engine.test,      &engine.dfu};
    return objects[class_id];
}

QByteArray argument_bytes(const catalogue::Field &field, const void *argument)
{
    if (catalogue::is_array(field))
        return *static_cast<const QByteArray *>(argument);
    switch (catalogue::wire_size(field)) {
    case 1: return little_endian<quint8>(argument);
    case 2: return little_endian<quint16>(argument);
    case 4: return little_endian<quint32>(argument);
    default: return QByteArray(static_cast<const char *>(argument), 6);
    }
}

void call_command(cls_ble &engine, const catalogue::Message &command, const catalogue::Values &values)
{
    struct alignas(8) Storage
    {
        char bytes[8];
    };
    QVector<Storage> numbers(values.size());
    QVector<QByteArray> arrays = values;
    QVector<void *> args{nullptr};
    for (int i = 0; i < values.size(); ++i) {
        const QByteArray &wire = values.at(i);
        char *const storage = numbers[i].bytes;
        if (catalogue::is_array(command.fields.at(i))) {
            args.append(&arrays[i]);
            continue;
        }
        if (wire.size() == 2)
            qFromLittleEndian<quint16>(wire.constData(), 1, storage);
        else if (wire.size() == 4)
            qFromLittleEndian<quint32>(wire.constData(), 1, storage);
        else
            std::memcpy(storage, wire.constData(), static_cast<std::size_t>(wire.size()));
        args.append(storage);
    }
    QObject *object = class_object(engine, command.class_id);
    const int slot = object->metaObject()->indexOfSlot(command.signature().constData());
    if (slot < 0)
        qFatal("no slot %s", command.title().constData());
    QMetaObject::metacall(object, QMetaObject::InvokeMetaMethod, slot, args.data());
}
