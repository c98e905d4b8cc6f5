#include "crypto/WinCAPICryptoProvider.hpp"

#include "crypto/CapiSupport.hpp"
#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoHash.hpp"
#include "crypto/WinCAPICryptoHashHMAC.hpp"
#include "crypto/WinCAPICryptoKeyDSA.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"
#include "crypto/WinCAPICryptoKeyRSA.hpp"
#include "crypto/WinCAPICryptoX509.hpp"

#include <xsec/enc/XSCrypt/XSCryptCryptoBase64.hpp>

using namespace crypto;

namespace {

ProvHandle AcquireVerifyContext(DWORD provType) noexcept {
    ProvHandle prov;
    if (!CryptAcquireContextW(prov.put(), nullptr, nullptr, provType, CRYPT_VERIFYCONTEXT)) return ProvHandle();
    return prov;
}

}  // namespace

WinCAPICryptoProvider::WinCAPICryptoProvider()
    : rsa_(AcquireVerifyContext(PROV_RSA_AES)),
      dss_(AcquireVerifyContext(PROV_DSS)),
      gost2012_256_(AcquireVerifyContext(ids::kProvGost2012_256)),
      gost2012_512_(AcquireVerifyContext(ids::kProvGost2012_512)) {
    gost_ = AcquireVerifyContext(ids::kProvGost2001);
    if (!gost_) gost_ = AcquireVerifyContext(ids::kProvGostLegacy);
}

WinCAPICryptoProvider::~WinCAPICryptoProvider() = default;

const XMLCh* WinCAPICryptoProvider::getProviderName() const { return WinCapiProviderName(); }

unsigned int WinCAPICryptoProvider::getMaxHashSize() const { return 64; }

HCRYPTPROV WinCAPICryptoProvider::providerFor(XSECCryptoHash::HashType type) const {
    if (type == kHashGost3411) return gost_.get();
    if (type == kHashStreebog256) return gost2012_256_.get();
    if (type == kHashStreebog512) return gost2012_512_.get();
    if (HashAlgId(type) == 0) return 0;
    return rsa_.get();
}

XSECCryptoHash* WinCAPICryptoProvider::hash(XSECCryptoHash::HashType type) const {
    return new WinCAPICryptoHash(providerFor(type), type);
}

XSECCryptoHash* WinCAPICryptoProvider::HMAC(XSECCryptoHash::HashType type) const {
    return new WinCAPICryptoHashHMAC(providerFor(type), type);
}

XSECCryptoKeyHMAC* WinCAPICryptoProvider::keyHMAC() const { return new WinCAPICryptoKeyHMAC(rsa_.get()); }

XSECCryptoBase64* WinCAPICryptoProvider::base64() const { return new XSCryptCryptoBase64(); }

XSECCryptoKeyDSA* WinCAPICryptoProvider::keyDSA() const {
    if (!dss_)
        throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: no DSS provider for DSA keys");
    return new WinCAPICryptoKeyDSA(dss_.get());
}

XSECCryptoKeyRSA* WinCAPICryptoProvider::keyRSA() const {
    if (!rsa_)
        throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: no RSA provider for RSA keys");
    return new WinCAPICryptoKeyRSA(rsa_.get());
}

XSECCryptoKeyEC* WinCAPICryptoProvider::keyEC() const {
    throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: EC keys are not supported");
}

XSECCryptoKey* WinCAPICryptoProvider::keyDER(const char*, unsigned long, bool) const {
    throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: DER-encoded keys are not supported");
}

XSECCryptoX509* WinCAPICryptoProvider::X509() const { return new WinCAPICryptoX509(rsa_.get(), dss_.get()); }

bool WinCAPICryptoProvider::algorithmSupported(XSECCryptoSymmetricKey::SymmetricKeyType) const { return false; }

bool WinCAPICryptoProvider::algorithmSupported(XSECCryptoHash::HashType alg) const { return providerFor(alg) != 0; }

XSECCryptoSymmetricKey* WinCAPICryptoProvider::keySymmetric(XSECCryptoSymmetricKey::SymmetricKeyType) const {
    throw XSECCryptoException(XSECCryptoException::UnsupportedError, "WinCAPI: symmetric keys are not supported");
}

unsigned int WinCAPICryptoProvider::getRandom(unsigned char* buffer, unsigned int numOctets) const {
    if (numOctets == 0) return 0;
    if (!rsa_) throw XSECCryptoException(XSECCryptoException::GeneralError, "WinCAPI: no provider for random numbers");
    if (!CryptGenRandom(rsa_.get(), numOctets, buffer))
        ThrowLastError(XSECCryptoException::GeneralError, "CryptGenRandom");
    return numOctets;
}

bool WinCAPICryptoProvider::signatureFamilySupported(unsigned family) const {
    // Which of the provider's contexts computes each family; HMAC runs on the RSA one.
    const struct {
        unsigned family;
        const ProvHandle& prov;
    } served[] = {
        {ids::kFamilyRsa, rsa_}, {ids::kFamilyDsa, dss_}, {ids::kFamilyHmac, rsa_}, {ids::kFamilyGost2001, gost_}};
    for (const auto& entry : served) {
        if (entry.family == family) return static_cast<bool>(entry.prov);
    }
    return false;
}
