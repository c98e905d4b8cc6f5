#pragma once
// What the RSA and DSA families share when they import a CRYPT_XML_KEY_VALUE: the
// components are checked, handed to the CryptoAPI key class as Base64 text, imported
// into a verification context, and the caller gets a duplicate of that key.
#include <functional>
#include <initializer_list>

#include "base/WinApi.hpp"
#include "crypto/CapiHandles.hpp"
#include "keys/KeyFamily.hpp"

namespace capiKeyValueImport {

// The texts of one kind of key value, as traced.
struct Kind {
    const char* emptyComponent;
    const char* tooLarge;
    const char* noProvider;
};

// Any empty component is E_INVALIDARG, then any too large one CRYPT_XML_E_LARGE.
void CheckComponents(const Kind& kind, std::initializer_list<const CRYPT_XML_DATA_BLOB*> parts);

// Loads a component into a key class by its Base64 text.
void LoadBase64(const CRYPT_XML_DATA_BLOB& blob, const std::function<void(const char*, unsigned int)>& load);

// Makes the key in `prov` and duplicates it into `duplicate`; 0 when duplicating failed.
using ImportFn = std::function<HCRYPTKEY(HCRYPTPROV prov, crypto::KeyHandle& duplicate)>;

// Acquires a verification context of the first provider type that has one, imports and
// duplicates; hands both handles out only on success. *phProv is zeroed once a provider
// is acquired, *phKey when duplicating fails.
void Import(const Kind& kind, std::initializer_list<DWORD> provTypes, const ImportFn& import, HCRYPTPROV* phProv,
            HCRYPTKEY* phKey);

}  // namespace capiKeyValueImport

namespace capiKeyValueImport {

// A certificate's key through CryptImportPublicKeyInfoEx, tried with each provider type.
keys::ImportedKey ImportPublicKeyInfo(const CERT_PUBLIC_KEY_INFO& info, std::initializer_list<DWORD> provTypes);

}  // namespace capiKeyValueImport
