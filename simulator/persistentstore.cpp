#include "simulator/persistentstore.h"

#include <algorithm>
#include <numeric>

namespace simulator {

PersistentStore::Record *PersistentStore::find(uint16 key)
{
    const auto record = std::find_if(records.begin(), records.end(),
                                     [key](const Record &r) { return r.key == key && !r.dead; });
    return record == records.end() ? nullptr : &*record;
}

int PersistentStore::used() const
{
    return std::accumulate(records.begin(), records.end(), 0, [](int sum, const Record &record) {
        return sum + recordOverhead + record.value.size();
    });
}

bool PersistentStore::save(uint16 key, const QByteArray &value)
{
    Record *old = find(key);
    if (old && old->value == value)
        return true;
    if (used() + recordOverhead + value.size() > capacity)
        return false;
    if (old)
        old->dead = true;
    records.append({key, value, false});
    return true;
}

std::optional<QByteArray> PersistentStore::load(uint16 key) const
{
    const Record *record = const_cast<PersistentStore *>(this)->find(key);
    return record ? std::optional(record->value) : std::nullopt;
}

void PersistentStore::erase(uint16 key)
{
    if (Record *record = find(key))
        record->dead = true;
}

void PersistentStore::eraseAll()
{
    records.clear();
}

void PersistentStore::defragment()
{
    records.erase(std::remove_if(records.begin(), records.end(), [](const Record &r) { return r.dead; }),
                  records.end());
}

QVector<PersistentStore::Record> PersistentStore::dump() const
{
    PersistentStore copy(*this);
    copy.defragment();
    return copy.records;
}

} // namespace simulator
