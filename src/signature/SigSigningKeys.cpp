// The signing key of a new signature, chosen by its signature method: the borrowed HMAC
// secret, or the caller's CryptoAPI container key (RSA, DSA, GOST R 34.10-2001), and the
// KeyValue of that key when the caller asks for it.
#include <cwchar>
#include <memory>
#include <string>

#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoProvider.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "algorithms/AlgorithmCatalog.hpp"
#include "api/CryptXmlException.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "signature/SigContext.hpp"

namespace {

constexpr unsigned int kBigNumBuffer = 1000;
constexpr DWORD kProvRsaAes = 24;  // PROV_RSA_AES
constexpr DWORD kContainerNameMax = 1000;

// Base64 key material is ASCII: widening it byte by byte is exact.
std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

template <class Key, class Getter>
std::wstring BigNum(Key& key, Getter getter) {
    char buffer[kBigNumBuffer] = {};
    const unsigned int length = (key.*getter)(buffer, kBigNumBuffer);
    return Widen(std::string(buffer, length < kBigNumBuffer ? length : 0));
}

bool IsEcdsaUri(const wchar_t* uri) { return uri != nullptr && std::wcsstr(uri, L"#ecdsa-") != nullptr; }

bool IsSha2(DWORD xsecHashType) {
    return xsecHashType == XSECCryptoHash::HASH_SHA256 || xsecHashType == XSECCryptoHash::HASH_SHA384 ||
           xsecHashType == XSECCryptoHash::HASH_SHA512;
}

void RequireKeyInfo(const char* function, const void* node) {
    if (node == nullptr) errors::Raise<hr::kObjectFaulted>(function, "NULL == keyInfoNode");
}

}  // namespace

void SigContext::SetupSigningKey(HCRYPTPROV hProv, DWORD dwKeySpec, bool addKeyValue) {
    static const char* const kFunction = "SigContext::SetupSigningKey";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    const wchar_t* uri = xsecSig_->getAlgorithmURI();
    if (IsEcdsaUri(uri)) errors::Raise<hr::kAlgorithm>(kFunction, "SIGNATURE_ECDSA == sigMethod. ECDSA is not supported.");
    const CRYPT_XML_ALGORITHM_INFO* entry = uri != nullptr ? algInfo::FindAlgInfoByURI(uri) : nullptr;
    if (entry == nullptr || entry->dwGroupId != CRYPT_XML_GROUP_ID_SIGN) errors::Raise<hr::kInvalidOperation>(kFunction);
    switch (algInfo::LinkOf(*entry).sigFamily) {
        case algInfo::kHmac: {
            if (hmacSecret_ == nullptr) errors::Raise<hr::kObjectFaulted>(kFunction, "HMAC secret is not specified.");
            auto key = std::make_unique<WinCAPICryptoKeyHMAC>(0);
            // The key copies the bytes; xml-security-c only takes them as non-const.
            key->setKey(const_cast<BYTE*>(hmacSecret_), hmacSecretLength_);
            xsecSig_->setSigningKey(key.release());
            return;
        }
        case algInfo::kRsa: return SetupRsaSigningKey(hProv, dwKeySpec, addKeyValue);
        case algInfo::kDsa: return SetupDsaSigningKey(hProv, dwKeySpec, addKeyValue);
        case algInfo::kGost2001: return SetupGostSigningKey(hProv, dwKeySpec, addKeyValue);
        default: errors::Raise<hr::kInvalidOperation>(kFunction);
    }
}

void SigContext::SetupRsaSigningKey(HCRYPTPROV hProv, DWORD dwKeySpec, bool addKeyValue) {
    static const char* const kFunction = "SigContext::SetupRsaSigningKey";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    DWORD size = 0;
    if (hProv != 0 && !CryptGetProvParam(hProv, PP_PROVTYPE, nullptr, &size, 0)) {
        errors::Raise<hr::kInvalidArg>(kFunction, "invalid cryptProvHandle");
    }
    // The caller's provider type may lack SHA-2; the same container opened under the AES
    // provider type has it. Any failure here leaves the caller's handle in use.
    HCRYPTPROV signingProv = hProv;
    const CRYPT_XML_ALGORITHM_INFO* entry = algInfo::FindAlgInfoByURI(xsecSig_->getAlgorithmURI());
    const DWORD hashType = algInfo::LinkOf(*entry).xsecHashType;
    XSECCryptoProvider* crypto = XSECPlatformUtils::g_cryptoProvider;
    if (hProv != 0 && IsSha2(hashType) && crypto != nullptr &&
        crypto->algorithmSupported(static_cast<XSECCryptoHash::HashType>(hashType))) {
        char container[kContainerNameMax] = {};
        DWORD length = kContainerNameMax;
        if (CryptGetProvParam(hProv, PP_CONTAINER, reinterpret_cast<BYTE*>(container), &length, 0) &&
            CryptAcquireContextA(hProv_.put(), container, nullptr, kProvRsaAes, 0)) {
            signingProv = hProv_.get();
        }
    }
    auto key = std::make_unique<WinCAPICryptoKeyRSA>(signingProv, dwKeySpec, true);
    WinCAPICryptoKeyRSA& rsa = *key;
    xsecSig_->setSigningKey(key.release());
    if (!addKeyValue) return;
    const std::wstring exponent = BigNum(rsa, &WinCAPICryptoKeyRSA::getExponentBase64BigNums);
    const std::wstring modulus = BigNum(rsa, &WinCAPICryptoKeyRSA::getModulusBase64BigNums);
    RequireKeyInfo(kFunction, xsecSig_->appendRSAKeyValue(modulus.c_str(), exponent.c_str()));
}

void SigContext::SetupDsaSigningKey(HCRYPTPROV hProv, DWORD dwKeySpec, bool addKeyValue) {
    static const char* const kFunction = "SigContext::SetupDsaSigningKey";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    auto key = std::make_unique<WinCAPICryptoKeyDSA>(hProv, dwKeySpec, true);
    WinCAPICryptoKeyDSA& dsa = *key;
    xsecSig_->setSigningKey(key.release());
    if (!addKeyValue) return;
    const std::wstring p = BigNum(dsa, &WinCAPICryptoKeyDSA::getPBase64BigNums);
    const std::wstring g = BigNum(dsa, &WinCAPICryptoKeyDSA::getGBase64BigNums);
    const std::wstring q = BigNum(dsa, &WinCAPICryptoKeyDSA::getQBase64BigNums);
    const std::wstring y = BigNum(dsa, &WinCAPICryptoKeyDSA::getYBase64BigNums);
    RequireKeyInfo(kFunction, xsecSig_->appendDSAKeyValue(p.c_str(), q.c_str(), g.c_str(), y.c_str()));
}

void SigContext::SetupGostSigningKey(HCRYPTPROV hProv, DWORD dwKeySpec, bool addKeyValue) {
    static const char* const kFunction = "SigContext::SetupGostSigningKey";
    if (xsecSig_ == nullptr) errors::Raise<hr::kInvalidOperation>(kFunction);
    auto key = std::make_unique<WinCAPICryptoKeyGOST>(hProv, dwKeySpec, true);
    WinCAPICryptoKeyGOST& gost = *key;
    xsecSig_->setSigningKey(key.release());
    if (!addKeyValue) return;
    const std::wstring publicKey = Widen(gost.getPublicKeyBase64());
    const std::wstring publicKeyParamSet = Widen(gost.getPublicKeyParamSetOID());
    const std::wstring digestParamSet = Widen(gost.getDigestParamSetOID());
    const std::wstring encryptionParamSet = Widen(gost.getEncryptionParamSetOID());
    // A key without an encryption parameter set gets no (empty) element for it: readers
    // take the element as an OID when it is there.
    const wchar_t* encryption = encryptionParamSet.empty() ? nullptr : encryptionParamSet.c_str();
    RequireKeyInfo(kFunction, xsecSig_->appendGOSTKeyValue(publicKey.c_str(), publicKeyParamSet.c_str(),
                                                          digestParamSet.c_str(), encryption));
}
