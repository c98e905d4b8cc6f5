// The exports that turn a KeyValue into a key for verification.
#include "api/WinApi.hpp"
#include "keys/PublicKeyImport.hpp"

extern "C" {

// Keys for the CNG handle type are not offered: CryptXmlImportPublicKeyCAPI imports into
// CryptoAPI instead.
HRESULT WINAPI CryptXmlImportPublicKey(DWORD /*dwFlags*/, const CRYPT_XML_KEY_VALUE* /*pKeyValue*/,
                                       BCRYPT_KEY_HANDLE* /*phKey*/) {
    return E_FAIL;
}

HRESULT WINAPI CryptXmlImportPublicKeyCAPI(DWORD /*dwFlags*/, const CRYPT_XML_KEY_VALUE* pKeyValue,
                                           HCRYPTPROV* phProv, HCRYPTKEY* phKey) {
    return keyImport::ImportPublicKeyCAPI(pKeyValue, phProv, phKey);
}

}  // extern "C"
