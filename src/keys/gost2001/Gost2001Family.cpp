#include "keys/gost2001/Gost2001Family.hpp"

#include <cstring>
#include <vector>

#include <xsec/dsig/DSIGKeyInfo.hpp>
#include <xsec/dsig/DSIGSignature.hpp>

#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"
#include "document/XmlBlob.hpp"
#include "keys/CapiKeyValueImport.hpp"
#include "keys/KeyValueStructWrap.hpp"
#include "keys/KeyValueText.hpp"
#include "keys/gost2001/GostKeyValueImport.hpp"

namespace gost2001 {
namespace {

class Gost2001Family final : public keys::KeyFamily {
public:
    unsigned SignatureFamily() const noexcept override { return ids::kFamilyGost2001; }
    bool HoldsAlgId(ALG_ID algId) const noexcept override {
        return (algId & ids::kAlgClassMask) == ids::kAlgTypeGr3410;
    }
    bool HoldsKeyValueType(DWORD type) const noexcept override { return type == CRYPT_XML_KEY_VALUE_TYPE_GOST; }
    bool HoldsKeyInfoType(int type) const noexcept override { return type == DSIGKeyInfo::KEYINFO_VALUE_GOST; }
    bool HoldsCertificateOid(const char* oid) const noexcept override {
        return std::strcmp(oid, ids::kOidGost2001PublicKey) == 0;
    }

    keys::SigningKey MakeSigningKey(const keys::SigningRequest& request) const override {
        keys::SigningKey made;
        made.key = std::make_unique<WinCAPICryptoKeyGOST>(request.prov, request.keySpec, true);
        return made;
    }

    void AppendKeyValue(DSIGSignature& signature, XSECCryptoKey& key) const override {
        const auto& gost = static_cast<const WinCAPICryptoKeyGOST&>(key);
        const std::wstring publicKey = keyValueText::Widen(gost.getPublicKeyBase64());
        const std::wstring publicKeyParamSet = keyValueText::Widen(gost.getPublicKeyParamSetOID());
        const std::wstring digestParamSet = keyValueText::Widen(gost.getDigestParamSetOID());
        const std::wstring encryptionParamSet = keyValueText::Widen(gost.getEncryptionParamSetOID());
        // A key without an encryption parameter set gets no (empty) element for it: readers
        // take the element as an OID when it is there.
        const wchar_t* encryption = encryptionParamSet.empty() ? nullptr : encryptionParamSet.c_str();
        keyValueText::RequireWritten("SigContext::SetupGostSigningKey",
                                     signature.appendGOSTKeyValue(publicKey.c_str(), publicKeyParamSet.c_str(),
                                                                  digestParamSet.c_str(), encryption));
    }

    std::unique_ptr<XSECCryptoKey> WrapKey(HCRYPTPROV prov, HCRYPTKEY key) const override {
        return std::make_unique<WinCAPICryptoKeyGOST>(prov, key);
    }

    // Published as the KeyValue element itself, serialised in the document's charset: the
    // three forms found in practice do not fit one structure.
    void PublishKeyValue(const DSIGKeyInfo& item, CRYPT_XML_CHARSET charset, KeyValueStructWrap& out) const override {
        std::vector<BYTE> bytes;
        xmlBlob::EncodeNode(item.getKeyInfoDOMNode(), false, charset, bytes);
        out.SetGostKey(charset, bytes);
    }

    const char* ImportRoutine() const noexcept override { return "ImportGostKey"; }

    void ImportKeyValue(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) const override {
        gostKeyValueImport::Import(keyValue.GOSTKeyValue, phProv, phKey);
    }

    keys::ImportedKey ImportCertificateKey(const CERT_PUBLIC_KEY_INFO& info) const override {
        return capiKeyValueImport::ImportPublicKeyInfo(info, {ids::kProvGost2001});
    }
};

}  // namespace

const keys::KeyFamily& Family() noexcept {
    static const Gost2001Family family;
    return family;
}

}  // namespace gost2001
