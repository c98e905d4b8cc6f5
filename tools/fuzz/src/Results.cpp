#include "Results.hpp"

#include <cryptxml.h>

namespace fuzz {
namespace {

constexpr HRESULT kWsInvalidFormat = static_cast<HRESULT>(0x803D0000L);
constexpr HRESULT kWsObjectFaulted = static_cast<HRESULT>(0x803D0001L);
constexpr HRESULT kWsInvalidOperation = static_cast<HRESULT>(0x803D0003L);

// Failures the library documents for any call that reads a document: E_INVALIDARG, E_FAIL,
// E_NOTIMPL, every published CRYPT_XML_E_* code and the three WS_E_* codes of the error
// table. E_UNEXPECTED is not among them: it is what an exception of no known kind becomes,
// a bug whatever the input.
bool IsLibraryFailure(HRESULT hr) {
    if (hr == E_INVALIDARG || hr == E_FAIL || hr == E_NOTIMPL) return true;
    if (hr >= CRYPT_XML_E_LARGE && hr <= CRYPT_XML_E_LAST) return true;
    return hr == kWsInvalidFormat || hr == kWsObjectFaulted || hr == kWsInvalidOperation;
}

// What CryptoAPI answers for a key it cannot take, passed on unchanged by key import (a
// KeyValue's: CryptImportKey, CryptDuplicateKey; a certificate's: CryptImportPublicKeyInfoEx
// decoding its ASN.1) and by verification (CryptGetKeyParam on the caller's key): the
// provider's NTE_* codes and crypt32's CRYPT_E_* codes, CRYPT_E_ASN1_* among them.
bool IsCryptoApiFailure(HRESULT hr) {
    const auto code = static_cast<uint32_t>(hr);
    return (code >= 0x80090001u && code <= 0x8009004Fu) || (code >= 0x80091001u && code <= 0x80093FFFu);
}

}  // namespace

const char* CallName(Call call) {
    static const char* const kNames[] = {
        "CryptXmlOpenToDecode",    "CryptXmlGetDocContext",   "CryptXmlGetSignature",
        "CryptXmlGetReference",    "CryptXmlGetStatus",       "CryptXmlImportPublicKeyCAPI",
        "CryptXmlSetHMACSecret",   "CryptXmlVerifySignature", "CryptXmlVerifySignature(again)",
        "CryptXmlDigestReference", "CryptXmlClose",           "CryptXmlClose(child)",
    };
    const auto index = static_cast<uint32_t>(call);
    return index < static_cast<uint32_t>(Call::kCount) ? kNames[index] : "?";
}

bool IsDocumented(Call call, HRESULT hr) {
    switch (call) {
        // A handle the library itself handed out, a structure it publishes: these cannot fail.
        case Call::GetDocContext:
        case Call::GetSignature:
        case Call::GetReference:
        case Call::GetStatus:
        case Call::SetHmacSecret:
        case Call::Close: return hr == S_OK;
        case Call::CloseChild: return hr == S_FALSE;  // a child belongs to its document
        case Call::ImportPublicKey:
        case Call::Verify:
        case Call::VerifyAgain: return hr == S_OK || IsLibraryFailure(hr) || IsCryptoApiFailure(hr);
        case Call::OpenToDecode:
        case Call::DigestReference: return hr == S_OK || IsLibraryFailure(hr);
        default: return false;
    }
}

void Count(Tally& tally, Call call, HRESULT hr) {
    const auto id = static_cast<uint32_t>(call);
    for (uint32_t i = 0; i < tally.size; ++i) {
        TallyEntry& e = tally.entries[i];
        if (e.call == id && e.hr == static_cast<int32_t>(hr)) {
            ++e.count;
            return;
        }
    }
    if (tally.size < kTallyMax) tally.entries[tally.size++] = {id, static_cast<int32_t>(hr), 1};
}

}  // namespace fuzz
