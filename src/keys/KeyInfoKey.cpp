#include "keys/KeyInfoKey.hpp"

#include <cstring>
#include <vector>

#include "api/Trace.hpp"
#include "keys/DssCertificateKey.hpp"
#include "keys/PublicKeyImport.hpp"

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
            crypto::CertHandle cert(CertCreateCertificateContext(kEncoding, item.Certificate.pbData, item.Certificate.cbData));
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
        for (const crypto::CertHandle& other : certs) issuesAnother = issuesAnother || Issued(candidate.get(), other.get());
        if (!issuesAnother) return candidate.get();
    }
    return certs.front().get();
}

// The provider types that hold a key of the certificate's algorithm, in order of preference.
std::vector<DWORD> ProviderTypesFor(const char* keyOid) {
    if (std::strcmp(keyOid, szOID_RSA_RSA) == 0) return {PROV_RSA_AES, PROV_RSA_FULL};
    if (std::strcmp(keyOid, "1.2.643.2.2.19") == 0) return {75};  // GOST R 34.10-2001, PROV_GOST_2001_DH
    return {};
}

HRESULT ImportKeyValue(const CRYPT_XML_KEY_VALUE& value, ImportedKey& out);

// A DSA certificate's key goes the way of a DSAKeyValue.
HRESULT ImportDssCertificateKey(const CERT_PUBLIC_KEY_INFO& info, ImportedKey& out) {
    dssCertificateKey::Components parts;
    if (!dssCertificateKey::Read(info, parts)) {
        trace::traceA(kFunction, "the certificate's DSA key is malformed.");
        return CRYPT_XML_E_INVALID_KEYVALUE;
    }
    CRYPT_XML_KEY_VALUE value = {};
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_DSA;
    const auto blob = [](std::vector<BYTE>& bytes) {
        return CRYPT_XML_DATA_BLOB{static_cast<ULONG>(bytes.size()), bytes.data()};
    };
    value.DSAKeyValue.P = blob(parts.p);
    value.DSAKeyValue.Q = blob(parts.q);
    value.DSAKeyValue.G = blob(parts.g);
    value.DSAKeyValue.Y = blob(parts.y);
    return ImportKeyValue(value, out);
}

HRESULT ImportCertificateKey(PCCERT_CONTEXT cert, ImportedKey& out) {
    CERT_PUBLIC_KEY_INFO* info = &cert->pCertInfo->SubjectPublicKeyInfo;
    if (std::strcmp(info->Algorithm.pszObjId, szOID_X957_DSA) == 0) return ImportDssCertificateKey(*info, out);
    const std::vector<DWORD> types = ProviderTypesFor(info->Algorithm.pszObjId);
    if (types.empty()) {
        trace::traceA(kFunction, "the certificate's key algorithm is not supported.");
        return CRYPT_XML_E_ALGORITHM;
    }
    HRESULT result = E_FAIL;
    for (DWORD type : types) {
        if (CryptAcquireContextW(out.prov.put(), nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) &&
            CryptImportPublicKeyInfoEx(out.prov.get(), kEncoding, info, 0, 0, nullptr, out.key.put())) {
            return S_OK;
        }
        result = keyImport::LastErrorResult();
    }
    out.key.reset();
    out.prov.reset();
    trace::traceA(kFunction, "the certificate's public key could not be imported.");
    return FAILED(result) ? result : E_FAIL;
}

HRESULT ImportKeyValue(const CRYPT_XML_KEY_VALUE& value, ImportedKey& out) {
    HCRYPTPROV prov = 0;
    HCRYPTKEY key = 0;
    const HRESULT result = keyImport::ImportPublicKeyCAPI(&value, &prov, &key);
    if (FAILED(result)) return result;
    out.prov.reset(prov);
    out.key.reset(key);
    return S_OK;
}

}  // namespace

HRESULT Import(const CRYPT_XML_KEY_INFO* keyInfo, ImportedKey& out) {
    if (keyInfo == nullptr) return S_FALSE;
    if (const CRYPT_XML_KEY_VALUE* value = FirstKeyValue(*keyInfo)) return ImportKeyValue(*value, out);
    const Certificates certs = DecodeCertificates(*keyInfo);
    if (certs.empty()) return S_FALSE;
    return ImportCertificateKey(SignerOf(certs), out);
}

}  // namespace keyInfoKey
