#pragma once
// Public keys given as CRYPT_XML_KEY_VALUE become CryptoAPI keys. The exported import
// answers with an HRESULT and traces a failure under the routine of the key's family
// ("ImportRsaKey", "ImportDsaKey", "ImportGostKey"). On success the caller owns both
// handles; on failure the out values are 0 or as the caller left them.
#include "base/WinApi.hpp"

namespace keyImport {

// E_INVALIDARG for a null argument or a key type no family holds, E_NOTIMPL for ECDSA.
HRESULT ImportPublicKeyCAPI(const CRYPT_XML_KEY_VALUE* keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept;

}  // namespace keyImport
