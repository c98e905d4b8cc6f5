#include "keys/KeyInfoKey.hpp"

#include <cstring>
#include <vector>

#include "base/Trace.hpp"
#include "base/XsecErrors.hpp"
#include "keys/KeyFamilies.hpp"
#include "keys/KeyValueImport.hpp"

namespace keyInfoKey {
namespace {

constexpr char kFunction[] = "keyInfoKey::Import";
constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

using Certificates = std::vector<crypto::CertHandle>;

const CRYPT_XML_KEY_VALUE* FirstKeyValue(const CRYPT_XML_KEY_INFO& keyInfo) {
    for (UINT i = 0; i < keyInfo.cKeyInfo; ++i) {
        if (keyInfo.rgKeyInfo[i].dwType == CRYPT_XML_KEYINFO_TYPE_KEYVALUE) return &keyInfo.rgKeyInfo[i].KeyValue;
    }
    return nullptr;
}

Certificates DecodeCertificates(const CRYPT_XML_KEY_INFO& keyInfo) {
    Certificates certs;
    for (UINT i = 0; i < keyInfo.cKeyInfo; ++i) {
        if (keyInfo.rgKeyInfo[i].dwType != CRYPT_XML_KEYINFO_TYPE_X509DATA) continue;
        const CRYPT_XML_X509DATA& data = keyInfo.rgKeyInfo[i].X509Data;
        for (UINT j = 0; j < data.cX509Data; ++j) {
            const CRYPT_XML_X509DATA_ITEM& item = data.rgX509Data[j];
            if (item.dwType != CRYPT_XML_X509DATA_TYPE_CERTIFICATE) continue;
            crypto::CertHandle cert(
                CertCreateCertificateContext(kEncoding, item.Certificate.pbData, item.Certificate.cbData));
            if (cert) certs.push_back(std::move(cert));
        }
    }
    return certs;
}

bool Issued(PCCERT_CONTEXT issuer, PCCERT_CONTEXT subject) {
    return issuer != subject &&
           CertCompareCertificateName(kEncoding, &issuer->pCertInfo->Subject, &subject->pCertInfo->Issuer);
}

// Chains travel with the signer's certificate: the signer is the one that issued none of
// the others. With no such certificate, the first one.
PCCERT_CONTEXT SignerOf(const Certificates& certs) {
    for (const crypto::CertHandle& candidate : certs) {
        bool issuesAnother = false;
        for (const crypto::CertHandle& other : certs)
            issuesAnother = issuesAnother || Issued(candidate.get(), other.get());
        if (!issuesAnother) return candidate.get();
    }
    return certs.front().get();
}

HRESULT ImportKeyValue(const CRYPT_XML_KEY_VALUE& value, keys::ImportedKey& out) {
    HCRYPTPROV prov = 0;
    HCRYPTKEY key = 0;
    const HRESULT result = keyImport::ImportPublicKeyCAPI(&value, &prov, &key);
    if (FAILED(result)) return result;
    out.prov.reset(prov);
    out.key.reset(key);
    return S_OK;
}

// The certificate's key through its family; a failure the family traced itself keeps
// its trace, any other is traced here.
HRESULT ImportCertificateKey(PCCERT_CONTEXT cert, keys::ImportedKey& out) {
    const CERT_PUBLIC_KEY_INFO& info = cert->pCertInfo->SubjectPublicKeyInfo;
    const keys::KeyFamily* family = keyFamilies::ForCertificateOid(info.Algorithm.pszObjId);
    if (family == nullptr) {
        trace::TraceA(kFunction, "the certificate's key algorithm is not supported.");
        return CRYPT_XML_E_ALGORITHM;
    }
    try {
        out = family->ImportCertificateKey(info);
        return S_OK;
    } catch (const keys::TracedFailure& e) {
        return e.hr();
    } catch (...) {
        return xsecErrors::Report(kFunction);
    }
}

}  // namespace

HRESULT Import(const CRYPT_XML_KEY_INFO* keyInfo, keys::ImportedKey& out) noexcept try {
    if (keyInfo == nullptr) return S_FALSE;
    if (const CRYPT_XML_KEY_VALUE* value = FirstKeyValue(*keyInfo)) return ImportKeyValue(*value, out);
    const Certificates certs = DecodeCertificates(*keyInfo);
    if (certs.empty()) return S_FALSE;
    return ImportCertificateKey(SignerOf(certs), out);
} catch (...) {
    return xsecErrors::Report(kFunction);
}

}  // namespace keyInfoKey
