#pragma once
// CryptoAPI operations shared by the RSA and DSA key classes. Failures throw
// XSECCryptoException of the given type with the GetLastError code in the message.
#include "crypto/CapiSupport.hpp"

namespace crypto {

// CryptExportKey(PUBLICKEYBLOB).
Bytes ExportPublicKeyBlob(HCRYPTKEY key, XSECCryptoException::XSECCryptoExceptionType type);
// CryptImportKey of a public key blob.
KeyHandle ImportPublicKeyBlob(HCRYPTPROV prov, const Bytes& blob, XSECCryptoException::XSECCryptoExceptionType type);
// The key's length in bits (KP_KEYLEN).
DWORD KeyBits(HCRYPTKEY key, XSECCryptoException::XSECCryptoExceptionType type);
// CryptDuplicateKey.
KeyHandle DuplicateKey(HCRYPTKEY key, XSECCryptoException::XSECCryptoExceptionType type);

// A hash object of algId whose value is set to `hash` (CryptSetHashParam(HP_HASHVAL));
// the length must be the algorithm's. Returns an empty handle, with GetLastError set,
// when the provider does not offer the algorithm (NTE_BAD_ALGID); throws otherwise.
HashHandle HashWithValue(HCRYPTPROV prov, ALG_ID algId, const unsigned char* hash, unsigned int hashLen,
                         XSECCryptoException::XSECCryptoExceptionType type);

// CryptSignHash with the container key keySpec; the signature as CryptoAPI returns it
// (little-endian).
Bytes SignHashValue(HCRYPTPROV prov, DWORD keySpec, ALG_ID algId, const unsigned char* hash, unsigned int hashLen,
                    XSECCryptoException::XSECCryptoExceptionType type);

// CryptVerifySignature of a signature in the CSP's byte order. false when the signature is
// refused; errors about the handles (bad key, hash, algorithm, flags) throw. When prov does not offer algId, the public
// key is exported and checked in a verification context of fallbackProvType.
bool VerifyHashValue(HCRYPTPROV prov, HCRYPTKEY key, ALG_ID algId, const unsigned char* hash, unsigned int hashLen,
                     const Bytes& signatureLE, DWORD fallbackProvType,
                     XSECCryptoException::XSECCryptoExceptionType type);

}  // namespace crypto
