#include "keys/rsa/RsaFamily.hpp"

#include <cstring>

#include <xsec/dsig/DSIGKeyInfo.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoProvider.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "base/CryptXmlException.hpp"
#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "keys/CapiKeyValueImport.hpp"
#include "keys/KeyValueStructWrap.hpp"
#include "keys/KeyValueText.hpp"

namespace rsa {
namespace {

constexpr DWORD kContainerNameMax = 1000;

const capiKeyValueImport::Kind kImportTexts = {"keyValue.RSAKeyValue.",
                                               "keyValue.RSAKeyValue. CRYPT_XML_BLOB_MAX exceeded.",
                                               "CryptAcquireContext(PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) failed."};

bool IsSha2(unsigned hashType) {
    return hashType == XSECCryptoHash::HASH_SHA256 || hashType == XSECCryptoHash::HASH_SHA384 ||
           hashType == XSECCryptoHash::HASH_SHA512;
}

// The caller's provider type may lack SHA-2; the same container opened under the AES
// provider type has it. Any failure here leaves the caller's handle in use.
crypto::ProvHandle ReopenForSha2(HCRYPTPROV prov, unsigned hashType) {
    crypto::ProvHandle reopened;
    XSECCryptoProvider* crypto = XSECPlatformUtils::g_cryptoProvider;
    if (prov == 0 || !IsSha2(hashType) || crypto == nullptr ||
        !crypto->algorithmSupported(static_cast<XSECCryptoHash::HashType>(hashType))) {
        return reopened;
    }
    char container[kContainerNameMax] = {};
    DWORD length = kContainerNameMax;
    if (!CryptGetProvParam(prov, PP_CONTAINER, reinterpret_cast<BYTE*>(container), &length, 0) ||
        !CryptAcquireContextA(reopened.put(), container, nullptr, PROV_RSA_AES, 0)) {
        reopened.reset();
    }
    return reopened;
}

class RsaFamily final : public keys::KeyFamily {
public:
    unsigned SignatureFamily() const noexcept override { return ids::kFamilyRsa; }
    bool HoldsAlgId(ALG_ID algId) const noexcept override { return (algId & ids::kAlgClassMask) == ALG_TYPE_RSA; }
    bool HoldsKeyValueType(DWORD type) const noexcept override { return type == CRYPT_XML_KEY_VALUE_TYPE_RSA; }
    bool HoldsKeyInfoType(int type) const noexcept override { return type == DSIGKeyInfo::KEYINFO_VALUE_RSA; }
    bool HoldsCertificateOid(const char* oid) const noexcept override { return std::strcmp(oid, szOID_RSA_RSA) == 0; }

    keys::SigningKey MakeSigningKey(const keys::SigningRequest& request) const override {
        DWORD size = 0;
        if (request.prov != 0 && !CryptGetProvParam(request.prov, PP_PROVTYPE, nullptr, &size, 0)) {
            errors::Raise<hr::kInvalidArg>(kSigning, "invalid cryptProvHandle");
        }
        keys::SigningKey made;
        made.reopened = ReopenForSha2(request.prov, request.hashType);
        const HCRYPTPROV signingProv = made.reopened ? made.reopened.get() : request.prov;
        made.key = std::make_unique<WinCAPICryptoKeyRSA>(signingProv, request.keySpec, true);
        return made;
    }

    void AppendKeyValue(DSIGSignature& signature, XSECCryptoKey& key) const override {
        auto& rsaKey = static_cast<WinCAPICryptoKeyRSA&>(key);
        const std::wstring exponent = keyValueText::BigNum(rsaKey, &WinCAPICryptoKeyRSA::getExponentBase64BigNums);
        const std::wstring modulus = keyValueText::BigNum(rsaKey, &WinCAPICryptoKeyRSA::getModulusBase64BigNums);
        keyValueText::RequireWritten(kSigning, signature.appendRSAKeyValue(modulus.c_str(), exponent.c_str()));
    }

    std::unique_ptr<XSECCryptoKey> WrapKey(HCRYPTPROV prov, HCRYPTKEY key) const override {
        return std::make_unique<WinCAPICryptoKeyRSA>(prov, key);
    }

    void PublishKeyValue(const DSIGKeyInfo& item, CRYPT_XML_CHARSET, KeyValueStructWrap& out) const override {
        const auto& value = static_cast<const DSIGKeyInfoValue&>(item);
        out.SetRsaKey(value.getRSAModulus(), value.getRSAExponent());
    }

    const char* ImportRoutine() const noexcept override { return "ImportRsaKey"; }

    void ImportKeyValue(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) const override {
        const CRYPT_XML_KEY_RSA_KEY_VALUE& rsa = keyValue.RSAKeyValue;
        capiKeyValueImport::CheckComponents(kImportTexts, {&rsa.Modulus, &rsa.Exponent});
        // Type 24 first: it also offers the SHA-2 hashes that RSA-SHA256 and above need.
        capiKeyValueImport::Import(
            kImportTexts, {PROV_RSA_AES, PROV_RSA_FULL},
            [&rsa](HCRYPTPROV prov, crypto::KeyHandle& duplicate) -> HCRYPTKEY {
                WinCAPICryptoKeyRSA key(prov);
                capiKeyValueImport::LoadBase64(rsa.Exponent, [&](const char* b64, unsigned int n) {
                    key.loadPublicExponentBase64BigNums(b64, n);
                });
                capiKeyValueImport::LoadBase64(
                    rsa.Modulus, [&](const char* b64, unsigned int n) { key.loadPublicModulusBase64BigNums(b64, n); });
                return CryptDuplicateKey(key.importKey(), nullptr, 0, duplicate.put()) ? duplicate.get() : 0;
            },
            phProv, phKey);
    }

    keys::ImportedKey ImportCertificateKey(const CERT_PUBLIC_KEY_INFO& info) const override {
        return capiKeyValueImport::ImportPublicKeyInfo(info, {PROV_RSA_AES, PROV_RSA_FULL});
    }

private:
    static constexpr char kSigning[] = "SigContext::SetupRsaSigningKey";
};

}  // namespace

const keys::KeyFamily& Family() noexcept {
    static const RsaFamily family;
    return family;
}

}  // namespace rsa
