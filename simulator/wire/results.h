#pragma once

#include "protocol/types.h"

namespace simulator {

// Result codes that the module answers with. 0x01xx are its own, 0x02xx those of the link, 0x03xx those of
// the security manager, 0x04xx those of the attribute protocol.
enum Result : uint16 {
    resultOk = 0x0000,
    resultInvalidParameter = 0x0180,
    resultWrongState = 0x0181,
    resultOutOfMemory = 0x0182,
    resultCommandNotRecognized = 0x0184,
    resultTimeout = 0x0185,
    resultNoSuchConnection = 0x0186,
    resultOverflow = 0x0187,
    resultUserAttribute = 0x0188,
    resultTooManyBonds = 0x018b,
    resultSupervisionTimeout = 0x0208,
    resultEndedByRemote = 0x0213,
    resultEndedLocally = 0x0216,
    resultUnacceptableInterval = 0x023b,
    resultNotEstablished = 0x023e,
    resultAuthenticationImpossible = 0x0303,
    resultConfirmMismatch = 0x0304,
    resultPairingUnsupported = 0x0305,
    resultInsufficientKeySize = 0x0306,
    resultInvalidHandle = 0x0401,
    resultReadNotPermitted = 0x0402,
    resultWriteNotPermitted = 0x0403,
    resultInsufficientAuthentication = 0x0405,
    resultInvalidOffset = 0x0407,
    resultAttributeNotFound = 0x040a,
    resultInvalidValueLength = 0x040d,
    resultInsufficientEncryption = 0x040f,
    resultUnsupportedGroupType = 0x0410,
    resultApplicationError = 0x0480,
};

} // namespace simulator
