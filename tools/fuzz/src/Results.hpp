#pragma once
// The HRESULTs of the calls the fuzzer makes: counted per call, and judged against what
// the library documents for that call.
#include <windows.h>

#include <cstdint>

#include "State.hpp"

namespace fuzz {

enum class Call : uint32_t {
    OpenToDecode,
    GetDocContext,
    GetSignature,
    GetReference,
    GetStatus,
    ImportPublicKey,
    SetHmacSecret,
    Verify,
    VerifyAgain,
    DigestReference,
    Close,
    CloseChild,
    kCount
};

const char* CallName(Call call);

// True when `hr` is an answer the library documents for `call` (README, src/api/ErrorText.cpp
// and the CryptoAPI errors passed on from key import).
bool IsDocumented(Call call, HRESULT hr);

// Adds one to the count of (call, hr).
void Count(Tally& tally, Call call, HRESULT hr);

}  // namespace fuzz
