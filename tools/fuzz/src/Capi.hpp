#pragma once
// The provider and key CryptXmlImportPublicKeyCAPI hands over, released in the order
// CryptoAPI wants: the key before its provider.
#include <windows.h>

#include <wincrypt.h>

namespace fuzz {

class ImportedKey {
public:
    ImportedKey() = default;
    ~ImportedKey() {
        if (key_ != 0) CryptDestroyKey(key_);
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
    }
    ImportedKey(const ImportedKey&) = delete;
    ImportedKey& operator=(const ImportedKey&) = delete;

    HCRYPTPROV* provOut() { return &prov_; }
    HCRYPTKEY* keyOut() { return &key_; }
    HCRYPTPROV prov() const { return prov_; }
    HCRYPTKEY key() const { return key_; }

private:
    HCRYPTPROV prov_ = 0;
    HCRYPTKEY key_ = 0;
};

}  // namespace fuzz
