#pragma once

#include <QString>

inline QString operator""_s(const char *utf8, std::size_t size)
{
    return QString::fromUtf8(utf8, int(size));
}
