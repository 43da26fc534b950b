#pragma once

#include "simulator/wire/parsing.h"

#include <QHash>
#include <QVector>

namespace simulator {

// A result that replaces the real one, in so many percent of the cases.
struct ChosenResult
{
    uint16 code;
    int percent;
};

// The faults that are switched on. Records are named by their index.
struct FaultSettings
{
    int junkCount = 0;
    QByteArray junkBytes;
    int splitSize = 0;
    int joinCount = 0;
    int loseNext = 0;
    int loseEvery = 0;
    QHash<int, int> lostFrames; // by record: counts down to the lost frame; 0 loses all frames
    int lateMs = 0;
    int unaskedEvery = 0;
    int unknownEvery = 0;
    int framesUntilUnplug = 0;
    QHash<int, ChosenResult> results;    // by command
    QHash<int, ChosenResult> otaResults; // by byte written to the control point
};

// One fault that can be switched on, by an option at the start or by a control line.
struct FaultSetting
{
    const char *name;
    const char *argument;
    const char *help;
    Error (*apply)(FaultSettings &faults, const QString &value);
};
const QVector<FaultSetting> &faultSettings();

// Applies a setting by name; an error leaves the faults unchanged.
Error setFault(FaultSettings &faults, const QString &name, const QString &value);

} // namespace simulator
