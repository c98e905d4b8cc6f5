#include "keys/KeyValueImport.hpp"

#include "base/XsecErrors.hpp"
#include "keys/KeyFamilies.hpp"

namespace keyImport {

HRESULT ImportPublicKeyCAPI(const CRYPT_XML_KEY_VALUE* keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept {
    if (keyValue == nullptr || phProv == nullptr || phKey == nullptr) return E_INVALIDARG;
    const keys::KeyFamily* family = keyFamilies::ForKeyValueType(keyValue->dwType);
    if (family == nullptr) return keyFamilies::IsUnimplementedKeyValueType(keyValue->dwType) ? E_NOTIMPL : E_INVALIDARG;
    try {
        family->ImportKeyValue(*keyValue, phProv, phKey);
        return S_OK;
    } catch (...) {
        return xsecErrors::Report(family->ImportRoutine());
    }
}

}  // namespace keyImport
