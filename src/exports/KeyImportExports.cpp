// The exports that turn a KeyValue into a key for verification.
#include "base/WinApi.hpp"
#include "keys/KeyValueImport.hpp"
#include "redirect/Redirection.hpp"

extern "C" {

// Keys for the CNG handle type are not offered: CryptXmlImportPublicKeyCAPI imports into
// CryptoAPI instead.
HRESULT WINAPI CryptXmlImportPublicKey(DWORD dwFlags, const CRYPT_XML_KEY_VALUE* pKeyValue, BCRYPT_KEY_HANDLE* phKey) {
    if (redirect::IsEnabled() == S_OK) {
        return redirect::Forward<decltype(&CryptXmlImportPublicKey)>(redirect::kImportPublicKey, dwFlags, pKeyValue,
                                                                     phKey);
    }
    return E_FAIL;
}

HRESULT WINAPI CryptXmlImportPublicKeyCAPI(DWORD /*dwFlags*/, const CRYPT_XML_KEY_VALUE* pKeyValue, HCRYPTPROV* phProv,
                                           HCRYPTKEY* phKey) {
    // The platform library has no CryptoAPI import to forward to.
    if (redirect::IsEnabled() == S_OK) return E_UNEXPECTED;
    return keyImport::ImportPublicKeyCAPI(pKeyValue, phProv, phKey);
}

}  // extern "C"
