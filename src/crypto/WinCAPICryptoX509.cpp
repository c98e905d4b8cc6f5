#include "crypto/WinCAPICryptoX509.hpp"

#include "crypto/CapiSupport.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"

#include <cstring>
#include <memory>
#include <string>

using namespace crypto;

namespace {
constexpr auto kErr = XSECCryptoException::X509Error;
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
const char kOidRsa[] = "1.2.840.113549.1.1.1";
const char kOidDsa[] = "1.2.840.10040.4.1";
const char kOidEc[] = "1.2.840.10045.2.1";
}  // namespace

WinCAPICryptoX509::WinCAPICryptoX509(HCRYPTPROV rsaProv, HCRYPTPROV dssProv)
    : rsaProv_(rsaProv), dssProv_(dssProv), rsaRef_(ShareProv(rsaProv)), dssRef_(ShareProv(dssProv)), base64_("") {}

WinCAPICryptoX509::~WinCAPICryptoX509() = default;

const XMLCh* WinCAPICryptoX509::getProviderName() const { return WinCapiProviderName(); }

void WinCAPICryptoX509::loadX509Base64Bin(const char* buf, unsigned int len) {
    Bytes der = DecodeBase64(buf, len);
    if (der.empty()) throw XSECCryptoException(kErr, "WinCAPI: empty X509 certificate");
    CertHandle cert(CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
    if (!cert) ThrowLastError(kErr, "CertCreateCertificateContext");
    cert_ = std::move(cert);
    base64_.sbMemcpyIn(buf, len);
    base64_[len] = '\0';
}

const char* WinCAPICryptoX509::keyAlgorithmOid() const {
    if (!cert_) throw XSECCryptoException(kErr, "WinCAPI: X509 certificate not loaded");
    const char* oid = cert_.get()->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    return oid != nullptr ? oid : "";
}

XSECCryptoKey::KeyType WinCAPICryptoX509::getPublicKeyType() const {
    const char* oid = keyAlgorithmOid();
    if (std::strcmp(oid, kOidRsa) == 0) return XSECCryptoKey::KEY_RSA_PUBLIC;
    if (std::strcmp(oid, kOidDsa) == 0) return XSECCryptoKey::KEY_DSA_PUBLIC;
    if (std::strcmp(oid, kOidEc) == 0) return XSECCryptoKey::KEY_EC_PUBLIC;
    return XSECCryptoKey::KEY_NONE;
}

XSECCryptoKey* WinCAPICryptoX509::clonePublicKey() const {
    XSECCryptoKey::KeyType type = getPublicKeyType();
    if (type == XSECCryptoKey::KEY_DSA_PUBLIC) return cloneDsaKey();
    if (type != XSECCryptoKey::KEY_RSA_PUBLIC) return nullptr;
    if (rsaProv_ == 0) throw XSECCryptoException(kErr, "WinCAPI: no provider for the certificate's RSA key");
    KeyHandle key;
    if (!CryptImportPublicKeyInfo(rsaProv_, kEncoding,
                                  const_cast<PCERT_PUBLIC_KEY_INFO>(&cert_.get()->pCertInfo->SubjectPublicKeyInfo),
                                  key.put()))
        ThrowLastError(kErr, "CryptImportPublicKeyInfo");
    return new WinCAPICryptoKeyRSA(rsaProv_, key.get());
}

namespace {

// A minimal DER reader for the DSA parts of a certificate: Dss-Parms ::= SEQUENCE { p, q, g
// INTEGER } and DSAPublicKey ::= INTEGER. (CryptDecodeObjectEx(X509_DSS_PARAMETERS) is not
// available everywhere: Wine's crypt32 has no decoder for it.)
class DerReader {
public:
    DerReader(const BYTE* data, DWORD len) : at_(data), end_(data + len) {}
    // Enters the content of an element with the given tag.
    DerReader Enter(BYTE tag) {
        size_t len = Header(tag);
        DerReader inner(at_, static_cast<DWORD>(len));
        at_ += len;
        return inner;
    }
    // The magnitude of an INTEGER, big-endian, as Base64.
    std::string IntegerBase64() {
        size_t len = Header(0x02);
        Bytes value = StripLeadingZeros(Bytes(at_, at_ + len));
        at_ += len;
        return EncodeBase64(value.data(), value.size());
    }

private:
    size_t Header(BYTE tag) {
        if (end_ - at_ < 2 || at_[0] != tag) Fail();
        size_t len = at_[1];
        at_ += 2;
        if (len & 0x80) {
            size_t n = len & 0x7F;
            if (n == 0 || n > 4 || static_cast<size_t>(end_ - at_) < n) Fail();
            len = 0;
            for (size_t i = 0; i < n; ++i) len = (len << 8) | *at_++;
        }
        if (static_cast<size_t>(end_ - at_) < len) Fail();
        return len;
    }
    [[noreturn]] static void Fail() {
        throw XSECCryptoException(kErr, "WinCAPI: malformed DSA key in the certificate");
    }

    const BYTE* at_;
    const BYTE* end_;
};

}  // namespace

// The DSA key is decoded here (parameters and Y) and imported as a DSS public key blob:
// not every CryptoAPI implementation imports DSA SubjectPublicKeyInfo (Wine's does not).
XSECCryptoKey* WinCAPICryptoX509::cloneDsaKey() const {
    if (dssProv_ == 0) throw XSECCryptoException(kErr, "WinCAPI: no provider for the certificate's DSA key");
    const CERT_PUBLIC_KEY_INFO& info = cert_.get()->pCertInfo->SubjectPublicKeyInfo;
    if (info.Algorithm.Parameters.cbData == 0 || info.Algorithm.Parameters.pbData[0] != 0x30)
        throw XSECCryptoException(kErr, "WinCAPI: the certificate's DSA key has no parameters");
    DerReader params = DerReader(info.Algorithm.Parameters.pbData, info.Algorithm.Parameters.cbData).Enter(0x30);
    std::string p = params.IntegerBase64(), q = params.IntegerBase64(), g = params.IntegerBase64();
    std::string yText = DerReader(info.PublicKey.pbData, info.PublicKey.cbData).IntegerBase64();
    auto key = std::make_unique<WinCAPICryptoKeyDSA>(dssProv_);
    key->loadPBase64BigNums(p.c_str(), static_cast<unsigned int>(p.size()));
    key->loadQBase64BigNums(q.c_str(), static_cast<unsigned int>(q.size()));
    key->loadGBase64BigNums(g.c_str(), static_cast<unsigned int>(g.size()));
    key->loadYBase64BigNums(yText.c_str(), static_cast<unsigned int>(yText.size()));
    key->importKey();
    return key.release();
}
