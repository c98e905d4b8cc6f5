// RSA and DSA key values: the components are handed to the CryptoAPI key classes as
// Base64 text, the classes import them, and the caller gets a duplicate of that key.
#include <exception>
#include <string>
#include <vector>

#include <xsec/enc/XSECCryptoException.hpp>

#include "api/Trace.hpp"
#include "crypto/CapiHandles.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "document/Base64.hpp"
#include "keys/PublicKeyImport.hpp"

namespace keyImport {
namespace {

constexpr ULONG kBlobMax = 0x7FFFFFF8;  // CRYPT_XML_BLOB_MAX
constexpr DWORD kVerifyContext = CRYPT_VERIFYCONTEXT;

// What differs between the two kinds: names, texts, components and the provider types.
struct KindTraits {
    const char* routine;
    DWORD keyType;
    const char* wrongType;
    const char* emptyComponent;
    const char* tooLarge;
    const char* noProvider;
};

const KindTraits kRsa = {"ImportRsaKey", CRYPT_XML_KEY_VALUE_TYPE_RSA,
                         "keyValue.dwType != CRYPT_XML_KEY_VALUE_TYPE_RSA", "keyValue.RSAKeyValue.",
                         "keyValue.RSAKeyValue. CRYPT_XML_BLOB_MAX exceeded.",
                         "CryptAcquireContext(PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) failed."};
const KindTraits kDsa = {"ImportDsaKey", CRYPT_XML_KEY_VALUE_TYPE_DSA,
                         "keyValue.dwType != CRYPT_XML_KEY_VALUE_TYPE_DSA", "keyValue.DSAKeyValue.",
                         "keyValue.DSAKeyValue. CRYPT_XML_BLOB_MAX exceeded.",
                         // The doubled parenthesis is part of the published text.
                         "CryptAcquireContext(PROV_DSS, CRYPT_VERIFYCONTEXT)) failed."};

bool IsEmpty(const CRYPT_XML_DATA_BLOB& blob) { return blob.cbData == 0 || blob.pbData == nullptr; }

// Checks the components in order: any empty one, then any too large one.
HRESULT CheckComponents(const KindTraits& kind, const std::vector<const CRYPT_XML_DATA_BLOB*>& parts) {
    for (const CRYPT_XML_DATA_BLOB* part : parts) {
        if (IsEmpty(*part)) {
            trace::traceA(kind.routine, kind.emptyComponent);
            return E_INVALIDARG;
        }
    }
    for (const CRYPT_XML_DATA_BLOB* part : parts) {
        if (part->cbData > kBlobMax) {
            trace::traceA(kind.routine, kind.tooLarge);
            return CRYPT_XML_E_LARGE;
        }
    }
    return S_OK;
}

std::string ToBase64(const CRYPT_XML_DATA_BLOB& blob) {
    const std::vector<BYTE> bytes(blob.pbData, blob.pbData + blob.cbData);
    std::string text;
    base64::BinToBase64(bytes, text);
    return text;
}

template <class Load>
void LoadBase64(const CRYPT_XML_DATA_BLOB& blob, Load&& load) {
    const std::string text = ToBase64(blob);
    load(text.c_str(), static_cast<unsigned int>(text.size()));
}

HCRYPTKEY ImportRsa(HCRYPTPROV prov, const CRYPT_XML_KEY_RSA_KEY_VALUE& rsa, crypto::KeyHandle& duplicate) {
    WinCAPICryptoKeyRSA key(prov);
    LoadBase64(rsa.Exponent, [&](const char* b64, unsigned int n) { key.loadPublicExponentBase64BigNums(b64, n); });
    LoadBase64(rsa.Modulus, [&](const char* b64, unsigned int n) { key.loadPublicModulusBase64BigNums(b64, n); });
    return CryptDuplicateKey(key.importKey(), nullptr, 0, duplicate.put()) ? duplicate.get() : 0;
}

HCRYPTKEY ImportDsa(HCRYPTPROV prov, const CRYPT_XML_KEY_DSA_KEY_VALUE& dsa, crypto::KeyHandle& duplicate) {
    WinCAPICryptoKeyDSA key(prov);
    LoadBase64(dsa.G, [&](const char* b64, unsigned int n) { key.loadGBase64BigNums(b64, n); });
    LoadBase64(dsa.P, [&](const char* b64, unsigned int n) { key.loadPBase64BigNums(b64, n); });
    LoadBase64(dsa.Q, [&](const char* b64, unsigned int n) { key.loadQBase64BigNums(b64, n); });
    LoadBase64(dsa.Y, [&](const char* b64, unsigned int n) { key.loadYBase64BigNums(b64, n); });
    return CryptDuplicateKey(key.importKey(), nullptr, 0, duplicate.put()) ? duplicate.get() : 0;
}

bool Acquire(crypto::ProvHandle& prov, DWORD type) {
    return CryptAcquireContextW(prov.put(), nullptr, nullptr, type, kVerifyContext) != FALSE;
}

// Acquires, imports and duplicates; hands both handles out only on success.
template <class ImportFn>
HRESULT ImportWith(const KindTraits& kind, std::initializer_list<DWORD> provTypes, ImportFn&& import,
                   HCRYPTPROV* phProv, HCRYPTKEY* phKey) {
    crypto::ProvHandle prov;
    bool acquired = false;
    for (DWORD type : provTypes) {
        if ((acquired = Acquire(prov, type))) break;
    }
    if (!acquired) {
        const HRESULT result = LastErrorResult();
        trace::traceA(kind.routine, kind.noProvider);
        return result;
    }
    // From here on a failure leaves both out values 0; the handles made here are released.
    *phProv = 0;
    try {
        crypto::KeyHandle duplicate;
        if (import(prov.get(), duplicate) == 0) {
            const HRESULT result = LastErrorResult();
            *phKey = 0;
            trace::traceA(kind.routine, "CryptDuplicateKey() failed.");
            return FAILED(result) ? result : E_FAIL;
        }
        *phKey = duplicate.release();
        *phProv = prov.release();
        return S_OK;
    } catch (const XSECCryptoException& e) {
        trace::traceA(kind.routine, e.getMsg() != nullptr ? e.getMsg() : "");
    } catch (const std::exception& e) {
        trace::traceA(kind.routine, e.what());
    }
    return E_FAIL;
}

}  // namespace

HRESULT LastErrorResult() noexcept {
    const DWORD code = GetLastError();
    return static_cast<LONG>(code) > 0 ? static_cast<HRESULT>(0x80070000u | (code & 0xFFFF))
                                      : static_cast<HRESULT>(code);
}

HRESULT ImportRsaKey(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept {
    if (keyValue.dwType != kRsa.keyType) {
        trace::traceA(kRsa.routine, kRsa.wrongType);
        return E_INVALIDARG;
    }
    const CRYPT_XML_KEY_RSA_KEY_VALUE& rsa = keyValue.RSAKeyValue;
    const HRESULT checked = CheckComponents(kRsa, {&rsa.Modulus, &rsa.Exponent});
    if (FAILED(checked)) return checked;
    // Type 24 first: it also offers the SHA-2 hashes that RSA-SHA256 and above need.
    return ImportWith(
        kRsa, {PROV_RSA_AES, PROV_RSA_FULL},
        [&](HCRYPTPROV prov, crypto::KeyHandle& dup) { return ImportRsa(prov, rsa, dup); }, phProv, phKey);
}

HRESULT ImportDsaKey(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept {
    if (keyValue.dwType != kDsa.keyType) {
        trace::traceA(kDsa.routine, kDsa.wrongType);
        return E_INVALIDARG;
    }
    const CRYPT_XML_KEY_DSA_KEY_VALUE& dsa = keyValue.DSAKeyValue;
    const HRESULT checked = CheckComponents(kDsa, {&dsa.G, &dsa.P, &dsa.Q, &dsa.Y});
    if (FAILED(checked)) return checked;
    return ImportWith(
        kDsa, {PROV_DSS}, [&](HCRYPTPROV prov, crypto::KeyHandle& dup) { return ImportDsa(prov, dsa, dup); },
        phProv, phKey);
}

}  // namespace keyImport
