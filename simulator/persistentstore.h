#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QVector>

#include <optional>

namespace simulator {

// Values under 16-bit keys in a log of records: a save appends, a save over an old value or an erase only
// marks the old record dead, and its room comes back when the store is defragmented or erased.
class PersistentStore
{
public:
    static constexpr uint16 endKey = 0xffff; // ends a dump and so is no key
    static constexpr int capacity = 4096;    // bytes of all records, dead ones included
    static constexpr int recordOverhead = 4; // bytes that a record takes beside its value

    struct Record
    {
        uint16 key;
        QByteArray value;
        bool dead;
    };

    // False if the record finds no room; the old value then stays. Saving the value that is there takes none.
    bool save(uint16 key, const QByteArray &value);
    std::optional<QByteArray> load(uint16 key) const;
    void erase(uint16 key);
    void eraseAll();
    void defragment();

    // The records in the order of the last save, dead ones left out.
    QVector<Record> dump() const;

private:
    Record *find(uint16 key);
    int used() const;

    QVector<Record> records;
};

} // namespace simulator
