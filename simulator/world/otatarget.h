#pragma once

#include "simulator/wire/results.h"

#include <QByteArray>

#include <functional>
#include <optional>

namespace simulator {

// The firmware update over the air of a remote device: one-byte orders control it, and the image comes in
// chunks. An order out of turn is an application error. The image outlives the connection.
class OtaTarget
{
public:
    // Values of the control point. Loading needs powered memory with both blocks erased since the last load.
    enum Order : uint8 { eraseBlock0, eraseBlock1, loadStart, finish, powerOn };

    static constexpr int maxSize = 0x80000; // of both blocks; a longer image cannot be finished

    // Returns the result that replaces carrying out an order.
    using ResultOverride = std::function<std::optional<uint16>(uint8 order)>;
    void setResultOverride(ResultOverride chosen) { resultOverride = std::move(chosen); }

    Result obey(uint8 order);
    static bool isErase(uint8 order) { return order <= eraseBlock1; }

    // Adds the next bytes of the image; ignored unless a load has been started.
    void append(const QByteArray &data);

    // Powers the memory off, because the connection is gone. An unfinished load stays unfinished.
    void powerOff() { done = 0; }

    // The bytes since the last load start.
    const QByteArray &image() const { return loaded; }

private:
    ResultOverride resultOverride;
    unsigned done = 0; // a bit for each Order that is in effect
    QByteArray loaded;
    bool overrun = false;
};

} // namespace simulator
