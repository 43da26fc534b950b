#pragma once

#include "protocol/types.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace simulator {

// The reason why something was refused or failed; no value means success.
using Error = std::optional<QString>;

// Lower-case hex, a blank between two bytes.
QString spacedHex(const QByteArray &bytes);

// Reads pairs of hex digits, with blanks anywhere; no value for any other text.
std::optional<QByteArray> bytesFromHex(QString text);

// Reads an address like "c0:01:02:03:04:05", most significant byte first; no value for any other text.
std::optional<bd_addr> addressFromText(const QString &text);

// Reads a decimal number from `min` to `max` into `number`, which an error leaves unchanged.
Error readNumber(const QString &text, int min, int max, int *number);

} // namespace simulator
