#pragma once
// The secret of an HMAC signature, held in memory (safeBuffer marked sensitive).
#include "base/WinApi.hpp"

#include <wincrypt.h>

#include <xsec/enc/XSECCryptoKeyHMAC.hpp>
#include <xsec/utils/XSECSafeBuffer.hpp>

class WinCAPICryptoKeyHMAC : public XSECCryptoKeyHMAC {
public:
    // The provider argument is accepted for the callers' sake; the HMAC itself is computed
    // by WinCAPICryptoHashHMAC on the crypto provider's own context.
    explicit WinCAPICryptoKeyHMAC(HCRYPTPROV prov = 0);
    ~WinCAPICryptoKeyHMAC() override = default;

    const XMLCh* getProviderName() const override;
    XSECCryptoKey* clone() const override;
    void setKey(unsigned char* inBuf, unsigned int inLength) override;
    unsigned int getKey(safeBuffer& outBuf) const override;

private:
    HCRYPTPROV prov_;
    safeBuffer keyBuf_;
    unsigned int keyLen_ = 0;
};
