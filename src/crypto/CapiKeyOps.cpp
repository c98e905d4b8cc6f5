#include "crypto/CapiKeyOps.hpp"

#include <cstring>

namespace crypto {

Bytes ExportPublicKeyBlob(HCRYPTKEY key, XSECCryptoException::XSECCryptoExceptionType type) {
    DWORD len = 0;
    if (!CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &len)) ThrowLastError(type, "CryptExportKey(PUBLICKEYBLOB)");
    Bytes blob(len);
    if (!CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &len))
        ThrowLastError(type, "CryptExportKey(PUBLICKEYBLOB)");
    blob.resize(len);
    return blob;
}

KeyHandle ImportPublicKeyBlob(HCRYPTPROV prov, const Bytes& blob, XSECCryptoException::XSECCryptoExceptionType type) {
    KeyHandle key;
    if (!CryptImportKey(prov, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, key.put()))
        ThrowLastError(type, "CryptImportKey(PUBLICKEYBLOB)");
    return key;
}

DWORD KeyBits(HCRYPTKEY key, XSECCryptoException::XSECCryptoExceptionType type) {
    DWORD bits = 0;
    DWORD len = sizeof bits;
    if (!CryptGetKeyParam(key, KP_KEYLEN, reinterpret_cast<BYTE*>(&bits), &len, 0))
        ThrowLastError(type, "CryptGetKeyParam(KP_KEYLEN)");
    return bits;
}

KeyHandle DuplicateKey(HCRYPTKEY key, XSECCryptoException::XSECCryptoExceptionType type) {
    KeyHandle copy;
    if (!CryptDuplicateKey(key, nullptr, 0, copy.put())) ThrowLastError(type, "CryptDuplicateKey");
    return copy;
}

HashHandle HashWithValue(HCRYPTPROV prov, ALG_ID algId, const unsigned char* hash, unsigned int hashLen,
                         XSECCryptoException::XSECCryptoExceptionType type) {
    HashHandle h;
    if (!CryptCreateHash(prov, algId, 0, 0, h.put())) {
        DWORD err = GetLastError();
        if (err == static_cast<DWORD>(NTE_BAD_ALGID)) {
            SetLastError(err);
            return HashHandle();
        }
        ThrowError(type, "CryptCreateHash", err);
    }
    DWORD size = 0;
    DWORD len = sizeof size;
    if (!CryptGetHashParam(h.get(), HP_HASHSIZE, reinterpret_cast<BYTE*>(&size), &len, 0))
        ThrowLastError(type, "CryptGetHashParam(HP_HASHSIZE)");
    if (hash == nullptr || size != hashLen)
        throw XSECCryptoException(type, "WinCAPI: hash length does not match the hash algorithm");
    if (!CryptSetHashParam(h.get(), HP_HASHVAL, hash, 0)) ThrowLastError(type, "CryptSetHashParam(HP_HASHVAL)");
    // Some CSPs (Wine's dssenh) keep the hash open after HP_HASHVAL is set and finish it over
    // the (empty) data when signing, replacing the value. Read the value back; if it changed,
    // finish a fresh hash first and set the value afterwards.
    BYTE check[128];
    DWORD checkLen = sizeof check;
    if (!CryptGetHashParam(h.get(), HP_HASHVAL, check, &checkLen, 0))
        ThrowLastError(type, "CryptGetHashParam(HP_HASHVAL)");
    if (checkLen == hashLen && std::memcmp(check, hash, hashLen) == 0) return h;
    if (!CryptCreateHash(prov, algId, 0, 0, h.put())) ThrowLastError(type, "CryptCreateHash");
    checkLen = sizeof check;
    if (!CryptGetHashParam(h.get(), HP_HASHVAL, check, &checkLen, 0))
        ThrowLastError(type, "CryptGetHashParam(HP_HASHVAL)");
    if (!CryptSetHashParam(h.get(), HP_HASHVAL, hash, 0)) ThrowLastError(type, "CryptSetHashParam(HP_HASHVAL)");
    return h;
}

Bytes SignHashValue(HCRYPTPROV prov, DWORD keySpec, ALG_ID algId, const unsigned char* hash, unsigned int hashLen,
                    XSECCryptoException::XSECCryptoExceptionType type) {
    HashHandle h = HashWithValue(prov, algId, hash, hashLen, type);
    if (!h) ThrowLastError(type, "CryptCreateHash");
    DWORD len = 0;
    if (!CryptSignHashW(h.get(), keySpec, nullptr, 0, nullptr, &len)) ThrowLastError(type, "CryptSignHash");
    Bytes sig(len);
    if (!CryptSignHashW(h.get(), keySpec, nullptr, 0, sig.data(), &len)) ThrowLastError(type, "CryptSignHash");
    sig.resize(len);
    return sig;
}

namespace {

bool VerifyWith(HCRYPTHASH h, HCRYPTKEY key, const Bytes& signatureLE,
                XSECCryptoException::XSECCryptoExceptionType type) {
    if (CryptVerifySignatureW(h, signatureLE.data(), static_cast<DWORD>(signatureLE.size()), key, nullptr, 0))
        return true;
    // A refused signature is "not valid", whatever code the CSP gives (Wine's dssenh leaves
    // an unrelated one); only errors about the handles themselves are failures.
    DWORD err = GetLastError();
    switch (err) {
        case static_cast<DWORD>(NTE_BAD_KEY):
        case static_cast<DWORD>(NTE_NO_KEY):
        case static_cast<DWORD>(NTE_BAD_HASH):
        case static_cast<DWORD>(NTE_BAD_UID):
        case static_cast<DWORD>(NTE_BAD_ALGID):
        case static_cast<DWORD>(NTE_BAD_FLAGS):
        case ERROR_INVALID_HANDLE: ThrowError(type, "CryptVerifySignature", err);
        default: return false;
    }
}

}  // namespace

bool VerifyHashValue(HCRYPTPROV prov, HCRYPTKEY key, ALG_ID algId, const unsigned char* hash, unsigned int hashLen,
                     const Bytes& signatureLE, DWORD fallbackProvType,
                     XSECCryptoException::XSECCryptoExceptionType type) {
    HashHandle h = HashWithValue(prov, algId, hash, hashLen, type);
    if (h) return VerifyWith(h.get(), key, signatureLE, type);

    // The key's provider lacks the hash (e.g. SHA-2 in PROV_RSA_FULL): check the public key
    // in a context that has it.
    ProvHandle other;
    if (!CryptAcquireContextW(other.put(), nullptr, nullptr, fallbackProvType, CRYPT_VERIFYCONTEXT))
        ThrowLastError(type, "CryptAcquireContext(CRYPT_VERIFYCONTEXT)");
    KeyHandle copy = ImportPublicKeyBlob(other.get(), ExportPublicKeyBlob(key, type), type);
    HashHandle h2 = HashWithValue(other.get(), algId, hash, hashLen, type);
    if (!h2) ThrowLastError(type, "CryptCreateHash");
    bool ok = VerifyWith(h2.get(), copy.get(), signatureLE, type);
    h2.reset();
    copy.reset();
    return ok;
}

}  // namespace crypto
