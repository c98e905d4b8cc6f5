#pragma once
// Public keys given as CRYPT_XML_KEY_VALUE become CryptoAPI keys. Unlike the rest of the
// library these routines answer with an HRESULT instead of throwing; whatever they catch
// is traced under the routine's name. On success the caller owns both handles; on failure
// the out values are 0 or as the caller left them.
#include "api/WinApi.hpp"

namespace keyImport {

// Dispatch on dwType: DSA, RSA, GOST; ECDSA is not implemented; anything else is refused.
HRESULT ImportPublicKeyCAPI(const CRYPT_XML_KEY_VALUE* keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept;

// A serialised GOST key value element (dwType CRYPT_XML_KEY_VALUE_TYPE_GOST). Needs the
// XML stack running.
HRESULT ImportGostKey(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept;
HRESULT ImportRsaKey(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept;
HRESULT ImportDsaKey(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept;

// HRESULT_FROM_WIN32 of the thread's last error: a positive code becomes 0x8007xxxx, zero
// and codes that are already HRESULTs pass unchanged.
HRESULT LastErrorResult() noexcept;

}  // namespace keyImport
