#pragma once
#include "api/WinApi.hpp"

// The library's fixed list of digest and signature algorithms. Every lookup returns the
// first match in list order (digests first), or null for "not found"; bad arguments raise
// E_INVALIDARG under the lookup's own name.
namespace algInfo {

// Signature families as the crypto provider counts them; 0 marks a digest.
enum SigFamily : DWORD {
    kDigest = 0,
    kRsa = 1,
    kDsa = 2,
    kHmac = 3,
    kGost2001 = 5,
};

// What pvExtraInfo of a catalog entry points to: the link to the crypto provider.
struct ProviderLink {
    DWORD xsecHashType;  // XSECCryptoHash::HashType; 7 is GOST R 34.11-94
    DWORD sigFamily;
};

const ProviderLink& LinkOf(const CRYPT_XML_ALGORITHM_INFO& entry);

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
