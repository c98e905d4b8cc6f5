/* What the stand-in platform library (CryptXml.dll of the redirection tests) records of
 * each call, shared by the stand-in and the tests that read it. */
#pragma once
#include <windows.h>

/* The stand-in's functions, numbered in the order the library looks them up. */
enum StandInEntry {
    kStandInOpenToEncode = 1,
    kStandInCreateReference,
    kStandInSign,
    kStandInClose,
    kStandInGetStatus,
    kStandInEncode,
    kStandInOpenToDecode,
    kStandInGetSignature,
    kStandInGetReference,
    kStandInGetDocContext,
    kStandInVerifySignature,
    kStandInFindAlgorithmInfo,
    kStandInImportPublicKey,
    kStandInDigestReference,
    kStandInEnumAlgorithmInfo,
    kStandInGetAlgorithmInfo,
    kStandInSetHMACSecret,
    kStandInAddObject,
    kStandInGetTransforms,
};

/* Every HRESULT function answers kStandInMarkerBase + its entry number. */
#define STANDIN_MARKER_BASE 0x2C580000L

typedef struct StandInCall {
    LONG calls;           /* how many calls the stand-in has taken so far */
    int entry;            /* the StandInEntry of the last call */
    int argCount;
    ULONGLONG args[9];    /* its arguments, each widened to 64 bits */
} StandInCall;

/* Exported by the stand-in: the record of the last call; and the address its
 * CryptXmlFindAlgorithmInfo answers. */
typedef void(WINAPI* PFN_STANDIN_LAST_CALL)(StandInCall* out);
typedef const void*(WINAPI* PFN_STANDIN_SENTINEL)(void);
