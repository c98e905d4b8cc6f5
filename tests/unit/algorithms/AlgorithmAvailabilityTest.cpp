// Availability checks against a scripted crypto provider installed into a running stack.
#include <gtest/gtest.h>

#include <xsec/utils/XSECPlatformUtils.hpp>

#include "ScriptedCryptoProvider.hpp"
#include "algorithms/AlgorithmCatalog.hpp"
#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "exports/Lifecycle.hpp"

using testing_support::HashOnlyCryptoProvider;
using testing_support::ScriptedCryptoProvider;

namespace {

constexpr unsigned kSha1 = 1, kSha256 = 4, kSha512 = 6, kGost = 7;
constexpr unsigned kRsa = 1, kHmac = 3, kGost2001 = 5;

class Availability : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }
    static void TearDownTestSuite() { lifecycle::Cleanup(); }
    // xml-security-c owns the installed provider and deletes it when it is replaced.
    void Install(XSECCryptoProvider* provider) { XSECPlatformUtils::SetCryptoProvider(provider); }
    void TearDown() override { XSECPlatformUtils::SetCryptoProvider(nullptr); }
};

const CRYPT_XML_ALGORITHM_INFO* Entry(const wchar_t* uri) { return algInfo::FindAlgInfoByURI(uri); }

}  // namespace

TEST_F(Availability, DigestNeedsOnlyItsHashType) {
    Install(new ScriptedCryptoProvider({kSha1, kGost}, {}));
    EXPECT_TRUE(algInfo::AlgCanBeUsed(Entry(L"http://www.w3.org/2000/09/xmldsig#sha1")));
    EXPECT_TRUE(algInfo::AlgCanBeUsed(Entry(L"http://www.w3.org/2001/04/xmldsig-more#gostr3411")));
    EXPECT_TRUE(algInfo::AlgCanBeUsed(Entry(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr3411")));
    EXPECT_FALSE(algInfo::AlgCanBeUsed(Entry(L"http://www.w3.org/2001/04/xmlenc#sha256")));
}

TEST_F(Availability, SignatureNeedsHashTypeAndFamily) {
    Install(new ScriptedCryptoProvider({kSha1, kSha256, kGost}, {kRsa, kGost2001}));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2000/09/xmldsig#rsa-sha1"));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"));
    EXPECT_FALSE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512"));
    EXPECT_FALSE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2000/09/xmldsig#hmac-sha1"));
    EXPECT_FALSE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2000/09/xmldsig#dsa-sha1"));
    EXPECT_TRUE(
        algInfo::HashOrSigAlgIsAvailable(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411"));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmldsig-more#gostr34102001-gostr3411"));
}

TEST_F(Availability, GostSignatureWithoutGostHashIsUnavailable) {
    Install(new ScriptedCryptoProvider({kSha1}, {kGost2001, kHmac}));
    EXPECT_FALSE(
        algInfo::HashOrSigAlgIsAvailable(L"urn:ietf:params:xml:ns:cpxmlsec:algorithms:gostr34102001-gostr3411"));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2000/09/xmldsig#hmac-sha1"));
}

TEST_F(Availability, ProviderThatCannotTellFamiliesSupportsNoSignature) {
    Install(new HashOnlyCryptoProvider({kSha1, kSha256, kSha512, kGost}));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmlenc#sha512"));
    EXPECT_FALSE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2000/09/xmldsig#rsa-sha1"));
}

TEST_F(Availability, HostCopyIsJudgedByTheCatalogEntry) {
    Install(new ScriptedCryptoProvider({kSha256}, {kRsa}));
    CRYPT_XML_ALGORITHM_INFO copy = *Entry(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256");
    copy.pvExtraInfo = nullptr;  // a host's copy may carry anything here
    EXPECT_TRUE(algInfo::AlgCanBeUsed(&copy));
    wchar_t unknown[] = L"http://example.org/unknown";
    copy.wszAlgorithmURI = unknown;
    EXPECT_FALSE(algInfo::AlgCanBeUsed(&copy));
    copy.wszAlgorithmURI = nullptr;
    try {
        algInfo::AlgCanBeUsed(&copy);
        FAIL() << "no exception";
    } catch (const CryptXmlTemplateException<hr::kInvalidArg>& e) {
        EXPECT_STREQ(
            "an error occurred. function: algInfo::AlgCanBeUsed. desc: One or more arguments are invalid  "
            "alg->wszAlgorithmURI",
            e.what());
    }
}

TEST_F(Availability, UnknownUriIsSimplyUnavailable) {
    Install(new ScriptedCryptoProvider({kSha1}, {kRsa}));
    EXPECT_FALSE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmldsig-more#md5"));
}
