#include "KeyMaterial.hpp"

#include <cstring>

namespace verifyVectors {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr DWORD kProvGost2001 = 75;
constexpr char kOidGost2001[] = "1.2.643.2.2.19";

HRESULT LastError() {
    const DWORD e = ::GetLastError();
    return e == 0 ? E_FAIL : HRESULT_FROM_WIN32(e);
}

// RSA keys go to the AES provider, DSA keys to the DSS provider, GOST R 34.10-2001 keys
// to the software GOST provider, whose import function crypt32 finds by the key's OID.
DWORD ProviderTypeFor(const char* oid) {
    if (std::strcmp(oid, szOID_RSA_RSA) == 0) return PROV_RSA_AES;
    if (std::strcmp(oid, szOID_X957_DSA) == 0) return PROV_DSS;
    if (std::strcmp(oid, kOidGost2001) == 0) return kProvGost2001;
    return 0;
}

// A DER INTEGER or SEQUENCE at `at`: its tag checked, its content returned, `at` moved past it.
bool DerItem(const BYTE* der, size_t size, size_t& at, BYTE tag, Bytes& content) {
    if (at + 2 > size || der[at] != tag) return false;
    size_t len = der[at + 1];
    size_t head = 2;
    if (len & 0x80) {
        const size_t n = len & 0x7F;
        if (n == 0 || n > 4 || at + 2 + n > size) return false;
        len = 0;
        for (size_t i = 0; i < n; ++i) len = (len << 8) | der[at + 2 + i];
        head += n;
    }
    if (at + head + len > size) return false;
    content.assign(der + at + head, der + at + head + len);
    at += head + len;
    return true;
}

// Big-endian unsigned integer as `width` little-endian bytes, the order of key blobs.
bool LittleEndian(Bytes value, size_t width, Bytes& out) {
    while (!value.empty() && value.front() == 0) value.erase(value.begin());
    if (value.size() > width) return false;
    Bytes le(value.rbegin(), value.rend());
    le.resize(width, 0);
    out.insert(out.end(), le.begin(), le.end());
    return true;
}

// The DSS provider's PUBLICKEYBLOB of a DSA SubjectPublicKeyInfo: crypt32 under Wine
// imports only RSA through CryptImportPublicKeyInfo, so the blob is built here.
bool DssPublicKeyBlob(const CERT_PUBLIC_KEY_INFO& info, Bytes& blob) {
    Bytes params, p, q, g, y;
    size_t at = 0;
    if (!DerItem(info.Algorithm.Parameters.pbData, info.Algorithm.Parameters.cbData, at, 0x30, params)) return false;
    at = 0;
    if (!DerItem(params.data(), params.size(), at, 0x02, p) || !DerItem(params.data(), params.size(), at, 0x02, q) ||
        !DerItem(params.data(), params.size(), at, 0x02, g)) {
        return false;
    }
    at = 0;
    if (!DerItem(info.PublicKey.pbData, info.PublicKey.cbData, at, 0x02, y)) return false;
    while (!p.empty() && p.front() == 0) p.erase(p.begin());
    const size_t width = p.size();
    const BLOBHEADER header = {PUBLICKEYBLOB, CUR_BLOB_VERSION, 0, CALG_DSS_SIGN};
    const DSSPUBKEY pub = {0x31535344 /* "DSS1" */, static_cast<DWORD>(width * 8)};
    blob.assign(reinterpret_cast<const BYTE*>(&header), reinterpret_cast<const BYTE*>(&header) + sizeof header);
    blob.insert(blob.end(), reinterpret_cast<const BYTE*>(&pub), reinterpret_cast<const BYTE*>(&pub) + sizeof pub);
    if (!LittleEndian(p, width, blob) || !LittleEndian(q, 20, blob) || !LittleEndian(g, width, blob) ||
        !LittleEndian(y, width, blob)) {
        return false;
    }
    // No seed (counter 0xFFFFFFFF): the provider skips the parameter check. Except for keys
    // under 1024 bits: Wine's DSS provider reads y as 128 bytes whatever the key size, so
    // there the blob ends in a zero seed and zeros up to 128 bytes after the start of y
    // (the library's own DSA import makes the same accommodation when the provider needs it).
    const DSSSEED seed = {width < 128 ? 0u : 0xFFFFFFFFu, {}};
    blob.insert(blob.end(), reinterpret_cast<const BYTE*>(&seed), reinterpret_cast<const BYTE*>(&seed) + sizeof seed);
    if (width + sizeof seed < 128) blob.resize(blob.size() + 128 - width - sizeof seed, 0);
    return true;
}

class Certificate {
public:
    explicit Certificate(const Bytes& der)
        : ctx_(::CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size()))) {}
    ~Certificate() {
        if (ctx_ != nullptr) ::CertFreeCertificateContext(ctx_);
    }
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;
    PCCERT_CONTEXT get() const { return ctx_; }

private:
    PCCERT_CONTEXT ctx_;
};

}  // namespace

VerifyKey::~VerifyKey() { Release(); }

void VerifyKey::Release() {
    if (key_ != 0) ::CryptDestroyKey(key_);
    if (prov_ != 0) ::CryptReleaseContext(prov_, 0);
    key_ = 0;
    prov_ = 0;
}

HRESULT VerifyKey::FromCertificate(const Bytes& der) {
    const Certificate cert(der);
    if (cert.get() == nullptr) return LastError();
    return FromPublicKeyInfo(cert.get()->pCertInfo->SubjectPublicKeyInfo);
}

HRESULT VerifyKey::FromPublicKeyInfo(const Bytes& der) {
    CERT_PUBLIC_KEY_INFO* info = nullptr;
    DWORD size = 0;
    if (!::CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, der.data(), static_cast<DWORD>(der.size()),
                               CRYPT_DECODE_ALLOC_FLAG, nullptr, &info, &size)) {
        return LastError();
    }
    const HRESULT hr = FromPublicKeyInfo(*info);
    ::LocalFree(info);
    return hr;
}

HRESULT VerifyKey::FromPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info) {
    Release();
    const DWORD type = ProviderTypeFor(info.Algorithm.pszObjId);
    if (type == 0) return NTE_BAD_ALGID;
    if (!::CryptAcquireContextW(&prov_, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT)) return LastError();
    auto* spki = const_cast<CERT_PUBLIC_KEY_INFO*>(&info);
    BOOL ok = FALSE;
    if (type == PROV_DSS) {
        Bytes blob;
        if (!DssPublicKeyBlob(info, blob)) {
            Release();
            return CRYPT_E_ASN1_BADTAG;
        }
        ok = ::CryptImportKey(prov_, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key_);
    } else if (type == kProvGost2001) {
        ok = ::CryptImportPublicKeyInfoEx(prov_, kEncoding, spki, 0, 0, nullptr, &key_);
    } else {
        ok = ::CryptImportPublicKeyInfo(prov_, kEncoding, spki, &key_);
    }
    if (!ok) {
        const HRESULT hr = LastError();
        Release();
        return hr;
    }
    return S_OK;
}

}  // namespace verifyVectors
