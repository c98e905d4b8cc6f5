#pragma once
// The key a signature's own KeyInfo supplies, for verifying without a key from the caller:
// the first KeyValue, or else the signer's certificate among the X509Data certificates.
#include "base/WinApi.hpp"
#include "keys/KeyFamily.hpp"

namespace keyInfoKey {

// S_OK with the key in `out`; S_FALSE when the KeyInfo (which may be null) carries no key;
// a failure HRESULT when it carries one that cannot be imported (traced).
HRESULT Import(const CRYPT_XML_KEY_INFO* keyInfo, keys::ImportedKey& out) noexcept;

}  // namespace keyInfoKey
