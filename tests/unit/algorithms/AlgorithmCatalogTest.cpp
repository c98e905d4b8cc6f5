#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/AlgorithmCallbacks.hpp"
#include "algorithms/AlgorithmCatalog.hpp"
#include "base/CryptXmlException.hpp"

using testing_support::CollectAlgorithm;
using testing_support::CountAndStop;

namespace {

struct Expected {
    const wchar_t* uri;
    const wchar_t* name;
    const wchar_t* cngHash;
    const wchar_t* cngKey;
    DWORD hashType;
    DWORD family;
};

const Expected kDigests[] = {
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", L"GOST R 34.11-94", L"GOST R 34.11-94", nullptr, 7, 0},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411", L"GOST R 34.11-94", L"GOST R 34.11-94", nullptr, 7, 0},
    {L"http://www.w3.org/2000/09/xmldsig#sha1", L"SHA1", L"SHA1", nullptr, 1, 0},
    {L"http://www.w3.org/2001/04/xmlenc#sha256", L"SHA256", L"SHA256", nullptr, 4, 0},
    {L"http://www.w3.org/2001/04/xmldsig-more#sha384", L"SHA384", L"SHA384", nullptr, 5, 0},
    {L"http://www.w3.org/2001/04/xmlenc#sha512", L"SHA512", L"SHA512", nullptr, 6, 0},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256", L"GOST R 34.11-2012-256",
     L"GOST R 34.11-2012-256", nullptr, 8, 0},
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256", L"GOST R 34.11-2012-256", L"GOST R 34.11-2012-256",
     nullptr, 8, 0},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512", L"GOST R 34.11-2012-512",
     L"GOST R 34.11-2012-512", nullptr, 9, 0},
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512", L"GOST R 34.11-2012-512", L"GOST R 34.11-2012-512",
     nullptr, 9, 0},
};

const Expected kSignatures[] = {
    {L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512", L"HMAC-SHA512", L"SHA512", L"HMAC", 6, 3},
    {L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha384", L"HMAC-SHA384", L"SHA384", L"HMAC", 5, 3},
    {L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256", L"HMAC-SHA256", L"SHA256", L"HMAC", 4, 3},
    {L"http://www.w3.org/2000/09/xmldsig#hmac-sha1", L"HMAC-SHA1", L"SHA1", L"HMAC", 1, 3},
    {L"http://www.w3.org/2000/09/xmldsig#dsa-sha1", L"DSA-SHA1", L"SHA1", L"DSA", 1, 2},
    {L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", L"RSA-SHA512", L"SHA512", L"RSA", 6, 1},
    {L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384", L"RSA-SHA384", L"SHA384", L"RSA", 5, 1},
    {L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", L"RSA-SHA256", L"SHA256", L"RSA", 4, 1},
    {L"http://www.w3.org/2000/09/xmldsig#rsa-sha1", L"RSA-SHA1", L"SHA1", L"RSA", 1, 1},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", L"GOST R 34.10/34.11-2001",
     L"GOST R 34.11-94", L"GOST R 34.10-2001", 7, 5},
    {L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411", L"GOST R 34.10/34.11-2001", L"GOST R 34.11-94",
     L"GOST R 34.10-2001", 7, 5},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256", L"HMAC-GOSTR3411-2012-256",
     L"GOST R 34.11-2012-256", L"HMAC", 8, 3},
    {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512", L"HMAC-GOSTR3411-2012-512",
     L"GOST R 34.11-2012-512", L"HMAC", 9, 3},
};

std::wstring Str(const wchar_t* s) { return s == nullptr ? L"<null>" : s; }

void ExpectEntry(const Expected& want, DWORD group, const CRYPT_XML_ALGORITHM_INFO* got) {
    ASSERT_NE(nullptr, got);
    EXPECT_EQ(72u, got->cbSize);
    EXPECT_EQ(Str(want.uri), Str(got->wszAlgorithmURI));
    EXPECT_EQ(Str(want.name), Str(got->wszName));
    EXPECT_EQ(group, got->dwGroupId);
    EXPECT_EQ(Str(want.cngHash), Str(got->wszCNGAlgid));
    EXPECT_EQ(Str(want.cngKey), Str(got->wszCNGExtraAlgid));
    EXPECT_EQ(0u, got->dwSignFlags);
    EXPECT_EQ(0u, got->dwVerifyFlags);
    EXPECT_EQ(nullptr, got->pvPaddingInfo);
    ASSERT_NE(nullptr, got->pvExtraInfo);
    EXPECT_EQ(want.hashType, algInfo::LinkOf(*got).xsecHashType);
    EXPECT_EQ(want.family, algInfo::LinkOf(*got).sigFamily);
}

template <class F>
std::string RaisedMessage(F&& f) {
    try {
        f();
    } catch (const CryptXmlTemplateException<hr::kInvalidArg>& e) {
        return e.what();
    }
    return "<no exception>";
}

std::string ArgError(const char* function, const char* detail) {
    return std::string("an error occurred. function: ") + function + ". desc: One or more arguments are invalid  " +
           detail;
}

}  // namespace

TEST(AlgorithmCatalog, DigestListInOrder) {
    std::vector<const CRYPT_XML_ALGORITHM_INFO*> got;
    algInfo::EnumHashAlgs(&got, CollectAlgorithm);
    ASSERT_EQ(10u, got.size());
    for (size_t i = 0; i < got.size(); ++i) ExpectEntry(kDigests[i], CRYPT_XML_GROUP_ID_HASH, got[i]);
}

TEST(AlgorithmCatalog, SignatureListInOrder) {
    std::vector<const CRYPT_XML_ALGORITHM_INFO*> got;
    algInfo::EnumSigAlgs(&got, CollectAlgorithm);
    ASSERT_EQ(13u, got.size());
    for (size_t i = 0; i < got.size(); ++i) ExpectEntry(kSignatures[i], CRYPT_XML_GROUP_ID_SIGN, got[i]);
}

TEST(AlgorithmCatalog, EnumerationStopsAtTheFirstFalse) {
    int calls = 0;
    algInfo::EnumSigAlgs(&calls, CountAndStop);
    EXPECT_EQ(1, calls);
    algInfo::EnumHashAlgs(&calls, CountAndStop);
    EXPECT_EQ(2, calls);
}

TEST(AlgorithmCatalog, EveryUriFindsItsOwnEntry) {
    for (const Expected& e : kDigests) ExpectEntry(e, CRYPT_XML_GROUP_ID_HASH, algInfo::FindAlgInfoByURI(e.uri));
    for (const Expected& e : kSignatures) ExpectEntry(e, CRYPT_XML_GROUP_ID_SIGN, algInfo::FindAlgInfoByURI(e.uri));
}

TEST(AlgorithmCatalog, UriLookupIsCaseSensitiveAndWhole) {
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"HTTP://www.w3.org/2000/09/xmldsig#sha1"));
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"http://www.w3.org/2000/09/xmldsig#sha"));
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"http://www.w3.org/2000/09/xmldsig#sha1 "));
}

TEST(AlgorithmCatalog, GostNamesFindTheFirstListedUri) {
    const CRYPT_XML_ALGORITHM_INFO* digest = algInfo::FindAlgInfoByName(L"GOST R 34.11-94");
    ASSERT_NE(nullptr, digest);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", digest->wszAlgorithmURI);
    const CRYPT_XML_ALGORITHM_INFO* sig = algInfo::FindAlgInfoByName(L"GOST R 34.10/34.11-2001");
    ASSERT_NE(nullptr, sig);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", sig->wszAlgorithmURI);
}

TEST(AlgorithmCatalog, StreebogNamesAndCngIdsFindTheUrn) {
    const struct {
        const wchar_t* name;
        const wchar_t* urn;
        const wchar_t* more;
        DWORD hashType;
        const wchar_t* hmac;  // the signature entry a lookup by the hash's CNG id finds
    } kStreebog[] = {
        {L"GOST R 34.11-2012-256", L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256",
         L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256", 8,
         L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256"},
        {L"GOST R 34.11-2012-512", L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512",
         L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512", 9,
         L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512"},
    };
    for (const auto& s : kStreebog) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(s.name)));
        const CRYPT_XML_ALGORITHM_INFO* byName = algInfo::FindAlgInfoByName(s.name);
        ASSERT_NE(nullptr, byName);
        EXPECT_STREQ(s.urn, byName->wszAlgorithmURI);
        EXPECT_EQ(byName, algInfo::FindAlgInfoByURI(s.urn));
        const CRYPT_XML_ALGORITHM_INFO* byCngId = algInfo::FindAlgInfoByHashAlgID(s.name, CRYPT_XML_GROUP_ID_HASH);
        EXPECT_EQ(byName, byCngId);
        const CRYPT_XML_ALGORITHM_INFO* sig = algInfo::FindAlgInfoByHashAlgID(s.name, CRYPT_XML_GROUP_ID_SIGN);
        ASSERT_NE(nullptr, sig);
        EXPECT_STREQ(s.hmac, sig->wszAlgorithmURI);
        const CRYPT_XML_ALGORITHM_INFO* more = algInfo::FindAlgInfoByURI(s.more);
        ASSERT_NE(nullptr, more);
        EXPECT_NE(byName, more);
        EXPECT_STREQ(s.name, more->wszName);
        EXPECT_EQ(s.hashType, algInfo::LinkOf(*byName).xsecHashType);
        EXPECT_EQ(s.hashType, algInfo::LinkOf(*more).xsecHashType);
        EXPECT_EQ(nullptr, algInfo::FamilyOf(*byName));
    }
    // The names differ from GOST R 34.11-94 only after its prefix: no lookup confuses them.
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByName(L"GOST R 34.11-2012"));
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411",
                 algInfo::FindAlgInfoByName(L"GOST R 34.11-94")->wszAlgorithmURI);
    // A one-character slip in the URI finds nothing.
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012256"));
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411-2012-256"));
}

TEST(AlgorithmCatalog, HmacStreebogEntries) {
    const struct {
        const wchar_t* uri;
        const wchar_t* name;
        const wchar_t* cngHash;
        DWORD hashType;
    } kHmacs[] = {
        {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256", L"HMAC-GOSTR3411-2012-256",
         L"GOST R 34.11-2012-256", 8},
        {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512", L"HMAC-GOSTR3411-2012-512",
         L"GOST R 34.11-2012-512", 9},
    };
    for (const auto& h : kHmacs) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(h.uri)));
        const CRYPT_XML_ALGORITHM_INFO* byUri = algInfo::FindAlgInfoByURI(h.uri);
        ASSERT_NE(nullptr, byUri);
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_GROUP_ID_SIGN), byUri->dwGroupId);
        EXPECT_STREQ(h.name, byUri->wszName);
        EXPECT_STREQ(h.cngHash, byUri->wszCNGAlgid);
        EXPECT_STREQ(L"HMAC", byUri->wszCNGExtraAlgid);
        EXPECT_EQ(h.hashType, algInfo::LinkOf(*byUri).xsecHashType);
        EXPECT_EQ(3u, algInfo::LinkOf(*byUri).sigFamily);
        const keys::KeyFamily* family = algInfo::FamilyOf(*byUri);
        ASSERT_NE(nullptr, family);
        EXPECT_EQ(algInfo::FamilyOf(*algInfo::FindAlgInfoByURI(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256")),
                  family);
        EXPECT_EQ(byUri, algInfo::FindAlgInfoByName(h.name));
        EXPECT_EQ(byUri, algInfo::FindSigAlgInfo(h.cngHash, L"HMAC"));
        EXPECT_EQ(byUri, algInfo::FindAlgInfoByHashAlgID(h.cngHash, CRYPT_XML_GROUP_ID_SIGN));
        // The digest of the same CNG id stays the hash group's answer.
        const CRYPT_XML_ALGORITHM_INFO* digest = algInfo::FindAlgInfoByHashAlgID(h.cngHash, CRYPT_XML_GROUP_ID_HASH);
        ASSERT_NE(nullptr, digest);
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_GROUP_ID_HASH), digest->dwGroupId);
    }
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256",
                 algInfo::FindAlgInfoByName(L"hmac-gostr3411-2012-256")->wszAlgorithmURI);
    // The older HMAC lookups are unchanged.
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256",
                 algInfo::FindSigAlgInfo(L"SHA256", L"HMAC")->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512",
                 algInfo::FindAlgInfoByName(L"HMAC-SHA512")->wszAlgorithmURI);
    // No xmldsig-more HMAC-Streebog URI is listed, nor a slip of the URN.
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"http://www.w3.org/2001/04/xmldsig-more#hmac-gostr34112012-256"));
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByURI(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012256"));
}

TEST(AlgorithmCatalog, NameLookupIgnoresCase) {
    const CRYPT_XML_ALGORITHM_INFO* e = algInfo::FindAlgInfoByName(L"rsa-sha256");
    ASSERT_NE(nullptr, e);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", e->wszAlgorithmURI);
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByName(L"RSA-SHA224"));
}

TEST(AlgorithmCatalog, CngIdLookupDependsOnTheGroup) {
    const CRYPT_XML_ALGORITHM_INFO* sig = algInfo::FindAlgInfoByHashAlgID(L"SHA256", CRYPT_XML_GROUP_ID_SIGN);
    ASSERT_NE(nullptr, sig);
    EXPECT_STREQ(L"HMAC-SHA256", sig->wszName);
    const CRYPT_XML_ALGORITHM_INFO* digest = algInfo::FindAlgInfoByHashAlgID(L"sha256", CRYPT_XML_GROUP_ID_HASH);
    ASSERT_NE(nullptr, digest);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmlenc#sha256", digest->wszAlgorithmURI);
    const CRYPT_XML_ALGORITHM_INFO* sha1 = algInfo::FindAlgInfoByHashAlgID(L"SHA1", CRYPT_XML_GROUP_ID_SIGN);
    ASSERT_NE(nullptr, sha1);
    EXPECT_STREQ(L"HMAC-SHA1", sha1->wszName);
    const CRYPT_XML_ALGORITHM_INFO* gost = algInfo::FindAlgInfoByHashAlgID(L"GOST R 34.11-94", CRYPT_XML_GROUP_ID_SIGN);
    ASSERT_NE(nullptr, gost);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", gost->wszAlgorithmURI);
    EXPECT_EQ(nullptr, algInfo::FindAlgInfoByHashAlgID(L"MD5", CRYPT_XML_GROUP_ID_HASH));
}

TEST(AlgorithmCatalog, SignatureLookupNeedsBothIds) {
    const CRYPT_XML_ALGORITHM_INFO* rsa = algInfo::FindSigAlgInfo(L"sha1", L"rsa");
    ASSERT_NE(nullptr, rsa);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#rsa-sha1", rsa->wszAlgorithmURI);
    EXPECT_EQ(nullptr, algInfo::FindSigAlgInfo(L"SHA1", L"ECDSA"));
    const CRYPT_XML_ALGORITHM_INFO* dsa = algInfo::FindSigAlgInfo(L"SHA1", L"DSA");
    ASSERT_NE(nullptr, dsa);
    EXPECT_STREQ(L"DSA-SHA1", dsa->wszName);
    const CRYPT_XML_ALGORITHM_INFO* gost = algInfo::FindSigAlgInfo(L"GOST R 34.11-94", L"GOST R 34.10-2001");
    ASSERT_NE(nullptr, gost);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", gost->wszAlgorithmURI);
}

TEST(AlgorithmCatalog, ArgumentErrors) {
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByURI", "algUri"),
              RaisedMessage([] { algInfo::FindAlgInfoByURI(nullptr); }));
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByURI", "algUri"), RaisedMessage([] { algInfo::FindAlgInfoByURI(L""); }));
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByName", "algName"),
              RaisedMessage([] { algInfo::FindAlgInfoByName(L""); }));
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByName", "algName"),
              RaisedMessage([] { algInfo::FindAlgInfoByName(nullptr); }));
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByHashAlgID", "cngHashAlgId"),
              RaisedMessage([] { algInfo::FindAlgInfoByHashAlgID(nullptr, 1); }));
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByHashAlgID",
                       "invalid groupId. Valid values: CRYPT_XML_GROUP_ID_HASH, CRYPT_XML_GROUP_ID_SIGN"),
              RaisedMessage([] { algInfo::FindAlgInfoByHashAlgID(L"SHA1", 3); }));
    EXPECT_EQ(ArgError("algInfo::FindAlgInfoByHashAlgID",
                       "invalid groupId. Valid values: CRYPT_XML_GROUP_ID_HASH, CRYPT_XML_GROUP_ID_SIGN"),
              RaisedMessage([] { algInfo::FindAlgInfoByHashAlgID(L"SHA1", 0); }));
    EXPECT_EQ(ArgError("algInfo::FindSigAlgInfo", "cngHashAlgId"),
              RaisedMessage([] { algInfo::FindSigAlgInfo(L"", nullptr); }));
    EXPECT_EQ(ArgError("algInfo::FindSigAlgInfo", "cngPubKeyAlgId"),
              RaisedMessage([] { algInfo::FindSigAlgInfo(L"SHA1", L""); }));
    EXPECT_EQ(ArgError("algInfo::EnumHashAlgs", "pfnEnumAlgInfo"),
              RaisedMessage([] { algInfo::EnumHashAlgs(nullptr, nullptr); }));
    EXPECT_EQ(ArgError("algInfo::EnumSigAlgs", "pfnEnumAlgInfo"),
              RaisedMessage([] { algInfo::EnumSigAlgs(nullptr, nullptr); }));
    EXPECT_EQ(ArgError("algInfo::HashOrSigAlgIsAvailable", "NULL==algorithm"),
              RaisedMessage([] { algInfo::HashOrSigAlgIsAvailable(nullptr); }));
    EXPECT_EQ(ArgError("algInfo::CanonAlgIsAvailable", "NULL==algorithm"),
              RaisedMessage([] { algInfo::CanonAlgIsAvailable(nullptr); }));
    EXPECT_EQ(ArgError("algInfo::AlgCanBeUsed", "alg == NULL"), RaisedMessage([] { algInfo::AlgCanBeUsed(nullptr); }));
}

TEST(AlgorithmStruct, WellFormedShapes) {
    BYTE data[4] = {1, 2, 3, 4};
    CRYPT_XML_ALGORITHM alg = {};
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = L"http://www.w3.org/2000/09/xmldsig#sha1";
    EXPECT_TRUE(algInfo::AlgorithmStructIsValid(&alg));
    alg.Encoded.pbData = data;  // non-null with no length is still "not both set"
    EXPECT_TRUE(algInfo::AlgorithmStructIsValid(&alg));
    alg.Encoded.cbData = 4;
    EXPECT_FALSE(algInfo::AlgorithmStructIsValid(&alg));
    alg.Encoded.pbData = nullptr;
    EXPECT_TRUE(algInfo::AlgorithmStructIsValid(&alg));

    CRYPT_XML_ALGORITHM encoded = {};
    encoded.cbSize = sizeof(encoded);
    encoded.Encoded.pbData = data;
    encoded.Encoded.cbData = 4;
    encoded.Encoded.dwCharset = CRYPT_XML_CHARSET_UTF16BE;
    EXPECT_TRUE(algInfo::AlgorithmStructIsValid(&encoded));
    encoded.Encoded.dwCharset = static_cast<CRYPT_XML_CHARSET>(4);
    EXPECT_FALSE(algInfo::AlgorithmStructIsValid(&encoded));
    encoded.Encoded.dwCharset = CRYPT_XML_CHARSET_AUTO;
    encoded.Encoded.cbData = 0;
    EXPECT_FALSE(algInfo::AlgorithmStructIsValid(&encoded));

    CRYPT_XML_ALGORITHM empty = {};
    empty.cbSize = sizeof(empty);
    empty.wszAlgorithm = L"";
    EXPECT_FALSE(algInfo::AlgorithmStructIsValid(&empty));
    empty.wszAlgorithm = L"x";
    empty.cbSize = 31;
    EXPECT_FALSE(algInfo::AlgorithmStructIsValid(&empty));
    EXPECT_FALSE(algInfo::AlgorithmStructIsValid(nullptr));
}
