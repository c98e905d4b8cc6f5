#pragma once
#include "base/WinApi.hpp"
#include "keys/KeyFamily.hpp"

// The library's fixed list of digest and signature algorithms. Every lookup returns the
// first match in list order (digests first), or null for "not found"; bad arguments raise
// E_INVALIDARG under the lookup's own name.
namespace algInfo {

// A digest's signature family: none.
constexpr DWORD kDigest = 0;

// What pvExtraInfo of a catalog entry points to: the link to the crypto provider and to
// the key family.
struct ProviderLink {
    DWORD xsecHashType;  // XSECCryptoHash::HashType
    DWORD sigFamily;     // keys::KeyFamily::SignatureFamily(), kDigest for a digest
};

const ProviderLink& LinkOf(const CRYPT_XML_ALGORITHM_INFO& entry);

// The key family of a signature method; null for a digest.
const keys::KeyFamily* FamilyOf(const CRYPT_XML_ALGORITHM_INFO& entry) noexcept;

const CRYPT_XML_ALGORITHM_INFO* FindAlgInfoByURI(const wchar_t* uri);
const CRYPT_XML_ALGORITHM_INFO* FindAlgInfoByName(const wchar_t* name);
const CRYPT_XML_ALGORITHM_INFO* FindAlgInfoByHashAlgID(const wchar_t* cngHashAlgId, DWORD groupId);
const CRYPT_XML_ALGORITHM_INFO* FindSigAlgInfo(const wchar_t* cngHashAlgId, const wchar_t* cngPubKeyAlgId);

void EnumHashAlgs(void* pvArg, PFN_CRYPT_XML_ENUM_ALG_INFO pfnEnumAlgInfo);
void EnumSigAlgs(void* pvArg, PFN_CRYPT_XML_ENUM_ALG_INFO pfnEnumAlgInfo);

// A CRYPT_XML_ALGORITHM as a caller must hand it in; never throws.
bool AlgorithmStructIsValid(const CRYPT_XML_ALGORITHM* alg) noexcept;

// Whether the installed crypto provider can compute the entry's algorithm.
// CRYPT_XML_E-style failures: no provider installed gives 0x803D0001.
bool AlgCanBeUsed(const CRYPT_XML_ALGORITHM_INFO* alg);
bool HashOrSigAlgIsAvailable(const wchar_t* uri);
bool CanonAlgIsAvailable(const wchar_t* uri);

}  // namespace algInfo
