#pragma once

#include "bench/common/bare_exchange.h"

constexpr char figureName[] = "exchange_per_second";
