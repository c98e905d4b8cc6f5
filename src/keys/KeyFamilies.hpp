#pragma once
// The table of key families: the one place that knows them all. Each lookup returns the
// family that holds the key, or null when none does.
#include "base/WinApi.hpp"
#include "keys/KeyFamily.hpp"

namespace keyFamilies {

const keys::KeyFamily* ForSignatureFamily(unsigned family) noexcept;
const keys::KeyFamily* ForAlgId(ALG_ID algId) noexcept;
const keys::KeyFamily* ForKeyValueType(DWORD keyValueType) noexcept;
const keys::KeyFamily* ForKeyInfoType(int keyInfoType) noexcept;
const keys::KeyFamily* ForCertificateOid(const char* oid) noexcept;

// A key value type the library knows but cannot import (ECDSA): E_NOTIMPL, not E_INVALIDARG.
bool IsUnimplementedKeyValueType(DWORD keyValueType) noexcept;

}  // namespace keyFamilies
