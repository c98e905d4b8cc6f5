#include "keys/dsa/DsaFamily.hpp"

#include <cstring>
#include <vector>

#include <xsec/dsig/DSIGKeyInfo.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/dsig/DSIGSignature.hpp>

#include "base/CryptXmlException.hpp"
#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "keys/CapiKeyValueImport.hpp"
#include "keys/KeyValueImport.hpp"
#include "keys/KeyValueStructWrap.hpp"
#include "keys/KeyValueText.hpp"
#include "keys/dsa/DssCertificateKey.hpp"

namespace dsa {
namespace {

// The doubled parenthesis is part of the published text.
const capiKeyValueImport::Kind kImportTexts = {"keyValue.DSAKeyValue.",
                                               "keyValue.DSAKeyValue. CRYPT_XML_BLOB_MAX exceeded.",
                                               "CryptAcquireContext(PROV_DSS, CRYPT_VERIFYCONTEXT)) failed."};

CRYPT_XML_DATA_BLOB BlobOf(std::vector<BYTE>& bytes) {
    return CRYPT_XML_DATA_BLOB{static_cast<ULONG>(bytes.size()), bytes.data()};
}

class DsaFamily final : public keys::KeyFamily {
public:
    unsigned SignatureFamily() const noexcept override { return ids::kFamilyDsa; }
    bool HoldsAlgId(ALG_ID algId) const noexcept override { return (algId & ids::kAlgClassMask) == ALG_TYPE_DSS; }
    bool HoldsKeyValueType(DWORD type) const noexcept override { return type == CRYPT_XML_KEY_VALUE_TYPE_DSA; }
    bool HoldsKeyInfoType(int type) const noexcept override { return type == DSIGKeyInfo::KEYINFO_VALUE_DSA; }
    bool HoldsCertificateOid(const char* oid) const noexcept override { return std::strcmp(oid, szOID_X957_DSA) == 0; }

    keys::SigningKey MakeSigningKey(const keys::SigningRequest& request) const override {
        keys::SigningKey made;
        made.key = std::make_unique<WinCAPICryptoKeyDSA>(request.prov, request.keySpec, true);
        return made;
    }

    void AppendKeyValue(DSIGSignature& signature, XSECCryptoKey& key) const override {
        auto& dsaKey = static_cast<WinCAPICryptoKeyDSA&>(key);
        const std::wstring p = keyValueText::BigNum(dsaKey, &WinCAPICryptoKeyDSA::getPBase64BigNums);
        const std::wstring g = keyValueText::BigNum(dsaKey, &WinCAPICryptoKeyDSA::getGBase64BigNums);
        const std::wstring q = keyValueText::BigNum(dsaKey, &WinCAPICryptoKeyDSA::getQBase64BigNums);
        const std::wstring y = keyValueText::BigNum(dsaKey, &WinCAPICryptoKeyDSA::getYBase64BigNums);
        keyValueText::RequireWritten("SigContext::SetupDsaSigningKey",
                                     signature.appendDSAKeyValue(p.c_str(), q.c_str(), g.c_str(), y.c_str()));
    }

    std::unique_ptr<XSECCryptoKey> WrapKey(HCRYPTPROV prov, HCRYPTKEY key) const override {
        return std::make_unique<WinCAPICryptoKeyDSA>(prov, key);
    }

    void PublishKeyValue(const DSIGKeyInfo& item, CRYPT_XML_CHARSET, KeyValueStructWrap& out) const override {
        const auto& value = static_cast<const DSIGKeyInfoValue&>(item);
        out.SetDsaKey(value.getDSAP(), value.getDSAQ(), value.getDSAG(), value.getDSAY());
    }

    const char* ImportRoutine() const noexcept override { return "ImportDsaKey"; }

    void ImportKeyValue(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) const override {
        const CRYPT_XML_KEY_DSA_KEY_VALUE& dsa = keyValue.DSAKeyValue;
        capiKeyValueImport::CheckComponents(kImportTexts, {&dsa.G, &dsa.P, &dsa.Q, &dsa.Y});
        capiKeyValueImport::Import(
            kImportTexts, {PROV_DSS},
            [&dsa](HCRYPTPROV prov, crypto::KeyHandle& duplicate) -> HCRYPTKEY {
                WinCAPICryptoKeyDSA key(prov);
                const auto load = [](const CRYPT_XML_DATA_BLOB& blob, auto setter) {
                    capiKeyValueImport::LoadBase64(blob, setter);
                };
                load(dsa.G, [&](const char* b64, unsigned int n) { key.loadGBase64BigNums(b64, n); });
                load(dsa.P, [&](const char* b64, unsigned int n) { key.loadPBase64BigNums(b64, n); });
                load(dsa.Q, [&](const char* b64, unsigned int n) { key.loadQBase64BigNums(b64, n); });
                load(dsa.Y, [&](const char* b64, unsigned int n) { key.loadYBase64BigNums(b64, n); });
                return CryptDuplicateKey(key.importKey(), nullptr, 0, duplicate.put()) ? duplicate.get() : 0;
            },
            phProv, phKey);
    }

    // crypt32 imports no DSA key from a certificate on every platform: the components are
    // read from the DER and imported as a DSAKeyValue would be.
    keys::ImportedKey ImportCertificateKey(const CERT_PUBLIC_KEY_INFO& info) const override {
        dssCertificateKey::Components parts;
        if (!dssCertificateKey::Read(info, parts)) {
            throw CryptXmlException::Verbatim(CRYPT_XML_E_INVALID_KEYVALUE, "the certificate's DSA key is malformed.");
        }
        CRYPT_XML_KEY_VALUE value = {};
        value.dwType = CRYPT_XML_KEY_VALUE_TYPE_DSA;
        value.DSAKeyValue.P = BlobOf(parts.p);
        value.DSAKeyValue.Q = BlobOf(parts.q);
        value.DSAKeyValue.G = BlobOf(parts.g);
        value.DSAKeyValue.Y = BlobOf(parts.y);
        // A failure is traced as the import of that key value is, under its own routine.
        keys::ImportedKey out;
        HCRYPTPROV prov = 0;
        HCRYPTKEY key = 0;
        const HRESULT result = keyImport::ImportPublicKeyCAPI(&value, &prov, &key);
        if (FAILED(result)) throw keys::TracedFailure(result);
        out.prov.reset(prov);
        out.key.reset(key);
        return out;
    }
};

}  // namespace

const keys::KeyFamily& Family() noexcept {
    static const DsaFamily family;
    return family;
}

}  // namespace dsa
