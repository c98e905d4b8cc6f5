// A stand-in for the platform's CryptXml.dll: every published function records its
// arguments and answers a marker, so that a test can see that a call reached it unchanged.
// Built twice: complete, and (STANDIN_WITHOUT_GETDOCCONTEXT) lacking one function.
#define CRYPTXMLAPI __declspec(dllexport)
#include <windows.h>

#include <cryptxml.h>

#include <cstdint>
#include <cstring>

#include "StandInRecord.h"

namespace {

StandInCall lastCall;
const CRYPT_XML_ALGORITHM_INFO sentinel = {
    sizeof(CRYPT_XML_ALGORITHM_INFO), nullptr, nullptr, 0, nullptr, nullptr, 0, 0, nullptr, nullptr};

template <class T>
ULONGLONG Widen(T value) {
    if constexpr (sizeof(T) == 8) {
        ULONGLONG wide = 0;
        std::memcpy(&wide, &value, sizeof(wide));
        return wide;
    } else {
        return static_cast<ULONGLONG>(static_cast<std::uint32_t>(value));
    }
}

template <class... A>
HRESULT Record(StandInEntry entry, A... args) {
    const ULONGLONG values[] = {Widen(args)...};
    lastCall.calls += 1;
    lastCall.entry = entry;
    lastCall.argCount = static_cast<int>(sizeof...(A));
    for (int i = 0; i < 9; ++i) lastCall.args[i] = i < lastCall.argCount ? values[i] : 0;
    return STANDIN_MARKER_BASE + entry;
}

}  // namespace

extern "C" {

__declspec(dllexport) void WINAPI StandInLastCall(StandInCall* out) { *out = lastCall; }

__declspec(dllexport) const void* WINAPI StandInSentinel(void) { return &sentinel; }

HRESULT WINAPI CryptXmlOpenToEncode(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* a, DWORD b, LPCWSTR c,
                                    const CRYPT_XML_PROPERTY* d, ULONG e, const CRYPT_XML_BLOB* f, HCRYPTXML* g) {
    return Record(kStandInOpenToEncode, a, b, c, d, e, f, g);
}

HRESULT WINAPI CryptXmlCreateReference(HCRYPTXML a, DWORD b, LPCWSTR c, LPCWSTR d, LPCWSTR e,
                                       const CRYPT_XML_ALGORITHM* f, ULONG g, const CRYPT_XML_ALGORITHM* h,
                                       HCRYPTXML* i) {
    return Record(kStandInCreateReference, a, b, c, d, e, f, g, h, i);
}

HRESULT WINAPI CryptXmlSign(HCRYPTXML a, HCRYPTPROV_OR_NCRYPT_KEY_HANDLE b, DWORD c, DWORD d, CRYPT_XML_KEYINFO_SPEC e,
                            const void* f, const CRYPT_XML_ALGORITHM* g, const CRYPT_XML_ALGORITHM* h) {
    return Record(kStandInSign, a, b, c, d, static_cast<DWORD>(e), f, g, h);
}

HRESULT WINAPI CryptXmlClose(HCRYPTXML a) { return Record(kStandInClose, a); }

HRESULT WINAPI CryptXmlGetStatus(HCRYPTXML a, CRYPT_XML_STATUS* b) { return Record(kStandInGetStatus, a, b); }

HRESULT WINAPI CryptXmlEncode(HCRYPTXML a, CRYPT_XML_CHARSET b, const CRYPT_XML_PROPERTY* c, ULONG d, void* e,
                              PFN_CRYPT_XML_WRITE_CALLBACK f) {
    return Record(kStandInEncode, a, static_cast<DWORD>(b), c, d, e, reinterpret_cast<void*>(f));
}

HRESULT WINAPI CryptXmlOpenToDecode(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* a, DWORD b, const CRYPT_XML_PROPERTY* c,
                                    ULONG d, const CRYPT_XML_BLOB* e, HCRYPTXML* f) {
    return Record(kStandInOpenToDecode, a, b, c, d, e, f);
}

HRESULT WINAPI CryptXmlGetSignature(HCRYPTXML a, const CRYPT_XML_SIGNATURE** b) {
    return Record(kStandInGetSignature, a, b);
}

HRESULT WINAPI CryptXmlGetReference(HCRYPTXML a, const CRYPT_XML_REFERENCE** b) {
    return Record(kStandInGetReference, a, b);
}

#ifndef STANDIN_WITHOUT_GETDOCCONTEXT
HRESULT WINAPI CryptXmlGetDocContext(HCRYPTXML a, const CRYPT_XML_DOC_CTXT** b) {
    return Record(kStandInGetDocContext, a, b);
}
#endif

HRESULT WINAPI CryptXmlVerifySignature(HCRYPTXML a, BCRYPT_KEY_HANDLE b, DWORD c) {
    return Record(kStandInVerifySignature, a, b, c);
}

PCCRYPT_XML_ALGORITHM_INFO WINAPI CryptXmlFindAlgorithmInfo(DWORD a, const void* b, DWORD c, DWORD d) {
    Record(kStandInFindAlgorithmInfo, a, b, c, d);
    return &sentinel;
}

HRESULT WINAPI CryptXmlImportPublicKey(DWORD a, const CRYPT_XML_KEY_VALUE* b, BCRYPT_KEY_HANDLE* c) {
    return Record(kStandInImportPublicKey, a, b, c);
}

HRESULT WINAPI CryptXmlDigestReference(HCRYPTXML a, DWORD b, CRYPT_XML_DATA_PROVIDER* c) {
    return Record(kStandInDigestReference, a, b, c);
}

HRESULT WINAPI CryptXmlEnumAlgorithmInfo(DWORD a, DWORD b, void* c, PFN_CRYPT_XML_ENUM_ALG_INFO d) {
    return Record(kStandInEnumAlgorithmInfo, a, b, c, reinterpret_cast<void*>(d));
}

HRESULT WINAPI CryptXmlGetAlgorithmInfo(const CRYPT_XML_ALGORITHM* a, DWORD b, CRYPT_XML_ALGORITHM_INFO** c) {
    return Record(kStandInGetAlgorithmInfo, a, b, c);
}

HRESULT WINAPI CryptXmlSetHMACSecret(HCRYPTXML a, const BYTE* b, ULONG c) {
    return Record(kStandInSetHMACSecret, a, b, c);
}

HRESULT WINAPI CryptXmlAddObject(HCRYPTXML a, DWORD b, const CRYPT_XML_PROPERTY* c, ULONG d, const CRYPT_XML_BLOB* e,
                                 const CRYPT_XML_OBJECT** f) {
    return Record(kStandInAddObject, a, b, c, d, e, f);
}

HRESULT WINAPI CryptXmlGetTransforms(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG** a) {
    return Record(kStandInGetTransforms, a);
}

}  // extern "C"
