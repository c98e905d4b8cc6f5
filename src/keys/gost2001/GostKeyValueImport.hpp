#pragma once
// A GOST key value arrives as a serialised KeyValue element: it is parsed, read by
// xml-security-c's key-value class, and imported through WinCAPICryptoKeyGOST into a
// verification context of the GOST provider.
#include "base/WinApi.hpp"

namespace gostKeyValueImport {

// Throws, with texts under the routine name "ImportGostKey". *phProv is zeroed before the
// provider is looked for; both out values are set only when everything succeeded.
void Import(const CRYPT_XML_BLOB& blob, HCRYPTPROV* phProv, HCRYPTKEY* phKey);

}  // namespace gostKeyValueImport
