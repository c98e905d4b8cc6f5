#include "crypto/WinCAPICryptoKeyDSA.hpp"

#include "crypto/CapiKeyOps.hpp"
#include "crypto/DssPublicKeyBlob.hpp"
#include "crypto/DssSignatureOrder.hpp"

#include <cstring>
#include <string>

using namespace crypto;

namespace {
constexpr auto kErr = XSECCryptoException::DSAError;
constexpr DWORD kDss1Magic = 0x31535344;             // "DSS1", in exported blobs
constexpr DWORD kBcryptDsaPublicMagic = 0x42505344;  // "DSPB"
constexpr size_t kQLen = 20;
constexpr size_t kHalf = 20;  // r and s of a 160-bit Q
// Between XML's r || s (each half big-endian) and the DSS provider's order (each half
// little-endian for Microsoft's provider): reverses each half unless the provider already
// uses big-endian halves. The conversion is its own inverse.
Bytes SwapHalves(const Bytes& sig) {
    if (DssSignatureHalvesAreBigEndian()) return sig;
    Bytes out = Reversed(sig.data(), kHalf);
    Bytes s = Reversed(sig.data() + kHalf, kHalf);
    out.insert(out.end(), s.begin(), s.end());
    return out;
}

}  // namespace

WinCAPICryptoKeyDSA::WinCAPICryptoKeyDSA(HCRYPTPROV prov, DWORD keySpec, bool isPrivate)
    : slot_(CapiKeySlot::Container(prov, keySpec, isPrivate, "DSA", kErr)) {}

WinCAPICryptoKeyDSA::WinCAPICryptoKeyDSA(HCRYPTPROV prov, HCRYPTKEY key)
    : slot_(CapiKeySlot::Duplicate(prov, key, "DSA", kErr)) {}

WinCAPICryptoKeyDSA::WinCAPICryptoKeyDSA(HCRYPTPROV prov) : slot_(CapiKeySlot::Empty(prov, "DSA", kErr)) {}

WinCAPICryptoKeyDSA::~WinCAPICryptoKeyDSA() = default;

const XMLCh* WinCAPICryptoKeyDSA::getProviderName() const { return WinCapiProviderName(); }

bool WinCAPICryptoKeyDSA::loaded() const {
    const PublicParts& l = loaded_;
    return !l.p.empty() && !l.q.empty() && !l.g.empty() && !l.y.empty();
}

XSECCryptoKey::KeyType WinCAPICryptoKeyDSA::getKeyType() const {
    if (slot_.inContainer()) return slot_.isPrivate() ? KEY_DSA_PAIR : KEY_DSA_PUBLIC;
    if (slot_.handle() != 0 || loaded()) return KEY_DSA_PUBLIC;
    return KEY_NONE;
}

XSECCryptoKey* WinCAPICryptoKeyDSA::clone() const {
    if (slot_.inContainer()) return new WinCAPICryptoKeyDSA(slot_.prov(), slot_.keySpec(), slot_.isPrivate());
    if (slot_.handle() != 0) return new WinCAPICryptoKeyDSA(slot_.prov(), slot_.handle());
    auto* copy = new WinCAPICryptoKeyDSA(slot_.prov());
    copy->loaded_ = loaded_;
    return copy;
}

HCRYPTKEY WinCAPICryptoKeyDSA::getKeyHandle() const { return slot_.handle(); }

// Loaded numbers are imported on first use: xml-security-c's KeyInfo resolver loads them and
// never calls importKey().
HCRYPTKEY WinCAPICryptoKeyDSA::requireKey(const char* operation) const {
    if (slot_.handle() == 0 && !slot_.inContainer() && loaded()) importLoaded();
    return slot_.require(operation);
}

bool WinCAPICryptoKeyDSA::verifyBase64Signature(unsigned char* hashBuf, unsigned int hashLen, char* base64Signature,
                                                unsigned int sigLen) const {
    HCRYPTKEY key = requireKey("verification");
    Bytes sig = DecodeBase64(base64Signature, sigLen);
    if (sig.size() != 2 * kHalf) throw XSECCryptoException(kErr, "WinCAPI: DSA signature length is not 40 bytes");
    return VerifyHashValue(slot_.prov(), key, CALG_SHA1, hashBuf, hashLen, SwapHalves(sig), PROV_DSS, kErr);
}

unsigned int WinCAPICryptoKeyDSA::signBase64Signature(unsigned char* hashBuf, unsigned int hashLen,
                                                      char* base64SignatureBuf,
                                                      unsigned int base64SignatureBufLen) const {
    if (!slot_.inContainer() || !slot_.isPrivate())
        throw XSECCryptoException(kErr, "WinCAPI: DSA signing without a private key");
    Bytes sigLE = SignHashValue(slot_.prov(), slot_.keySpec(), CALG_SHA1, hashBuf, hashLen, kErr);
    if (sigLE.size() != 2 * kHalf)
        throw XSECCryptoException(kErr, "WinCAPI: CryptSignHash returned a DSA signature not of 40 bytes");
    Bytes sig = SwapHalves(sigLE);
    return CopyOut(EncodeBase64(sig.data(), sig.size()), base64SignatureBuf, base64SignatureBufLen, kErr);
}

void WinCAPICryptoKeyDSA::loadPBase64BigNums(const char* b64, unsigned int len) {
    loaded_.p = StripLeadingZeros(DecodeBase64(b64, len));
}
void WinCAPICryptoKeyDSA::loadQBase64BigNums(const char* b64, unsigned int len) {
    loaded_.q = StripLeadingZeros(DecodeBase64(b64, len));
}
void WinCAPICryptoKeyDSA::loadGBase64BigNums(const char* b64, unsigned int len) {
    loaded_.g = StripLeadingZeros(DecodeBase64(b64, len));
}
void WinCAPICryptoKeyDSA::loadYBase64BigNums(const char* b64, unsigned int len) {
    loaded_.y = StripLeadingZeros(DecodeBase64(b64, len));
}
void WinCAPICryptoKeyDSA::loadJBase64BigNums(const char*, unsigned int) {}

HCRYPTKEY WinCAPICryptoKeyDSA::importKey() { return importLoaded(); }

HCRYPTKEY WinCAPICryptoKeyDSA::importLoaded() const {
    const PublicParts& l = loaded_;
    if (l.p.empty() || l.q.empty() || l.g.empty() || l.y.empty())
        throw XSECCryptoException(kErr, "WinCAPI: DSA P, Q, G or Y not loaded");
    const Bytes blob = DssPublicKeyBlob(l.p, l.q, l.g, l.y, DssBlobEndFor(l.p.size()), kErr);
    slot_.adopt(ImportPublicKeyBlob(slot_.prov(), blob, kErr));
    return slot_.handle();
}

WinCAPICryptoKeyDSA::PublicParts WinCAPICryptoKeyDSA::exportPublic() const {
    Bytes blob = ExportPublicKeyBlob(requireKey("export"), kErr);
    PublicParts parts;
    DWORD first = 0;
    if (blob.size() >= sizeof first) std::memcpy(&first, blob.data(), sizeof first);
    if (first == kBcryptDsaPublicMagic) {
        // Wine's dssenh answers PUBLICKEYBLOB with a BCRYPT_DSA_KEY_BLOB: magic, cbKey,
        // Count[4], Seed[20], q[20], then p, g, y, all big-endian.
        constexpr size_t kFixed = 4 + 4 + 4 + 20 + kQLen;
        DWORD cbKey = 0;
        if (blob.size() >= kFixed) std::memcpy(&cbKey, blob.data() + 4, sizeof cbKey);
        if (blob.size() < kFixed + 3 * static_cast<size_t>(cbKey))
            throw XSECCryptoException(kErr, "WinCAPI: malformed DSA public key blob");
        const unsigned char* at = blob.data() + kFixed - kQLen;
        parts.q = StripLeadingZeros(Bytes(at, at + kQLen));
        at += kQLen;
        parts.p = StripLeadingZeros(Bytes(at, at + cbKey));
        at += cbKey;
        parts.g = StripLeadingZeros(Bytes(at, at + cbKey));
        at += cbKey;
        parts.y = StripLeadingZeros(Bytes(at, at + cbKey));
        return parts;
    }
    // The CryptoAPI PUBLICKEYBLOB: BLOBHEADER, DSSPUBKEY, then p, q, g, y little-endian.
    DSSPUBKEY dss{};
    size_t offset = sizeof(BLOBHEADER) + sizeof dss;
    if (blob.size() >= offset) std::memcpy(&dss, blob.data() + sizeof(BLOBHEADER), sizeof dss);
    size_t pLen = dss.bitlen / 8;
    if (blob.size() < offset || dss.magic != kDss1Magic || blob.size() < offset + 3 * pLen + kQLen)
        throw XSECCryptoException(kErr, "WinCAPI: malformed DSA public key blob");
    const unsigned char* at = blob.data() + offset;
    parts.p = StripLeadingZeros(Reversed(at, pLen));
    at += pLen;
    parts.q = StripLeadingZeros(Reversed(at, kQLen));
    at += kQLen;
    parts.g = StripLeadingZeros(Reversed(at, pLen));
    at += pLen;
    parts.y = StripLeadingZeros(Reversed(at, pLen));
    return parts;
}

unsigned int WinCAPICryptoKeyDSA::writeOut(const Bytes& value, char* buf, unsigned int len) const {
    return CopyOut(EncodeBase64(value.data(), value.size()), buf, len, kErr);
}

unsigned int WinCAPICryptoKeyDSA::getPBase64BigNums(char* buf, unsigned int len) {
    return writeOut(exportPublic().p, buf, len);
}
unsigned int WinCAPICryptoKeyDSA::getQBase64BigNums(char* buf, unsigned int len) {
    return writeOut(exportPublic().q, buf, len);
}
unsigned int WinCAPICryptoKeyDSA::getGBase64BigNums(char* buf, unsigned int len) {
    return writeOut(exportPublic().g, buf, len);
}
unsigned int WinCAPICryptoKeyDSA::getYBase64BigNums(char* buf, unsigned int len) {
    return writeOut(exportPublic().y, buf, len);
}
