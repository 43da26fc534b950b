#pragma once

#include "simulator/results.h"

#include <QByteArray>

#include <functional>
#include <optional>

namespace simulator {

// What a remote device does with a firmware that it gets over the air: orders of one byte steer it, and the
// image comes in chunks. An order out of turn is the application's error. The image outlives the connection.
class OtaTarget
{
public:
    // The bytes that the control point takes. Loading needs powered memory with both blocks erased since the
    // load before.
    enum Order : uint8 { eraseBlock0, eraseBlock1, loadStart, finish, powerOn };

    static constexpr int capacity = 0x80000; // of both blocks; a longer image cannot be finished

    // Asked with the order's byte: a value is the result, and the order is not carried out.
    using ResultOverride = std::function<std::optional<uint16>(uint8 order)>;
    void setResultOverride(ResultOverride chosen) { resultOverride = std::move(chosen); }

    Result obey(uint8 order);
    static bool isErase(uint8 order) { return order <= eraseBlock1; }

    // Takes the next bytes of the image; passes them over unless a load has been started.
    void append(const QByteArray &data);

    // The connection is gone: the memory is off and what was being loaded stays unfinished.
    void leave() { done = 0; }

    // What has come since the last load start.
    const QByteArray &image() const { return loaded; }

private:
    ResultOverride resultOverride;
    unsigned done = 0; // a bit for each Order that is in effect
    QByteArray loaded;
    bool overrun = false;
};

} // namespace simulator
