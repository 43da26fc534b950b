#include "simulator/module/behaviours.h"

#include <map>

namespace simulator {
namespace {

// Values under 16-bit keys. The store appends every change, and the bytes of replaced and erased values are
// only free again after defragmenting.
class PersistentStore
{
public:
    // Returns false, and keeps the old value, if the store is full. Saving an unchanged value takes no bytes.
    bool save(uint16 key, const QByteArray &value)
    {
        const auto old = values.find(key);
        if (old != values.end() && old->second == value)
            return true;
        if (usedBytes + sizeOf(value) > maxBytes)
            return false;
        usedBytes += sizeOf(value);
        values[key] = value;
        return true;
    }

    void clear()
    {
        values.clear();
        usedBytes = 0;
    }

    void defragment()
    {
        usedBytes = 0;
        for (const auto &value : values)
            usedBytes += sizeOf(value.second);
    }

    std::map<uint16, QByteArray> values;

private:
    static constexpr int maxBytes = 4096; // bytes

    static int sizeOf(const QByteArray &value)
    {
        constexpr int overhead = 4;
        return overhead + value.size();
    }

    int usedBytes = 0;
};

// The class flash. Store and program memory keep their contents over a restart.
class FlashBehaviour : public Behaviour
{
public:
    explicit FlashBehaviour(Module &owner)
        : Behaviour(owner)
    {
        addStore();
        addProgramMemory();
    }

private:
    static constexpr uint16 endKey = 0xffff; // ends a dump, so it cannot be a key

    void addStore()
    {
        on("flash_ps_defrag", [this] { store.defragment(); });
        on("flash_ps_erase_all", [this] { store.clear(); });
        on("flash_ps_erase", [this](uint16 key) { store.values.erase(key); });
        on("flash_ps_dump", [this] {
            for (const auto &[key, value] : store.values)
                module.raise("flash_ps_key", key, value);
            module.raise("flash_ps_key", endKey);
        });
        on("flash_ps_save", [this](uint16 key, const QByteArray &value) {
            if (key == endKey)
                return resultInvalidParameter;
            return store.save(key, value) ? resultOk : resultOutOfMemory;
        });
        on("flash_ps_load", [this](uint16 key) {
            const auto found = store.values.find(key);
            return found == store.values.end() ? payload(resultInvalidParameter)
                                               : payload(resultOk, found->second);
        });
    }

    void addProgramMemory()
    {
        on("flash_erase_page", [this](uint8 page) {
            module.flash().erasePage(page);
            return resultOk;
        });
        on("flash_write_data", [this](uint32 address, const QByteArray &data) {
            return module.flash().write(address, data) ? resultOk : resultInvalidParameter;
        });
        on("flash_read_data",
           [this](uint32 address, uint8 length) { return payload(module.flash().read(address, length)); });
    }

    PersistentStore store;
};

} // namespace

std::unique_ptr<Behaviour> makeFlashBehaviour(Module &module)
{
    return std::make_unique<FlashBehaviour>(module);
}

} // namespace simulator
