#pragma once

#include "protocol/types.h"

#include <QByteArray>

namespace simulator {

// An endpoint whose output is joined to its input. A watermark of 0 never reports.
struct LoopbackEndpoint
{
    static constexpr int capacity = 255;
    static constexpr uint8 keepWatermark = 0xff; // as a setting: leaves the watermark as it is

    int room() const { return capacity - buffer.size(); }

    // False and nothing taken if it does not all fit.
    bool put(const QByteArray &data);

    // False and nothing given if fewer bytes are there.
    bool take(int size, QByteArray *data);

    void setWatermarks(uint8 rx, uint8 tx);

    bool rxReached() const { return rxWatermark != 0 && buffer.size() >= rxWatermark; }
    bool txReached() const { return txWatermark != 0 && room() >= txWatermark; }

    QByteArray buffer;
    uint8 rxWatermark = 0;
    uint8 txWatermark = 0;
};

} // namespace simulator
