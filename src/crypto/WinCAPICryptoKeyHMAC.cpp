#include "crypto/WinCAPICryptoKeyHMAC.hpp"

#include "crypto/CapiSupport.hpp"

WinCAPICryptoKeyHMAC::WinCAPICryptoKeyHMAC(HCRYPTPROV prov) : prov_(prov), keyBuf_("") { keyBuf_.isSensitive(); }

const XMLCh* WinCAPICryptoKeyHMAC::getProviderName() const { return crypto::WinCapiProviderName(); }

XSECCryptoKey* WinCAPICryptoKeyHMAC::clone() const {
    auto* copy = new WinCAPICryptoKeyHMAC(prov_);
    copy->keyBuf_ = keyBuf_;
    copy->keyBuf_.isSensitive();
    copy->keyLen_ = keyLen_;
    return copy;
}

void WinCAPICryptoKeyHMAC::setKey(unsigned char* inBuf, unsigned int inLength) {
    if (inBuf == nullptr && inLength != 0)
        throw XSECCryptoException(XSECCryptoException::MDError, "WinCAPI: NULL HMAC key");
    keyBuf_.sbMemcpyIn(inBuf, inLength);
    keyBuf_.isSensitive();
    keyLen_ = inLength;
}

unsigned int WinCAPICryptoKeyHMAC::getKey(safeBuffer& outBuf) const {
    outBuf = keyBuf_;
    outBuf.isSensitive();
    return keyLen_;
}
