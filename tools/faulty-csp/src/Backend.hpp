// The real provider a context of the faulty CSP forwards to, chosen by provider type.
#pragma once
#include "EntryPoints.hpp"

namespace faulty {

struct Backend {
    DWORD type = 0;
    const char* providerName = nullptr;  // the name the real provider expects in VTableProvStruc
    // The real CPGetKeyParam must never be called (Wine's dssenh: an aborting stub); the
    // forwarder answers KP_ALGID from what it recorded and refuses every other parameter.
    bool keyParamsAnsweredHere = false;
    decltype(&::CPAcquireContext) CPAcquireContext = nullptr;
    decltype(&::CPReleaseContext) CPReleaseContext = nullptr;
    decltype(&::CPGenKey) CPGenKey = nullptr;
    decltype(&::CPDeriveKey) CPDeriveKey = nullptr;
    decltype(&::CPDestroyKey) CPDestroyKey = nullptr;
    decltype(&::CPSetKeyParam) CPSetKeyParam = nullptr;
    decltype(&::CPGetKeyParam) CPGetKeyParam = nullptr;
    decltype(&::CPSetProvParam) CPSetProvParam = nullptr;
    decltype(&::CPGetProvParam) CPGetProvParam = nullptr;
    decltype(&::CPSetHashParam) CPSetHashParam = nullptr;
    decltype(&::CPGetHashParam) CPGetHashParam = nullptr;
    decltype(&::CPExportKey) CPExportKey = nullptr;
    decltype(&::CPImportKey) CPImportKey = nullptr;
    decltype(&::CPEncrypt) CPEncrypt = nullptr;
    decltype(&::CPDecrypt) CPDecrypt = nullptr;
    decltype(&::CPCreateHash) CPCreateHash = nullptr;
    decltype(&::CPHashData) CPHashData = nullptr;
    decltype(&::CPHashSessionKey) CPHashSessionKey = nullptr;
    decltype(&::CPSignHash) CPSignHash = nullptr;
    decltype(&::CPDestroyHash) CPDestroyHash = nullptr;
    decltype(&::CPVerifySignature) CPVerifySignature = nullptr;
    decltype(&::CPGenRandom) CPGenRandom = nullptr;
    decltype(&::CPGetUserKey) CPGetUserKey = nullptr;
    decltype(&::CPDuplicateHash) CPDuplicateHash = nullptr;
    decltype(&::CPDuplicateKey) CPDuplicateKey = nullptr;
};

// The loaded backend for `type`, or nullptr with the last error set: NTE_BAD_PROV_TYPE for a
// type the forwarder does not serve, the loader's error when the provider DLL cannot be loaded.
// Backends stay loaded until the process ends.
const Backend* BackendFor(DWORD type);

// The provider type a registered name of this DLL stands for ("Talvoran Faulty CSP (type 24)"),
// 0 when the name carries none. Used when advapi32 leaves VTableProvStruc.dwProvType at 0.
DWORD TypeFromProviderName(const char* name);

}  // namespace faulty
