#pragma once
// CryptoAPI values the Windows SDK headers of MinGW-w64 lack, and xml-security-c numbers
// the library relies on. Everything else comes from the SDK header or cryptxml.h.
#include "base/WinApi.hpp"

namespace ids {

// Provider types.
constexpr DWORD kProvGostLegacy = 2;     // the legacy shared GOST provider type (KRM_PROV_TYPE)
constexpr DWORD kProvGost2001 = 75;      // PROV_GOST_2001_DH
constexpr DWORD kProvGost2012_256 = 80;  // PROV_GOST_2012_256
constexpr DWORD kProvGost2012_512 = 81;  // PROV_GOST_2012_512

// ALG_ID type of GOST R 34.10 keys (ALG_TYPE_GR3410) and the mask that isolates a type.
constexpr ALG_ID kAlgClassMask = 0x1E00;
constexpr ALG_ID kAlgTypeGr3410 = 0x0E00;

// GOST ALG_IDs.
constexpr ALG_ID kAlgGr3411 = ALG_CLASS_HASH | ALG_TYPE_ANY | 30;           // CALG_GR3411, 0x801E
constexpr ALG_ID kAlgGr3410El = ALG_CLASS_SIGNATURE | kAlgTypeGr3410 | 35;  // CALG_GR3410EL, 0x2E23
constexpr ALG_ID kAlgGr3411_2012_256 = ALG_CLASS_HASH | ALG_TYPE_ANY | 33;  // CALG_GR3411_2012_256, 0x8021
constexpr ALG_ID kAlgGr3411_2012_512 = ALG_CLASS_HASH | ALG_TYPE_ANY | 34;  // CALG_GR3411_2012_512, 0x8022

// Certificate key OIDs.
constexpr char kOidGost2001PublicKey[] = "1.2.643.2.2.19";

// XSECCryptoHash::HashType numbers of the GOST hashes in our xml-security-c build, after
// its enum's last value (HASH_SHA512, 6): GOST R 34.11-94 and GOST R 34.11-2012
// (Streebog) 256 and 512.
constexpr unsigned kHashGost3411 = 7;
constexpr unsigned kHashGost3411_2012_256 = 8;
constexpr unsigned kHashGost3411_2012_512 = 9;

// Signature families as the crypto provider counts them (crypto::SignatureFamilySupport).
constexpr unsigned kFamilyRsa = 1;
constexpr unsigned kFamilyDsa = 2;
constexpr unsigned kFamilyHmac = 3;
constexpr unsigned kFamilyGost2001 = 5;

}  // namespace ids
