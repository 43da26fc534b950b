#pragma once

#include <algorithm>
#include <cstdio>
#include <vector>

// What every measurement prints: one aligned line per figure.

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

enum class Budget { atLeast, atMost };

// Prints "NAME ours=… other=… ratio=… budget=… ok|SHORT". Gives false if the ratio misses the budget.
inline bool printFigure(const char *name, double ours, double other, double ratio, Budget kind, double budget)
{
    const bool kept = kind == Budget::atLeast ? ratio >= budget : ratio <= budget;
    std::printf("%-38s ours=%-9.4g other=%-9.4g ratio=%-7.3f budget=%s%-6.3g %s\n", name, ours, other, ratio,
                kind == Budget::atLeast ? ">=" : "<=", budget, kept ? "ok" : "SHORT");
    std::fflush(stdout);
    return kept;
}

// The same for a count that must be what another one is.
inline bool printEqual(const char *name, long long ours, long long other)
{
    const bool isEqual = ours == other;
    std::printf("%-38s ours=%-9lld other=%-9lld ratio=%-7s budget=%-8s %s\n", name, ours, other, "-", "equal",
                isEqual ? "ok" : "SHORT");
    std::fflush(stdout);
    return isEqual;
}

// The same for a figure with a limit of its own and nothing to compare it with.
inline bool printLimited(const char *name, double ours, double limit)
{
    const bool kept = ours <= limit;
    std::printf("%-38s ours=%-9.4g other=%-9s ratio=%-7s budget=<=%-6.3g %s\n", name, ours, "-", "-", limit,
                kept ? "ok" : "SHORT");
    std::fflush(stdout);
    return kept;
}
