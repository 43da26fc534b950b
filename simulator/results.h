#pragma once

#include "protocol/types.h"

namespace simulator {

// Result codes that the module answers with. 0x01xx are its own, 0x04xx those of the attribute protocol.
enum Result : uint16 {
    resultOk = 0x0000,
    resultInvalidParameter = 0x0180,
    resultWrongState = 0x0181,
    resultOutOfMemory = 0x0182,
    resultCommandNotRecognized = 0x0184,
    resultNoSuchConnection = 0x0186,
    resultOverflow = 0x0187,
    resultUserAttribute = 0x0188,
    resultInvalidHandle = 0x0401,
    resultWriteNotPermitted = 0x0403,
    resultInvalidOffset = 0x0407,
    resultInvalidValueLength = 0x040d,
};

} // namespace simulator
