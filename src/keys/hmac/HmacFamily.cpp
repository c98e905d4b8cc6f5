#include "keys/hmac/HmacFamily.hpp"

#include "base/CryptXmlException.hpp"
#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoKeyHMAC.hpp"

namespace hmac {
namespace {

class HmacFamily final : public keys::KeyFamily {
public:
    unsigned SignatureFamily() const noexcept override { return ids::kFamilyHmac; }
    bool UsesSecret() const noexcept override { return true; }

    // No KeyValue is ever written for a secret, whatever the caller asked for.
    keys::SigningKey MakeSigningKey(const keys::SigningRequest& request) const override {
        if (request.secret == nullptr) {
            errors::Raise<hr::kObjectFaulted>("SigContext::SetupSigningKey", "HMAC secret is not specified.");
        }
        keys::SigningKey made;
        made.key = SecretKey(request.secret, request.secretLength);
        return made;
    }
};

}  // namespace

std::unique_ptr<XSECCryptoKey> SecretKey(const BYTE* secret, ULONG length) {
    auto key = std::make_unique<WinCAPICryptoKeyHMAC>(0);
    // The key copies the bytes; xml-security-c only takes them as non-const.
    key->setKey(const_cast<BYTE*>(secret), length);
    return key;
}

const keys::KeyFamily& Family() noexcept {
    static const HmacFamily family;
    return family;
}

}  // namespace hmac
