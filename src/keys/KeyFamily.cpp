#include "keys/KeyFamily.hpp"

#include <xsec/enc/XSECCryptoKey.hpp>

#include "base/CryptXmlException.hpp"

namespace keys {

// The lookups of the family table never hand a family a key it does not hold, so the
// defaults below are reached only by a family that lacks the operation altogether.

void KeyFamily::AppendKeyValue(DSIGSignature&, XSECCryptoKey&) const {}

std::unique_ptr<XSECCryptoKey> KeyFamily::WrapKey(HCRYPTPROV, HCRYPTKEY) const {
    errors::Raise<hr::kInvalidOperation>("KeyFamily::WrapKey");
}

void KeyFamily::PublishKeyValue(const DSIGKeyInfo&, CRYPT_XML_CHARSET, KeyValueStructWrap&) const {
    errors::Raise<hr::kInvalidOperation>("KeyFamily::PublishKeyValue");
}

void KeyFamily::ImportKeyValue(const CRYPT_XML_KEY_VALUE&, HCRYPTPROV*, HCRYPTKEY*) const {
    errors::Raise<hr::kInvalidArg>("KeyFamily::ImportKeyValue");
}

ImportedKey KeyFamily::ImportCertificateKey(const CERT_PUBLIC_KEY_INFO&) const {
    errors::Raise<hr::kAlgorithm>("KeyFamily::ImportCertificateKey");
}

}  // namespace keys
