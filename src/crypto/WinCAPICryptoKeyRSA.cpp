#include "crypto/WinCAPICryptoKeyRSA.hpp"

#include "crypto/CapiKeyOps.hpp"

#include <cstring>
#include <string>

using namespace crypto;

namespace {
constexpr auto kErr = XSECCryptoException::RSAError;
constexpr DWORD kRsa1Magic = 0x31415352;  // "RSA1"

// The shortest RSA modulus, in bytes, that can hold a PKCS #1 v1.5 signature of a hash of
// hashLen bytes: the DigestInfo (its DER prefix and the hash) plus at least 11 bytes of
// padding. A shorter key cannot carry the signature at all. Wine's rsaenh does not check
// this: it pads with a negative length and writes far outside its buffer, so such a pair
// must never reach the provider (a 512-bit key with RSA-SHA384 or RSA-SHA512 would).
unsigned int ShortestModulusFor(ALG_ID alg, unsigned int hashLen) noexcept {
    const unsigned int prefix = alg == CALG_SHA1 ? 15 : alg == CALG_MD5 ? 18 : 19;
    return prefix + hashLen + 11;
}
}  // namespace

WinCAPICryptoKeyRSA::WinCAPICryptoKeyRSA(HCRYPTPROV prov, DWORD keySpec, bool isPrivate)
    : slot_(CapiKeySlot::Container(prov, keySpec, isPrivate, "RSA", kErr)) {}

WinCAPICryptoKeyRSA::WinCAPICryptoKeyRSA(HCRYPTPROV prov, HCRYPTKEY key)
    : slot_(CapiKeySlot::Duplicate(prov, key, "RSA", kErr)) {}

WinCAPICryptoKeyRSA::WinCAPICryptoKeyRSA(HCRYPTPROV prov) : slot_(CapiKeySlot::Empty(prov, "RSA", kErr)) {}

WinCAPICryptoKeyRSA::~WinCAPICryptoKeyRSA() = default;

const XMLCh* WinCAPICryptoKeyRSA::getProviderName() const { return WinCapiProviderName(); }

bool WinCAPICryptoKeyRSA::loaded() const { return !modulus_.empty() && !exponent_.empty(); }

XSECCryptoKey::KeyType WinCAPICryptoKeyRSA::getKeyType() const {
    if (slot_.inContainer()) return slot_.isPrivate() ? KEY_RSA_PAIR : KEY_RSA_PUBLIC;
    if (slot_.handle() != 0 || loaded()) return KEY_RSA_PUBLIC;
    return KEY_NONE;
}

XSECCryptoKey* WinCAPICryptoKeyRSA::clone() const {
    if (slot_.inContainer()) return new WinCAPICryptoKeyRSA(slot_.prov(), slot_.keySpec(), slot_.isPrivate());
    if (slot_.handle() != 0) return new WinCAPICryptoKeyRSA(slot_.prov(), slot_.handle());
    auto* copy = new WinCAPICryptoKeyRSA(slot_.prov());
    copy->modulus_ = modulus_;
    copy->exponent_ = exponent_;
    return copy;
}

HCRYPTKEY WinCAPICryptoKeyRSA::getKeyHandle() const { return slot_.handle(); }

// Loaded numbers are imported on first use: xml-security-c's KeyInfo resolver loads them and
// never calls importKey().
HCRYPTKEY WinCAPICryptoKeyRSA::requireKey(const char* operation) const {
    if (slot_.handle() == 0 && !slot_.inContainer() && loaded()) importLoaded();
    return slot_.require(operation);
}

unsigned int WinCAPICryptoKeyRSA::getLength() const { return (KeyBits(requireKey("getLength"), kErr) + 7) / 8; }

bool WinCAPICryptoKeyRSA::verifySHA1PKCS1Base64Signature(const unsigned char* hashBuf, unsigned int hashLen,
                                                         const char* base64Signature, unsigned int sigLen,
                                                         XSECCryptoHash::HashType type) const {
    HCRYPTKEY key = requireKey("verification");
    ALG_ID alg = HashAlgId(type);
    if (alg == 0 || IsGostHash(type)) throw XSECCryptoException(kErr, "WinCAPI: unsupported hash algorithm for RSA");
    Bytes sig = DecodeBase64(base64Signature, sigLen);
    if (sig.size() != getLength())
        throw XSECCryptoException(kErr, "WinCAPI: RSA signature size does not match key size");
    // No signature made with a key this short can hold this hash: not valid.
    if (sig.size() < ShortestModulusFor(alg, hashLen)) return false;
    Bytes sigLE = Reversed(sig.data(), sig.size());
    return VerifyHashValue(slot_.prov(), key, alg, hashBuf, hashLen, sigLE, PROV_RSA_AES, kErr);
}

unsigned int WinCAPICryptoKeyRSA::signSHA1PKCS1Base64Signature(unsigned char* hashBuf, unsigned int hashLen,
                                                               char* base64SignatureBuf,
                                                               unsigned int base64SignatureBufLen,
                                                               XSECCryptoHash::HashType type) const {
    if (!slot_.inContainer() || !slot_.isPrivate())
        throw XSECCryptoException(kErr, "WinCAPI: RSA signing without a private key");
    ALG_ID alg = HashAlgId(type);
    if (alg == 0 || IsGostHash(type)) throw XSECCryptoException(kErr, "WinCAPI: unsupported hash algorithm for RSA");
    if (getLength() < ShortestModulusFor(alg, hashLen))
        throw XSECCryptoException(kErr, "WinCAPI: the RSA key is too short for a signature of this hash");
    Bytes sigLE = SignHashValue(slot_.prov(), slot_.keySpec(), alg, hashBuf, hashLen, kErr);
    Bytes sig = Reversed(sigLE.data(), sigLE.size());
    return CopyOut(EncodeBase64(sig.data(), sig.size()), base64SignatureBuf, base64SignatureBufLen, kErr);
}

unsigned int WinCAPICryptoKeyRSA::privateDecrypt(const unsigned char*, unsigned char*, unsigned int, unsigned int,
                                                 PaddingType, const XMLCh*, const XMLCh*, unsigned char*,
                                                 unsigned int) const {
    throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: RSA decryption is not supported");
}

unsigned int WinCAPICryptoKeyRSA::publicEncrypt(const unsigned char*, unsigned char*, unsigned int, unsigned int,
                                                PaddingType, const XMLCh*, const XMLCh*, unsigned char*,
                                                unsigned int) const {
    throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: RSA encryption is not supported");
}

void WinCAPICryptoKeyRSA::loadPublicModulusBase64BigNums(const char* b64, unsigned int len) {
    modulus_ = StripLeadingZeros(DecodeBase64(b64, len));
}

void WinCAPICryptoKeyRSA::loadPublicExponentBase64BigNums(const char* b64, unsigned int len) {
    exponent_ = StripLeadingZeros(DecodeBase64(b64, len));
}

HCRYPTKEY WinCAPICryptoKeyRSA::importKey() { return importLoaded(); }

HCRYPTKEY WinCAPICryptoKeyRSA::importLoaded() const {
    if (modulus_.empty() || exponent_.empty())
        throw XSECCryptoException(kErr, "WinCAPI: RSA modulus or exponent not loaded");
    if (modulus_.size() == 1 && modulus_[0] == 0) throw XSECCryptoException(kErr, "WinCAPI: RSA modulus is zero");
    Bytes exp = ToLittleEndian(exponent_, sizeof(DWORD), kErr, "RSA exponent");
    DWORD pubexp = 0;
    std::memcpy(&pubexp, exp.data(), sizeof pubexp);

    BLOBHEADER header{};
    header.bType = PUBLICKEYBLOB;
    header.bVersion = CUR_BLOB_VERSION;
    header.aiKeyAlg = CALG_RSA_SIGN;
    RSAPUBKEY rsa{};
    rsa.magic = kRsa1Magic;
    rsa.bitlen = static_cast<DWORD>(modulus_.size() * 8);
    rsa.pubexp = pubexp;
    Bytes blob(sizeof header + sizeof rsa);
    std::memcpy(blob.data(), &header, sizeof header);
    std::memcpy(blob.data() + sizeof header, &rsa, sizeof rsa);
    Bytes mod = Reversed(modulus_.data(), modulus_.size());
    blob.insert(blob.end(), mod.begin(), mod.end());

    slot_.adopt(ImportPublicKeyBlob(slot_.prov(), blob, kErr));
    return slot_.handle();
}

void WinCAPICryptoKeyRSA::exportPublic(Bytes& modulus, Bytes& exponent) const {
    Bytes blob = ExportPublicKeyBlob(requireKey("export"), kErr);
    RSAPUBKEY rsa{};
    if (blob.size() < sizeof(BLOBHEADER) + sizeof rsa)
        throw XSECCryptoException(kErr, "WinCAPI: short RSA public key blob");
    std::memcpy(&rsa, blob.data() + sizeof(BLOBHEADER), sizeof rsa);
    size_t modLen = rsa.bitlen / 8;
    size_t offset = sizeof(BLOBHEADER) + sizeof rsa;
    if (rsa.magic != kRsa1Magic || blob.size() < offset + modLen)
        throw XSECCryptoException(kErr, "WinCAPI: malformed RSA public key blob");
    modulus = StripLeadingZeros(Reversed(blob.data() + offset, modLen));
    unsigned char e[4];
    std::memcpy(e, &rsa.pubexp, sizeof e);
    exponent = StripLeadingZeros(Reversed(e, sizeof e));
}

unsigned int WinCAPICryptoKeyRSA::getModulusBase64BigNums(char* buf, unsigned int len) {
    Bytes modulus, exponent;
    exportPublic(modulus, exponent);
    return CopyOut(EncodeBase64(modulus.data(), modulus.size()), buf, len, kErr);
}

unsigned int WinCAPICryptoKeyRSA::getExponentBase64BigNums(char* buf, unsigned int len) {
    Bytes modulus, exponent;
    exportPublic(modulus, exponent);
    return CopyOut(EncodeBase64(exponent.data(), exponent.size()), buf, len, kErr);
}
