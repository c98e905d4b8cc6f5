#include "algorithms/AlgorithmCatalog.hpp"

#include <cwchar>

#include "base/CryptXmlException.hpp"
#include "crypto/Ids.hpp"
#include "keys/KeyFamilies.hpp"

namespace algInfo {
namespace {

constexpr DWORD kHashGost = ids::kHashGost3411;
constexpr DWORD kHashStreebog256 = ids::kHashGost3411_2012_256;
constexpr DWORD kHashStreebog512 = ids::kHashGost3411_2012_512;
constexpr DWORD kRsa = ids::kFamilyRsa;
constexpr DWORD kDsa = ids::kFamilyDsa;
constexpr DWORD kHmac = ids::kFamilyHmac;
constexpr DWORD kGost2001 = ids::kFamilyGost2001;

constexpr ProviderLink kGostDigest{kHashGost, kDigest};
constexpr ProviderLink kSha1Digest{1, kDigest};
constexpr ProviderLink kSha256Digest{4, kDigest};
constexpr ProviderLink kSha384Digest{5, kDigest};
constexpr ProviderLink kSha512Digest{6, kDigest};
constexpr ProviderLink kStreebog256Digest{kHashStreebog256, kDigest};
constexpr ProviderLink kStreebog512Digest{kHashStreebog512, kDigest};
constexpr ProviderLink kHmacSha512{6, kHmac};
constexpr ProviderLink kHmacSha384{5, kHmac};
constexpr ProviderLink kHmacSha256{4, kHmac};
constexpr ProviderLink kHmacSha1{1, kHmac};
constexpr ProviderLink kDsaSha1{1, kDsa};
constexpr ProviderLink kRsaSha512{6, kRsa};
constexpr ProviderLink kRsaSha384{5, kRsa};
constexpr ProviderLink kRsaSha256{4, kRsa};
constexpr ProviderLink kRsaSha1{1, kRsa};
constexpr ProviderLink kGost2001Sig{kHashGost, kGost2001};
constexpr ProviderLink kHmacStreebog256{kHashStreebog256, kHmac};
constexpr ProviderLink kHmacStreebog512{kHashStreebog512, kHmac};

// The record's own pvExtraInfo is a plain void*; callers only read through it.
void* Extra(const ProviderLink& link) { return const_cast<ProviderLink*>(&link); }

CRYPT_XML_ALGORITHM_INFO Digest(const wchar_t* uri, const wchar_t* name, const ProviderLink& link) {
    return {sizeof(CRYPT_XML_ALGORITHM_INFO),
            const_cast<wchar_t*>(uri),
            const_cast<wchar_t*>(name),
            CRYPT_XML_GROUP_ID_HASH,
            const_cast<wchar_t*>(name),
            nullptr,
            0,
            0,
            nullptr,
            Extra(link)};
}

CRYPT_XML_ALGORITHM_INFO Signature(const wchar_t* uri, const wchar_t* name, const wchar_t* cngHash,
                                   const wchar_t* cngKey, const ProviderLink& link) {
    return {sizeof(CRYPT_XML_ALGORITHM_INFO),
            const_cast<wchar_t*>(uri),
            const_cast<wchar_t*>(name),
            CRYPT_XML_GROUP_ID_SIGN,
            const_cast<wchar_t*>(cngHash),
            const_cast<wchar_t*>(cngKey),
            0,
            0,
            nullptr,
            Extra(link)};
}

// GOST comes first in both lists, the W3C-style URI first among digests and the URN
// first among signatures, so that lookups by name or CNG id find those. The GOST
// R 34.11-2012 digests come last, after every older entry, the URN before the
// xmldsig-more URI of each size, so that lookups by their names find the URN. The
// HMAC-Streebog signatures come after every older signature entry.
const CRYPT_XML_ALGORITHM_INFO kDigests[] = {
    Digest(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", L"GOST R 34.11-94", kGostDigest),
    Digest(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411", L"GOST R 34.11-94", kGostDigest),
    Digest(L"http://www.w3.org/2000/09/xmldsig#sha1", L"SHA1", kSha1Digest),
    Digest(L"http://www.w3.org/2001/04/xmlenc#sha256", L"SHA256", kSha256Digest),
    Digest(L"http://www.w3.org/2001/04/xmldsig-more#sha384", L"SHA384", kSha384Digest),
    Digest(L"http://www.w3.org/2001/04/xmlenc#sha512", L"SHA512", kSha512Digest),
    Digest(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256", L"GOST R 34.11-2012-256",
           kStreebog256Digest),
    Digest(L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256", L"GOST R 34.11-2012-256", kStreebog256Digest),
    Digest(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512", L"GOST R 34.11-2012-512",
           kStreebog512Digest),
    Digest(L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512", L"GOST R 34.11-2012-512", kStreebog512Digest),
};

const CRYPT_XML_ALGORITHM_INFO kSignatures[] = {
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512", L"HMAC-SHA512", L"SHA512", L"HMAC", kHmacSha512),
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha384", L"HMAC-SHA384", L"SHA384", L"HMAC", kHmacSha384),
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256", L"HMAC-SHA256", L"SHA256", L"HMAC", kHmacSha256),
    Signature(L"http://www.w3.org/2000/09/xmldsig#hmac-sha1", L"HMAC-SHA1", L"SHA1", L"HMAC", kHmacSha1),
    Signature(L"http://www.w3.org/2000/09/xmldsig#dsa-sha1", L"DSA-SHA1", L"SHA1", L"DSA", kDsaSha1),
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", L"RSA-SHA512", L"SHA512", L"RSA", kRsaSha512),
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384", L"RSA-SHA384", L"SHA384", L"RSA", kRsaSha384),
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", L"RSA-SHA256", L"SHA256", L"RSA", kRsaSha256),
    Signature(L"http://www.w3.org/2000/09/xmldsig#rsa-sha1", L"RSA-SHA1", L"SHA1", L"RSA", kRsaSha1),
    Signature(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", L"GOST R 34.10/34.11-2001",
              L"GOST R 34.11-94", L"GOST R 34.10-2001", kGost2001Sig),
    Signature(L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411", L"GOST R 34.10/34.11-2001",
              L"GOST R 34.11-94", L"GOST R 34.10-2001", kGost2001Sig),
    Signature(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256", L"HMAC-GOSTR3411-2012-256",
              L"GOST R 34.11-2012-256", L"HMAC", kHmacStreebog256),
    Signature(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512", L"HMAC-GOSTR3411-2012-512",
              L"GOST R 34.11-2012-512", L"HMAC", kHmacStreebog512),
};

bool Empty(const wchar_t* s) { return s == nullptr || *s == L'\0'; }

template <size_t N, class Match>
const CRYPT_XML_ALGORITHM_INFO* First(const CRYPT_XML_ALGORITHM_INFO (&list)[N], Match&& match) {
    for (const CRYPT_XML_ALGORITHM_INFO& entry : list) {
        if (match(entry)) return &entry;
    }
    return nullptr;
}

template <class Match>
const CRYPT_XML_ALGORITHM_INFO* FirstInBoth(Match&& match) {
    const CRYPT_XML_ALGORITHM_INFO* found = First(kDigests, match);
    return found != nullptr ? found : First(kSignatures, match);
}

template <size_t N>
void Enumerate(const CRYPT_XML_ALGORITHM_INFO (&list)[N], void* pvArg, PFN_CRYPT_XML_ENUM_ALG_INFO pfnEnumAlgInfo) {
    for (const CRYPT_XML_ALGORITHM_INFO& entry : list) {
        if (!pfnEnumAlgInfo(&entry, pvArg)) return;
    }
}

}  // namespace

const ProviderLink& LinkOf(const CRYPT_XML_ALGORITHM_INFO& entry) {
    return *static_cast<const ProviderLink*>(entry.pvExtraInfo);
}

const keys::KeyFamily* FamilyOf(const CRYPT_XML_ALGORITHM_INFO& entry) noexcept {
    return entry.dwGroupId == CRYPT_XML_GROUP_ID_SIGN ? keyFamilies::ForSignatureFamily(LinkOf(entry).sigFamily)
                                                      : nullptr;
}

const CRYPT_XML_ALGORITHM_INFO* FindAlgInfoByURI(const wchar_t* uri) {
    if (Empty(uri)) errors::Raise<hr::kInvalidArg>("algInfo::FindAlgInfoByURI", "algUri");
    return FirstInBoth([uri](const CRYPT_XML_ALGORITHM_INFO& e) { return std::wcscmp(e.wszAlgorithmURI, uri) == 0; });
}

const CRYPT_XML_ALGORITHM_INFO* FindAlgInfoByName(const wchar_t* name) {
    if (Empty(name)) errors::Raise<hr::kInvalidArg>("algInfo::FindAlgInfoByName", "algName");
    return FirstInBoth([name](const CRYPT_XML_ALGORITHM_INFO& e) { return _wcsicmp(e.wszName, name) == 0; });
}

const CRYPT_XML_ALGORITHM_INFO* FindAlgInfoByHashAlgID(const wchar_t* cngHashAlgId, DWORD groupId) {
    static const char* const kFunction = "algInfo::FindAlgInfoByHashAlgID";
    if (Empty(cngHashAlgId)) errors::Raise<hr::kInvalidArg>(kFunction, "cngHashAlgId");
    auto sameHash = [cngHashAlgId](const CRYPT_XML_ALGORITHM_INFO& e) {
        return _wcsicmp(e.wszCNGAlgid, cngHashAlgId) == 0;
    };
    if (groupId == CRYPT_XML_GROUP_ID_HASH) return First(kDigests, sameHash);
    if (groupId == CRYPT_XML_GROUP_ID_SIGN) return First(kSignatures, sameHash);
    errors::Raise<hr::kInvalidArg>(kFunction,
                                   "invalid groupId. Valid values: CRYPT_XML_GROUP_ID_HASH, CRYPT_XML_GROUP_ID_SIGN");
}

const CRYPT_XML_ALGORITHM_INFO* FindSigAlgInfo(const wchar_t* cngHashAlgId, const wchar_t* cngPubKeyAlgId) {
    static const char* const kFunction = "algInfo::FindSigAlgInfo";
    if (Empty(cngHashAlgId)) errors::Raise<hr::kInvalidArg>(kFunction, "cngHashAlgId");
    if (Empty(cngPubKeyAlgId)) errors::Raise<hr::kInvalidArg>(kFunction, "cngPubKeyAlgId");
    return First(kSignatures, [&](const CRYPT_XML_ALGORITHM_INFO& e) {
        return _wcsicmp(e.wszCNGAlgid, cngHashAlgId) == 0 && _wcsicmp(e.wszCNGExtraAlgid, cngPubKeyAlgId) == 0;
    });
}

void EnumHashAlgs(void* pvArg, PFN_CRYPT_XML_ENUM_ALG_INFO pfnEnumAlgInfo) {
    if (pfnEnumAlgInfo == nullptr) errors::Raise<hr::kInvalidArg>("algInfo::EnumHashAlgs", "pfnEnumAlgInfo");
    Enumerate(kDigests, pvArg, pfnEnumAlgInfo);
}

void EnumSigAlgs(void* pvArg, PFN_CRYPT_XML_ENUM_ALG_INFO pfnEnumAlgInfo) {
    if (pfnEnumAlgInfo == nullptr) errors::Raise<hr::kInvalidArg>("algInfo::EnumSigAlgs", "pfnEnumAlgInfo");
    Enumerate(kSignatures, pvArg, pfnEnumAlgInfo);
}

bool AlgorithmStructIsValid(const CRYPT_XML_ALGORITHM* alg) noexcept {
    if (alg == nullptr || alg->cbSize != sizeof(CRYPT_XML_ALGORITHM)) return false;
    if (!Empty(alg->wszAlgorithm)) {
        return !(alg->Encoded.pbData != nullptr && alg->Encoded.cbData != 0);
    }
    return alg->wszAlgorithm == nullptr && alg->Encoded.pbData != nullptr && alg->Encoded.cbData != 0 &&
           alg->Encoded.dwCharset < 4;
}

}  // namespace algInfo
