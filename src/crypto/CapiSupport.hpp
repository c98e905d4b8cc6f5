#pragma once
// Helpers shared by the CryptoAPI crypto classes: error reporting as xml-security-c
// expects it, Base64 of big numbers, byte order and the hash algorithm map.
#include "crypto/CapiHandles.hpp"
#include "crypto/Ids.hpp"

#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/enc/XSECCryptoHash.hpp>

#include <string>
#include <vector>

namespace crypto {

using Bytes = std::vector<unsigned char>;

// The GOST hash types, which xml-security-c's enum does not name: GOST R 34.11-94 and
// GOST R 34.11-2012 (Streebog) 256 and 512.
constexpr XSECCryptoHash::HashType kHashGost3411 = static_cast<XSECCryptoHash::HashType>(ids::kHashGost3411);
constexpr XSECCryptoHash::HashType kHashStreebog256 =
    static_cast<XSECCryptoHash::HashType>(ids::kHashGost3411_2012_256);
constexpr XSECCryptoHash::HashType kHashStreebog512 =
    static_cast<XSECCryptoHash::HashType>(ids::kHashGost3411_2012_512);

// Whether a hash type is one of the GOST hashes (computed by GOST providers only).
constexpr bool IsGostHash(XSECCryptoHash::HashType type) noexcept {
    return type == kHashGost3411 || type == kHashStreebog256 || type == kHashStreebog512;
}

// Throws XSECCryptoException(type) with "<what> failed, error 0x<GetLastError()>".
[[noreturn]] void ThrowLastError(XSECCryptoException::XSECCryptoExceptionType type, const char* what);
// The same with an explicit error code.
[[noreturn]] void ThrowError(XSECCryptoException::XSECCryptoExceptionType type, const char* what, DWORD code);

// Base64 text (white space allowed) to bytes; throws Base64Error on bad input.
Bytes DecodeBase64(const char* b64, unsigned int len);
// Bytes to Base64 text without line breaks.
std::string EncodeBase64(const unsigned char* data, size_t len);
// Writes text and a terminating NUL into buf; throws `type` when it does not fit.
// Returns the text length.
unsigned int CopyOut(const std::string& text, char* buf, unsigned int bufLen,
                     XSECCryptoException::XSECCryptoExceptionType type);

// A big-endian unsigned integer without its leading zero bytes (one zero byte stays).
Bytes StripLeadingZeros(Bytes value);
// Little-endian bytes (as CryptoAPI stores numbers) to big-endian, and back.
Bytes Reversed(const unsigned char* data, size_t len);
// Big-endian `value` as exactly `width` little-endian bytes; throws `type` if it is wider.
Bytes ToLittleEndian(const Bytes& bigEndian, size_t width, XSECCryptoException::XSECCryptoExceptionType type,
                     const char* what);

// CryptGetHashParam(HP_HASHVAL) into hash, cut to maxLength; returns the bytes written.
// Throws MDError.
unsigned int ReadHashValue(HCRYPTHASH h, unsigned char* hash, unsigned int maxLength);

// CryptoAPI ALG_ID of a hash type, 0 for none (SHA-224 has none).
ALG_ID HashAlgId(XSECCryptoHash::HashType type) noexcept;
// Block size in bytes of a hash type (32, 64 or 128), 0 for unknown.
unsigned int HashBlockSize(XSECCryptoHash::HashType type) noexcept;

// The provider name all classes report ("WinCAPI").
const XMLCh* WinCapiProviderName() noexcept;

}  // namespace crypto
