#include "crypto/DssPublicKeyBlob.hpp"

#include "crypto/CapiKeyOps.hpp"
#include "crypto/DssSignatureOrder.hpp"

#include <cstring>

namespace crypto {
namespace {

constexpr DWORD kDss1Magic = 0x31535344;  // "DSS1"
constexpr size_t kQLength = 20;
constexpr size_t kReadYWidth = 128;  // what Wine's dssenh reads, the width of y in a 1024-bit key
// The lengths of P CryptoAPI's DSS providers take: 512 to 1024 bits in steps of 64.
constexpr size_t kPShortest = 64;
constexpr size_t kPLongest = 128;
constexpr size_t kPStep = 8;

template <class T>
void Append(Bytes& blob, const T& value) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
    blob.insert(blob.end(), bytes, bytes + sizeof value);
}

// A DSA key and signature made with OpenSSL 3.0 (512-bit P, 160-bit Q), XML-DSig form.
const char kP[] = "haKrxYrc7Gs0QB/EhAEfL9PAK6zj915z8UGPPWYbqoGwE+tv3jMk4vNFgKHT+33uaRZdVbDLVMxx6DMD/7b5Hw==";
const char kQ[] = "hvt5VIzrKIjBqrGw/G3U/xWekJs=";
const char kG[] = "Jqh3x+Zyi27FTkATUGXq9Xjt7oGvXTCEyxtw5kt5lujOVmd61qogYdP2MZrdIg5llbq9YBpqqZ4Yv7YF1Vti3g==";
const char kY[] = "HgPioctuvyGmqBHIcX5DqqUCKy8X35O4DOHjaLBGKqnsv8Hp5lrrhv9dliI6QSaxTXLzea7IPjty/HgC3/Q7Fg==";
const char kSig[] = "CbxUVdR0XG/DTaHEO3c/T/KsvjEqT7Jw0TQSr4/iMiqXBfbeFAATpw==";
const unsigned char kSha1Abc[20] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                                    0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};

Bytes Number(const char* b64, size_t length) {
    return StripLeadingZeros(DecodeBase64(b64, static_cast<unsigned int>(length)));
}

// The fixed signature in the provider's order: halves reversed unless it takes them big-endian.
Bytes ProviderSignature() {
    Bytes xml = DecodeBase64(kSig, sizeof kSig - 1);
    if (DssSignatureHalvesAreBigEndian()) return xml;
    Bytes out = Reversed(xml.data(), kQLength);
    Bytes s = Reversed(xml.data() + kQLength, kQLength);
    out.insert(out.end(), s.begin(), s.end());
    return out;
}

bool VerifiesWith(HCRYPTPROV prov, DssBlobEnd end, const Bytes& signature) {
    constexpr auto kErr = XSECCryptoException::DSAError;
    try {
        const Bytes blob = DssPublicKeyBlob(Number(kP, sizeof kP - 1), Number(kQ, sizeof kQ - 1),
                                            Number(kG, sizeof kG - 1), Number(kY, sizeof kY - 1), end, kErr);
        KeyHandle key = ImportPublicKeyBlob(prov, blob, kErr);
        return VerifyHashValue(prov, key.get(), CALG_SHA1, kSha1Abc, sizeof kSha1Abc, signature, PROV_DSS, kErr);
    } catch (...) {
        return false;
    }
}

bool ProviderReadsFixedWidthY() {
    try {
        ProvHandle prov;
        if (!CryptAcquireContextW(prov.put(), nullptr, nullptr, PROV_DSS, CRYPT_VERIFYCONTEXT)) return false;
        const Bytes signature = ProviderSignature();
        return !VerifiesWith(prov.get(), DssBlobEnd::kNoSeed, signature) &&
               VerifiesWith(prov.get(), DssBlobEnd::kZerosTo128, signature);
    } catch (...) {
        return false;
    }
}

}  // namespace

Bytes DssPublicKeyBlob(const Bytes& p, const Bytes& q, const Bytes& g, const Bytes& y, DssBlobEnd end,
                       XSECCryptoException::XSECCryptoExceptionType type) {
    const size_t pLength = p.size();
    // Any other length is refused by a DSS provider on Windows; Wine's dssenh and bcrypt take
    // a longer P into buffers sized for 1024 bits and write past them (a document's 3072-bit
    // DSAKeyValue corrupted the process). Such a key never reaches the provider.
    if (pLength < kPShortest || pLength > kPLongest || pLength % kPStep != 0)
        throw XSECCryptoException(type, "WinCAPI: DSA P is not of 512 to 1024 bits in steps of 64");
    BLOBHEADER header{};
    header.bType = PUBLICKEYBLOB;
    header.bVersion = CUR_BLOB_VERSION;
    header.aiKeyAlg = CALG_DSS_SIGN;
    DSSPUBKEY dss{};
    dss.magic = kDss1Magic;
    dss.bitlen = static_cast<DWORD>(pLength * 8);
    Bytes blob;
    Append(blob, header);
    Append(blob, dss);
    for (const Bytes& part : {ToLittleEndian(p, pLength, type, "DSA P"), ToLittleEndian(q, kQLength, type, "DSA Q"),
                              ToLittleEndian(g, pLength, type, "DSA G"), ToLittleEndian(y, pLength, type, "DSA Y")})
        blob.insert(blob.end(), part.begin(), part.end());
    DSSSEED seed{};
    seed.counter = end == DssBlobEnd::kNoSeed ? 0xFFFFFFFF : 0;
    Append(blob, seed);
    if (end == DssBlobEnd::kZerosTo128 && pLength + sizeof seed < kReadYWidth)
        blob.resize(blob.size() + kReadYWidth - pLength - sizeof seed, 0);
    return blob;
}

DssBlobEnd DssBlobEndFor(size_t pLength) noexcept {
    if (pLength >= kReadYWidth) return DssBlobEnd::kNoSeed;
    static const bool fixedWidthY = ProviderReadsFixedWidthY();
    return fixedWidthY ? DssBlobEnd::kZerosTo128 : DssBlobEnd::kNoSeed;
}

}  // namespace crypto
