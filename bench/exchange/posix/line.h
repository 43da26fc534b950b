#pragma once

#include "bench/common/bare_exchange.h"

constexpr char figure_name[] = "exchange_per_second";
