#pragma once

#include "bench/common/bare_win32_exchange.h"
#include "tests/transport/wine_peer.h"

// COM7, whose other end answers every byte with the same.

constexpr char figure_name[] = "windows_exchange_per_second";

struct Echo
{
    Echo()
    {
        peer("plug");
        peer("echo");
    }
    const char *slave_name() const { return com7; }
};

inline double bare_rate()
{
    return bare_rate(Echo().slave_name());
}
