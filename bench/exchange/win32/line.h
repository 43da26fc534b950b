#pragma once

#include "bench/common/bare_win32_exchange.h"
#include "tests/transport/wine_peer.h"

// COM7, whose other end answers every byte with the same.

constexpr char figureName[] = "windows_exchange_per_second";

struct Echo
{
    Echo()
    {
        peer("plug");
        peer("echo");
    }
    const char *slaveName() const { return com7; }
};

inline double bareRate()
{
    return bareRate(Echo().slaveName());
}
