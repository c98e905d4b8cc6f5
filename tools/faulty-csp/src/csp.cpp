// Talvoran Faulty CSP: a TEST provider that forwards every call to a real provider chosen by
// the provider type it was acquired for, and fails chosen calls on request (Injection.hpp).
// Key and hash handles are the real provider's own; only the context handle is wrapped.
// Where Wine's dssenh lacks an answer a real DSS provider gives (PP_PROVTYPE, KP_ALGID), the
// forwarder gives it, so that callers reach the code paths they would reach on Windows.
#include <atomic>
#include <memory>

#include "Backend.hpp"
#include "EntryPoints.hpp"
#include "Injection.hpp"
#include "KeyAlgorithms.hpp"

namespace {

using faulty::Backend;

struct Context {
    const Backend* backend;
    HCRYPTPROV inner;
    DWORD type;                  // the provider type the caller acquired
    faulty::KeyAlgorithms keys;  // recorded only where key parameters are answered here
};

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

Context* FromHandle(HCRYPTPROV handle) { return reinterpret_cast<Context*>(handle); }

// Contexts acquired and not yet released, keys handed out and not yet destroyed, hashes
// created and not yet destroyed, of every type: tests ask for them to see whether their
// code gives back every handle it gets (faulty::kPpLiveContexts, kPpLiveKeys, kPpLiveHashes).
// A key or hash is counted when the real provider made it and uncounted when the real
// provider took it back; releasing its context does neither, since CryptoAPI wants keys and
// hashes destroyed before their context is released.
std::atomic<long> liveContexts{0};
std::atomic<long> liveKeys{0};
std::atomic<long> liveHashes{0};

BOOL CountMade(BOOL made, std::atomic<long>& live) {
    if (made) ++live;
    return made;
}

BOOL CountDestroyed(BOOL destroyed, std::atomic<long>& live) {
    if (destroyed) --live;
    return destroyed;
}

template <class Fn, class... Args>
BOOL Forward(HCRYPTPROV handle, Fn Backend::*entry, Args... args) {
    Context* context = FromHandle(handle);
    if (context == nullptr) return Fail(static_cast<DWORD>(NTE_BAD_UID));
    const Fn fn = context->backend->*entry;
    if (fn == nullptr) return Fail(ERROR_CALL_NOT_IMPLEMENTED);
    return fn(context->inner, args...);
}

// After a key-making call: counts the key and records its algorithm where the backend
// cannot be asked.
BOOL Record(BOOL made, HCRYPTPROV handle, const HCRYPTKEY* key, ALG_ID algId) {
    Context* context = FromHandle(handle);
    if (made) ++liveKeys;
    if (made && key != nullptr && context->backend->keyParamsAnsweredHere) context->keys.Remember(*key, algId);
    return made;
}

// KP_ALGID from the record; any other parameter is refused rather than forwarded.
BOOL AnswerKeyParam(const Context& context, HCRYPTKEY key, DWORD param, BYTE* data, DWORD* size) {
    if (param != KP_ALGID) return Fail(static_cast<DWORD>(NTE_BAD_TYPE));
    const ALG_ID algId = context.keys.Find(key);
    if (algId == 0) return Fail(static_cast<DWORD>(NTE_BAD_KEY));
    return faulty::AnswerDword(algId, data, size);
}

DWORD RequestedType(const ProviderVTable* vtable) {
    if (vtable == nullptr) return 0;
    return vtable->dwProvType != 0 ? vtable->dwProvType : faulty::TypeFromProviderName(vtable->pszProvName);
}

}  // namespace

extern "C" {

BOOL WINAPI CPAcquireContext(HCRYPTPROV* phProv, LPCSTR szContainer, DWORD dwFlags, ProviderVTable* pVTable) {
    if (phProv == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    const DWORD type = RequestedType(pVTable);
    if (const DWORD injected = faulty::InjectedError(faulty::Operation::Acquire, type)) return Fail(injected);
    const Backend* backend = faulty::BackendFor(type);
    if (backend == nullptr) return FALSE;
    // The real provider sees its own name, as if advapi32 had loaded it directly.
    ProviderVTable vtable = *pVTable;
    vtable.pszProvName = const_cast<LPSTR>(backend->providerName);
    auto context = std::make_unique<Context>();
    context->backend = backend;
    context->type = type;
    if (!backend->CPAcquireContext(&context->inner, szContainer, dwFlags, &vtable)) return FALSE;
    // CRYPT_DELETEKEYSET returns no context to release later.
    *phProv = (dwFlags & CRYPT_DELETEKEYSET) ? 0 : reinterpret_cast<HCRYPTPROV>(context.release());
    if (*phProv != 0) ++liveContexts;
    return TRUE;
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
    std::unique_ptr<Context> context(FromHandle(hProv));
    if (!context) return Fail(static_cast<DWORD>(NTE_BAD_UID));
    --liveContexts;
    return context->backend->CPReleaseContext(context->inner, dwFlags);
}

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return Record(Forward(hProv, &Backend::CPGenKey, Algid, dwFlags, phKey), hProv, phKey, faulty::DssAlgorithm(Algid));
}

BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hHash, DWORD dwFlags, HCRYPTKEY* phKey) {
    return Record(Forward(hProv, &Backend::CPDeriveKey, Algid, hHash, dwFlags, phKey), hProv, phKey, Algid);
}

// Forgotten whatever the backend answers: a handle it refuses is no key of it either.
BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
    const BOOL destroyed = CountDestroyed(Forward(hProv, &Backend::CPDestroyKey, hKey), liveKeys);
    if (Context* context = FromHandle(hProv)) context->keys.Forget(hKey);
    return destroyed;
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    return Forward(hProv, &Backend::CPSetKeyParam, hKey, dwParam, pbData, dwFlags);
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData, DWORD* pcbData,
                          DWORD dwFlags) {
    const Context* context = FromHandle(hProv);
    if (context == nullptr) return Fail(static_cast<DWORD>(NTE_BAD_UID));
    if (const DWORD injected = faulty::InjectedError(faulty::Operation::GetKeyParam, context->backend->type)) {
        return Fail(injected);
    }
    if (context->backend->keyParamsAnsweredHere) return AnswerKeyParam(*context, hKey, dwParam, pbData, pcbData);
    return Forward(hProv, &Backend::CPGetKeyParam, hKey, dwParam, pbData, pcbData, dwFlags);
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    return Forward(hProv, &Backend::CPSetProvParam, dwParam, pbData, dwFlags);
}

// PP_PROVTYPE is the backend's answer when it gives one (rsaenh reports 1 for type 24 too,
// as in a default prefix); when it fails (Wine's dssenh), the type the context was acquired for.
BOOL WINAPI CPGetProvParam(HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pcbData, DWORD dwFlags) {
    if (FromHandle(hProv) != nullptr) {
        const std::atomic<long>* live = dwParam == faulty::kPpLiveContexts ? &liveContexts
                                        : dwParam == faulty::kPpLiveKeys   ? &liveKeys
                                        : dwParam == faulty::kPpLiveHashes ? &liveHashes
                                                                           : nullptr;
        if (live != nullptr) return faulty::AnswerDword(static_cast<DWORD>(live->load()), pbData, pcbData);
    }
    if (Forward(hProv, &Backend::CPGetProvParam, dwParam, pbData, pcbData, dwFlags)) return TRUE;
    if (dwParam != PP_PROVTYPE || FromHandle(hProv) == nullptr) return FALSE;
    return faulty::AnswerDword(FromHandle(hProv)->type, pbData, pcbData);
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
    return Forward(hProv, &Backend::CPSetHashParam, hHash, dwParam, pbData, dwFlags);
}

BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData, DWORD* pcbData,
                           DWORD dwFlags) {
    return Forward(hProv, &Backend::CPGetHashParam, hHash, dwParam, pbData, pcbData, dwFlags);
}

BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType, DWORD dwFlags,
                        BYTE* pbData, DWORD* pcbData) {
    return Forward(hProv, &Backend::CPExportKey, hKey, hPubKey, dwBlobType, dwFlags, pbData, pcbData);
}

BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbData, HCRYPTKEY hPubKey, DWORD dwFlags,
                        HCRYPTKEY* phKey) {
    return Record(Forward(hProv, &Backend::CPImportKey, pbData, cbData, hPubKey, dwFlags, phKey), hProv, phKey,
                  faulty::BlobAlgorithm(pbData, cbData));
}

BOOL WINAPI CPEncrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbData, DWORD cbBufLen) {
    return Forward(hProv, &Backend::CPEncrypt, hKey, hHash, fFinal, dwFlags, pbData, pcbData, cbBufLen);
}

BOOL WINAPI CPDecrypt(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL fFinal, DWORD dwFlags, BYTE* pbData,
                      DWORD* pcbData) {
    return Forward(hProv, &Backend::CPDecrypt, hKey, hHash, fFinal, dwFlags, pbData, pcbData);
}

BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags, HCRYPTHASH* phHash) {
    return CountMade(Forward(hProv, &Backend::CPCreateHash, Algid, hKey, dwFlags, phHash), liveHashes);
}

BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbData, DWORD dwFlags) {
    return Forward(hProv, &Backend::CPHashData, hHash, pbData, cbData, dwFlags);
}

BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD dwFlags) {
    return Forward(hProv, &Backend::CPHashSessionKey, hHash, hKey, dwFlags);
}

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeyPair, LPCWSTR szDescription, DWORD dwFlags,
                       BYTE* pbSignature, DWORD* pcbSignature) {
    return Forward(hProv, &Backend::CPSignHash, hHash, dwKeyPair, szDescription, dwFlags, pbSignature, pcbSignature);
}

BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash) {
    return CountDestroyed(Forward(hProv, &Backend::CPDestroyHash, hHash), liveHashes);
}

BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature, DWORD cbSignature,
                              HCRYPTKEY hPubKey, LPCWSTR szDescription, DWORD dwFlags) {
    return Forward(hProv, &Backend::CPVerifySignature, hHash, pbSignature, cbSignature, hPubKey, szDescription,
                   dwFlags);
}

BOOL WINAPI CPGenRandom(HCRYPTPROV hProv, DWORD cbLen, BYTE* pbBuffer) {
    return Forward(hProv, &Backend::CPGenRandom, cbLen, pbBuffer);
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeyPair, HCRYPTKEY* phUserKey) {
    return Record(Forward(hProv, &Backend::CPGetUserKey, dwKeyPair, phUserKey), hProv, phUserKey,
                  faulty::DssAlgorithm(dwKeyPair));
}

BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags, HCRYPTHASH* phHash) {
    return CountMade(Forward(hProv, &Backend::CPDuplicateHash, hHash, pdwReserved, dwFlags, phHash), liveHashes);
}

BOOL WINAPI CPDuplicateKey(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD* pdwReserved, DWORD dwFlags, HCRYPTKEY* phKey) {
    Context* context = FromHandle(hProv);
    if (context == nullptr) return Fail(static_cast<DWORD>(NTE_BAD_UID));
    if (const DWORD injected = faulty::InjectedError(faulty::Operation::DuplicateKey, context->backend->type)) {
        return Fail(injected);
    }
    return Record(Forward(hProv, &Backend::CPDuplicateKey, hKey, pdwReserved, dwFlags, phKey), hProv, phKey,
                  context->keys.Find(hKey));
}

}  // extern "C"
