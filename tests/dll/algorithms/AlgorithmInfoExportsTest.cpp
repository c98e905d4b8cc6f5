#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/AlgorithmCallbacks.hpp"
#include "support/TraceLines.hpp"
#include "support/CryptXmlDll.hpp"

using testing_support::CollectAlgorithm;
using testing_support::CountAndStop;
using testing_support::CryptXmlDll;
using testing_support::ExpectedFrameLine;

namespace {

const CryptXmlDll& dll() { return CryptXmlDll::Get(); }

constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);

std::wstring ArgError(const std::wstring& function, const std::wstring& detail) {
    return L"an error occurred. function: " + function + L". desc: One or more arguments are invalid  " + detail;
}

std::vector<const CRYPT_XML_ALGORITHM_INFO*> Enumerate(DWORD group) {
    std::vector<const CRYPT_XML_ALGORITHM_INFO*> all;
    EXPECT_EQ(S_OK, dll().EnumAlgorithmInfo(group, 0, &all, CollectAlgorithm));
    return all;
}

class AlgorithmExports : public ::testing::Test {
protected:
    void SetUp() override { dll().StartDebugging(); }
    void TearDown() override { dll().StopDebugging(); }
};

}  // namespace

TEST_F(AlgorithmExports, EnumeratesBothListsInOrder) {
    const auto digests = Enumerate(CRYPT_XML_GROUP_ID_HASH);
    ASSERT_EQ(10u, digests.size());
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", digests[0]->wszAlgorithmURI);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411", digests[1]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#sha1", digests[2]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmlenc#sha256", digests[3]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#sha384", digests[4]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmlenc#sha512", digests[5]->wszAlgorithmURI);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256", digests[6]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256", digests[7]->wszAlgorithmURI);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512", digests[8]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512", digests[9]->wszAlgorithmURI);
    const auto sigs = Enumerate(CRYPT_XML_GROUP_ID_SIGN);
    ASSERT_EQ(13u, sigs.size());
    EXPECT_STREQ(L"HMAC-SHA512", sigs[0]->wszName);
    EXPECT_STREQ(L"RSA-SHA1", sigs[8]->wszName);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", sigs[9]->wszAlgorithmURI);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411", sigs[10]->wszAlgorithmURI);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-256", sigs[11]->wszAlgorithmURI);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:hmac-gostr34112012-512", sigs[12]->wszAlgorithmURI);
    for (const auto* e : digests) {
        EXPECT_EQ(72u, e->cbSize);
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_GROUP_ID_HASH), e->dwGroupId);
        EXPECT_EQ(nullptr, e->wszCNGExtraAlgid);
    }
    for (const auto* e : sigs) {
        EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_GROUP_ID_SIGN), e->dwGroupId);
        EXPECT_NE(nullptr, e->wszCNGExtraAlgid);
        EXPECT_NE(nullptr, e->pvExtraInfo);
    }
}

TEST_F(AlgorithmExports, EnumOfAnUnknownGroupCallsNothing) {
    int calls = 0;
    EXPECT_EQ(S_OK, dll().EnumAlgorithmInfo(0, 0, &calls, CountAndStop));
    EXPECT_EQ(S_OK, dll().EnumAlgorithmInfo(3, 0xFFFFFFFF, &calls, CountAndStop));
    EXPECT_EQ(0, calls);
}

TEST_F(AlgorithmExports, EnumStopsWhenTheCallbackSaysFalse) {
    int calls = 0;
    EXPECT_EQ(S_OK, dll().EnumAlgorithmInfo(CRYPT_XML_GROUP_ID_SIGN, 0, &calls, CountAndStop));
    EXPECT_EQ(1, calls);
}

TEST_F(AlgorithmExports, EnumWithoutCallbackIsAnArgumentError) {
    EXPECT_EQ(kInvalidArg, dll().EnumAlgorithmInfo(CRYPT_XML_GROUP_ID_HASH, 0, nullptr, nullptr));
    EXPECT_EQ(
        ExpectedFrameLine(L"CryptXmlEnumAlgorithmInfo", ArgError(L"CryptXmlEnumAlgorithmInfo", L"pfnEnumAlgInfo")),
        dll().LastMessage());
}

TEST_F(AlgorithmExports, FindByEachType) {
    const auto* byUri =
        dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI,
                                L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", CRYPT_XML_GROUP_ID_SIGN, 0);
    ASSERT_NE(nullptr, byUri);
    EXPECT_STREQ(L"RSA-SHA256", byUri->wszName);

    const auto* byName =
        dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME, L"GOST R 34.11-94", CRYPT_XML_GROUP_ID_HASH, 0);
    ASSERT_NE(nullptr, byName);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", byName->wszAlgorithmURI);
    const auto* gostSig = dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME, L"GOST R 34.10/34.11-2001",
                                                  CRYPT_XML_GROUP_ID_SIGN, 0);
    ASSERT_NE(nullptr, gostSig);
    EXPECT_STREQ(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411", gostSig->wszAlgorithmURI);

    const auto* hmac =
        dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID, L"SHA256", CRYPT_XML_GROUP_ID_SIGN, 0);
    ASSERT_NE(nullptr, hmac);
    EXPECT_STREQ(L"HMAC-SHA256", hmac->wszName);
    const auto* sha256 =
        dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID, L"SHA256", CRYPT_XML_GROUP_ID_HASH, 0);
    ASSERT_NE(nullptr, sha256);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmlenc#sha256", sha256->wszAlgorithmURI);

    const wchar_t* pair[2] = {L"sha1", L"rsa"};
    const auto* rsa =
        dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_SIGN_ALGID, pair, CRYPT_XML_GROUP_ID_SIGN, 0);
    ASSERT_NE(nullptr, rsa);
    EXPECT_STREQ(L"http://www.w3.org/2000/09/xmldsig#rsa-sha1", rsa->wszAlgorithmURI);
    const wchar_t* ecdsa[2] = {L"SHA1", L"ECDSA"};
    EXPECT_EQ(nullptr, dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_SIGN_ALGID, ecdsa,
                                               CRYPT_XML_GROUP_ID_SIGN, 0));
    // The same record every time: it belongs to the library.
    EXPECT_EQ(byUri, dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI,
                                             L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", 2, 0));
}

TEST_F(AlgorithmExports, StreebogDigestEntries) {
    const struct {
        const wchar_t* uri;
        const wchar_t* name;
        const wchar_t* urn;  // the entry lookups by name and CNG id find
    } kStreebog[] = {
        {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256", L"GOST R 34.11-2012-256",
         L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256"},
        {L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-256", L"GOST R 34.11-2012-256",
         L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-256"},
        {L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512", L"GOST R 34.11-2012-512",
         L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512"},
        {L"http://www.w3.org/2001/04/xmldsig-more#gostr34112012-512", L"GOST R 34.11-2012-512",
         L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34112012-512"},
    };
    for (const auto& s : kStreebog) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(s.uri)));
        for (DWORD group : {CRYPT_XML_GROUP_ID_HASH, CRYPT_XML_GROUP_ID_SIGN}) {
            const auto* byUri = dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI, s.uri, group, 0);
            ASSERT_NE(nullptr, byUri);
            EXPECT_EQ(72u, byUri->cbSize);
            EXPECT_STREQ(s.uri, byUri->wszAlgorithmURI);
            EXPECT_STREQ(s.name, byUri->wszName);
            EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_GROUP_ID_HASH), byUri->dwGroupId);
            EXPECT_STREQ(s.name, byUri->wszCNGAlgid);
            EXPECT_EQ(nullptr, byUri->wszCNGExtraAlgid);
            EXPECT_EQ(0u, byUri->dwSignFlags);
            EXPECT_EQ(0u, byUri->dwVerifyFlags);
            EXPECT_EQ(nullptr, byUri->pvPaddingInfo);
            EXPECT_NE(nullptr, byUri->pvExtraInfo);
        }
        // By name and by CNG id the URN entry answers; among signatures the HMAC of the hash.
        const auto* byName =
            dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME, s.name, CRYPT_XML_GROUP_ID_HASH, 0);
        ASSERT_NE(nullptr, byName);
        EXPECT_STREQ(s.urn, byName->wszAlgorithmURI);
        EXPECT_EQ(dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI, s.urn, CRYPT_XML_GROUP_ID_HASH, 0),
                  byName);
        const auto* byCngId =
            dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID, s.name, CRYPT_XML_GROUP_ID_HASH, 0);
        EXPECT_EQ(byName, byCngId);
        const auto* sigByCngId =
            dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID, s.name, CRYPT_XML_GROUP_ID_SIGN, 0);
        ASSERT_NE(nullptr, sigByCngId);
        EXPECT_STREQ(L"HMAC", sigByCngId->wszCNGExtraAlgid);
        EXPECT_STREQ(s.name, sigByCngId->wszCNGAlgid);

        CRYPT_XML_ALGORITHM alg = {};
        alg.cbSize = sizeof(alg);
        alg.wszAlgorithm = s.uri;
        CRYPT_XML_ALGORITHM_INFO* info = nullptr;
        ASSERT_EQ(S_OK, dll().GetAlgorithmInfo(&alg, 0, &info));
        ASSERT_NE(nullptr, info);
        EXPECT_EQ(
            0, memcmp(dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI, s.uri, 1, 0), info, sizeof(*info)));
        EXPECT_EQ(nullptr, LocalFree(info));
    }
    // The older GOST digest keeps its lookups.
    const auto* gost94 = dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID, L"GOST R 34.11-94",
                                                 CRYPT_XML_GROUP_ID_HASH, 0);
    ASSERT_NE(nullptr, gost94);
    EXPECT_STREQ(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411", gost94->wszAlgorithmURI);
}

TEST_F(AlgorithmExports, FindByUriIgnoresTheGroup) {
    const auto* sig =
        dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI, L"http://www.w3.org/2000/09/xmldsig#dsa-sha1",
                                CRYPT_XML_GROUP_ID_HASH, 0);
    ASSERT_NE(nullptr, sig);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_GROUP_ID_SIGN), sig->dwGroupId);
    EXPECT_EQ(nullptr, dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI,
                                               L"HTTP://www.w3.org/2000/09/xmldsig#sha1", CRYPT_XML_GROUP_ID_HASH, 0));
}

TEST_F(AlgorithmExports, FindFailuresAnswerNullAndTrace) {
    struct Case {
        DWORD type;
        const void* findBy;
        DWORD group;
        std::wstring line;
    };
    const wchar_t* emptyPair[2] = {L"", L"RSA"};
    const Case cases[] = {
        {1, nullptr, 1, ArgError(L"CryptXmlFindAlgorithmInfo", L"NULL == pvFindBy")},
        {1, L"x", 0, ArgError(L"CryptXmlFindAlgorithmInfo", L"invalid dwGroupId")},
        {1, L"x", 3, ArgError(L"CryptXmlFindAlgorithmInfo", L"invalid dwGroupId")},
        {5, L"x", 1, ArgError(L"CryptXmlFindAlgorithmInfo", L"invalid dwFindByType")},
        {0, L"x", 2, ArgError(L"CryptXmlFindAlgorithmInfo", L"invalid dwFindByType")},
        {1, L"", 1, ArgError(L"algInfo::FindAlgInfoByURI", L"algUri")},
        {2, L"", 2, ArgError(L"algInfo::FindAlgInfoByName", L"algName")},
        {3, L"", 2, ArgError(L"algInfo::FindAlgInfoByHashAlgID", L"cngHashAlgId")},
        {4, emptyPair, 2, ArgError(L"algInfo::FindSigAlgInfo", L"cngHashAlgId")},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(nullptr, dll().FindAlgorithmInfo(c.type, c.findBy, c.group, 0));
        EXPECT_EQ(ExpectedFrameLine(L"CryptXmlFindAlgorithmInfo", c.line), dll().LastMessage());
    }
}

TEST_F(AlgorithmExports, NotFoundIsNullWithoutATraceLine) {
    dll().FindAlgorithmInfo(1, nullptr, 1, 0);  // leaves a known line behind
    const std::wstring before = dll().LastMessage();
    EXPECT_EQ(nullptr, dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME, L"MD5", 1, 0));
    EXPECT_EQ(before, dll().LastMessage());
}

TEST_F(AlgorithmExports, GetAlgorithmInfoCopiesTheEntry) {
    CRYPT_XML_ALGORITHM alg = {};
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411";
    CRYPT_XML_ALGORITHM_INFO* info = nullptr;
    ASSERT_EQ(S_OK, dll().GetAlgorithmInfo(&alg, 0, &info));
    ASSERT_NE(nullptr, info);
    const auto* entry = dll().FindAlgorithmInfo(1, alg.wszAlgorithm, 2, 0);
    ASSERT_NE(nullptr, entry);
    EXPECT_NE(entry, info);                            // a copy of its own ...
    EXPECT_EQ(0, memcmp(entry, info, sizeof(*info)));  // ... field for field, strings shared
    EXPECT_EQ(LocalSize(info), sizeof(CRYPT_XML_ALGORITHM_INFO));
    EXPECT_EQ(nullptr, LocalFree(info));
}

TEST_F(AlgorithmExports, GetAlgorithmInfoArgumentChecksInOrder) {
    CRYPT_XML_ALGORITHM_INFO* info = nullptr;
    CRYPT_XML_ALGORITHM alg = {};
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = L"http://www.w3.org/2000/09/xmldsig#sha1";

    EXPECT_EQ(kInvalidArg, dll().GetAlgorithmInfo(nullptr, 0, nullptr));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetAlgorithmInfo", ArgError(L"CryptXmlGetAlgorithmInfo", L"ppAlgInfo")),
              dll().LastMessage());
    EXPECT_EQ(kInvalidArg, dll().GetAlgorithmInfo(nullptr, 0, &info));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetAlgorithmInfo", ArgError(L"CryptXmlGetAlgorithmInfo", L"pXmlAlgorithm")),
              dll().LastMessage());

    CRYPT_XML_ALGORITHM badSize = alg;
    badSize.cbSize = 24;
    EXPECT_EQ(kInvalidArg, dll().GetAlgorithmInfo(&badSize, 0, &info));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetAlgorithmInfo",
                                ArgError(L"CryptXmlGetAlgorithmInfo", L"pXmlAlgorithm->wszAlgorithm")),
              dll().LastMessage());

    BYTE bytes[3] = {1, 2, 3};
    CRYPT_XML_ALGORITHM encodedOnly = {};
    encodedOnly.cbSize = sizeof(encodedOnly);
    encodedOnly.Encoded.pbData = bytes;
    encodedOnly.Encoded.cbData = 3;
    EXPECT_EQ(kInvalidArg, dll().GetAlgorithmInfo(&encodedOnly, 0, &info));  // well formed, but no URI
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetAlgorithmInfo",
                                ArgError(L"CryptXmlGetAlgorithmInfo", L"pXmlAlgorithm->wszAlgorithm")),
              dll().LastMessage());
    EXPECT_EQ(nullptr, info);
}

TEST_F(AlgorithmExports, EncodedParametersAreNotImplemented) {
    BYTE bytes[1] = {0};
    CRYPT_XML_ALGORITHM alg = {};
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = L"http://www.w3.org/2000/09/xmldsig#sha1";
    alg.Encoded.pbData = bytes;  // cbData stays 0
    CRYPT_XML_ALGORITHM_INFO* info = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x80004001L), dll().GetAlgorithmInfo(&alg, 0, &info));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetAlgorithmInfo",
                                L"an error occurred. function: CryptXmlGetAlgorithmInfo. "
                                L"desc: Not implemented. pXmlAlgorithm->Encoded"),
              dll().LastMessage());
    EXPECT_EQ(nullptr, info);
}

TEST_F(AlgorithmExports, UnknownAlgorithmLeavesTheOutputAlone) {
    CRYPT_XML_ALGORITHM alg = {};
    alg.cbSize = sizeof(alg);
    alg.wszAlgorithm = L"http://www.w3.org/2001/04/xmldsig-more#md5";
    auto* sentinel = reinterpret_cast<CRYPT_XML_ALGORITHM_INFO*>(static_cast<uintptr_t>(0x1234));
    CRYPT_XML_ALGORITHM_INFO* info = sentinel;
    EXPECT_EQ(static_cast<HRESULT>(0x80092104L), dll().GetAlgorithmInfo(&alg, 0, &info));
    EXPECT_EQ(ExpectedFrameLine(L"CryptXmlGetAlgorithmInfo",
                                L"an error occurred. function: CryptXmlGetAlgorithmInfo. "
                                L"desc: Unsupported algorithm. specified algorithm could "
                                L"not be found."),
              dll().LastMessage());
    EXPECT_EQ(sentinel, info);
}

TEST_F(AlgorithmExports, EveryCatalogUriRoundTripsThroughGetAlgorithmInfo) {
    for (DWORD group : {CRYPT_XML_GROUP_ID_HASH, CRYPT_XML_GROUP_ID_SIGN}) {
        for (const auto* entry : Enumerate(group)) {
            CRYPT_XML_ALGORITHM alg = {};
            alg.cbSize = sizeof(alg);
            alg.wszAlgorithm = entry->wszAlgorithmURI;
            CRYPT_XML_ALGORITHM_INFO* info = nullptr;
            ASSERT_EQ(S_OK, dll().GetAlgorithmInfo(&alg, 0, &info)) << entry->wszName;
            EXPECT_EQ(0, memcmp(entry, info, sizeof(*info)));
            LocalFree(info);
        }
    }
}
