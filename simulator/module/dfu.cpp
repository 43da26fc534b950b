#include "simulator/module/behaviours.h"

#include <optional>

namespace simulator {
namespace {

constexpr uint32 minAddress = 0x1000; // end of the bootloader

// The uploads of the class dfu, which only the bootloader accepts.
class DfuBehaviour : public Behaviour
{
public:
    explicit DfuBehaviour(Module &owner)
        : Behaviour(owner)
    {
        on("dfu_flash_set_address", [this](uint32 address) {
            if (!module.isInBootloader())
                return resultWrongState;
            if (address < minAddress || address >= FlashMemory::size)
                return resultInvalidParameter;
            next = address;
            erasedEnd = address - address % FlashMemory::pageSize;
            return resultOk;
        });
        on("dfu_flash_upload", [this](const QByteArray &data) { return upload(data); });
        on("dfu_flash_upload_finish", [this] {
            const Result result = next ? resultOk : resultWrongState;
            next.reset();
            return result;
        });
    }

    void restart() override { next.reset(); }

private:
    // Erases every page that the upload reaches, including all of the first page.
    Result upload(const QByteArray &data)
    {
        if (!next)
            return resultWrongState;
        if (uint32(data.size()) > FlashMemory::size - *next)
            return resultInvalidParameter;
        const uint32 end = *next + uint32(data.size());
        for (; erasedEnd < end; erasedEnd += FlashMemory::pageSize)
            module.flash().erasePage(uint8(erasedEnd / FlashMemory::pageSize));
        module.flash().write(*next, data);
        next = end;
        return resultOk;
    }

    std::optional<uint32> next; // address of the next chunk
    uint32 erasedEnd = 0;       // end of the pages that the upload has erased
};

} // namespace

std::unique_ptr<Behaviour> makeDfuBehaviour(Module &module)
{
    return std::make_unique<DfuBehaviour>(module);
}

} // namespace simulator
