#include "crypto/CapiSupport.hpp"

#include <xsec/enc/XSCrypt/XSCryptCryptoBase64.hpp>

#include <algorithm>
#include <cstdio>

namespace crypto {

void ThrowError(XSECCryptoException::XSECCryptoExceptionType type, const char* what, DWORD code) {
    char msg[256];
    std::snprintf(msg, sizeof msg, "WinCAPI: %s failed, error 0x%08lx", what, static_cast<unsigned long>(code));
    throw XSECCryptoException(type, msg);
}

void ThrowLastError(XSECCryptoException::XSECCryptoExceptionType type, const char* what) {
    ThrowError(type, what, GetLastError());
}

Bytes DecodeBase64(const char* b64, unsigned int len) {
    if (b64 == nullptr && len != 0)
        throw XSECCryptoException(XSECCryptoException::Base64Error, "WinCAPI: NULL Base64 text");
    Bytes out(len + 4);
    XSCryptCryptoBase64 decoder;
    decoder.decodeInit();
    unsigned int n = decoder.decode(reinterpret_cast<const unsigned char*>(b64), len, out.data(),
                                    static_cast<unsigned int>(out.size()));
    n += decoder.decodeFinish(out.data() + n, static_cast<unsigned int>(out.size() - n));
    out.resize(n);
    return out;
}

std::string EncodeBase64(const unsigned char* data, size_t len) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((len + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 2 < len; i += 3) {
        unsigned v = (data[i] << 16) | (data[i + 1] << 8) | data[i + 2];
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += kAlphabet[v & 63];
    }
    if (i < len) {
        unsigned v = data[i] << 16;
        if (i + 1 < len) v |= data[i + 1] << 8;
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += (i + 1 < len) ? kAlphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

unsigned int CopyOut(const std::string& text, char* buf, unsigned int bufLen,
                     XSECCryptoException::XSECCryptoExceptionType type) {
    if (buf == nullptr || text.size() + 1 > bufLen)
        throw XSECCryptoException(type, "WinCAPI: output buffer too small for the Base64 value");
    std::copy(text.begin(), text.end(), buf);
    buf[text.size()] = '\0';
    return static_cast<unsigned int>(text.size());
}

Bytes StripLeadingZeros(Bytes value) {
    size_t zeros = 0;
    while (zeros + 1 < value.size() && value[zeros] == 0) ++zeros;
    value.erase(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(zeros));
    return value;
}

Bytes Reversed(const unsigned char* data, size_t len) {
    return Bytes(std::reverse_iterator<const unsigned char*>(data + len),
                 std::reverse_iterator<const unsigned char*>(data));
}

Bytes ToLittleEndian(const Bytes& bigEndian, size_t width, XSECCryptoException::XSECCryptoExceptionType type,
                     const char* what) {
    Bytes be = StripLeadingZeros(bigEndian);
    if (be.size() == 1 && be[0] == 0) be.clear();
    if (be.size() > width) {
        std::string msg = std::string("WinCAPI: ") + what + " is too long";
        throw XSECCryptoException(type, msg.c_str());
    }
    Bytes le = Reversed(be.data(), be.size());
    le.resize(width, 0);
    return le;
}

unsigned int ReadHashValue(HCRYPTHASH h, unsigned char* hash, unsigned int maxLength) {
    BYTE value[128];
    DWORD len = sizeof value;
    if (!CryptGetHashParam(h, HP_HASHVAL, value, &len, 0))
        ThrowLastError(XSECCryptoException::MDError, "CryptGetHashParam(HP_HASHVAL)");
    unsigned int n = std::min<unsigned int>(len, maxLength);
    std::copy(value, value + n, hash);
    SecureZeroMemory(value, sizeof value);
    return n;
}

ALG_ID HashAlgId(XSECCryptoHash::HashType type) noexcept {
    switch (static_cast<int>(type)) {
        case XSECCryptoHash::HASH_SHA1: return CALG_SHA1;
        case XSECCryptoHash::HASH_MD5: return CALG_MD5;
        case XSECCryptoHash::HASH_SHA256: return CALG_SHA_256;
        case XSECCryptoHash::HASH_SHA384: return CALG_SHA_384;
        case XSECCryptoHash::HASH_SHA512: return CALG_SHA_512;
        case ids::kHashGost3411: return ids::kAlgGr3411;
        case ids::kHashGost3411_2012_256: return ids::kAlgGr3411_2012_256;
        case ids::kHashGost3411_2012_512: return ids::kAlgGr3411_2012_512;
        default: return 0;
    }
}

unsigned int HashBlockSize(XSECCryptoHash::HashType type) noexcept {
    switch (static_cast<int>(type)) {
        case XSECCryptoHash::HASH_SHA1:
        case XSECCryptoHash::HASH_MD5:
        case XSECCryptoHash::HASH_SHA256:
        case ids::kHashGost3411_2012_256:
        case ids::kHashGost3411_2012_512: return 64;
        case ids::kHashGost3411: return 32;
        case XSECCryptoHash::HASH_SHA384:
        case XSECCryptoHash::HASH_SHA512: return 128;
        default: return 0;
    }
}

const XMLCh* WinCapiProviderName() noexcept { return L"WinCAPI"; }

}  // namespace crypto
