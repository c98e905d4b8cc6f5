#include "crypto/WinCAPICryptoHash.hpp"

#include "crypto/CapiSupport.hpp"

using crypto::ThrowLastError;

WinCAPICryptoHash::WinCAPICryptoHash(HCRYPTPROV prov, HashType type)
    : prov_(prov), provRef_(crypto::ShareProv(prov)), type_(type), algId_(crypto::HashAlgId(type)) {
    if (algId_ == 0) throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: hash algorithm not supported");
    if (prov_ == 0)
        throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: no provider for the hash algorithm");
    reset();
}

void WinCAPICryptoHash::reset() {
    if (!CryptCreateHash(prov_, algId_, 0, 0, hash_.put()))
        ThrowLastError(XSECCryptoException::MDError, "CryptCreateHash");
}

void WinCAPICryptoHash::hash(unsigned char* data, unsigned int length) {
    if (length == 0) return;
    if (!CryptHashData(hash_.get(), data, length, 0)) ThrowLastError(XSECCryptoException::MDError, "CryptHashData");
}

unsigned int WinCAPICryptoHash::finish(unsigned char* hash, unsigned int maxLength) {
    return crypto::ReadHashValue(hash_.get(), hash, maxLength);
}
