// Runs in a process of its own: the first tests see a library whose XML stack was never
// started, and the tests run in the order written.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "support/AlgorithmCallbacks.hpp"
#include "support/TraceLines.hpp"
#include "support/TestContexts.hpp"
#include "support/UnitTrace.hpp"
#include "algorithms/AlgorithmCatalog.hpp"
#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"

using testing_support::ExpectedLine;
using testing_support::LastLine;
using testing_support::TestDocContext;
using testing_support::TraceOn;
namespace xc = XERCES_CPP_NAMESPACE;

namespace {

bool XercesUp() { return xc::XMLPlatformUtils::fgMemoryManager != nullptr; }
bool XsecUp() { return XSECPlatformUtils::initCount != 0; }

// Parses a small document with the running stack, to show it really works.
bool ParsesADocument() {
    static const char kXml[] = "<a xmlns='urn:x'><b>text</b></a>";
    xc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(kXml), sizeof(kXml) - 1, L"test");
    xc::XercesDOMParser parser;
    parser.parse(source);
    return parser.getErrorCount() == 0 && parser.getDocument() != nullptr &&
           parser.getDocument()->getDocumentElement() != nullptr;
}

std::string AlgCanBeUsedFailure() {
    try {
        algInfo::AlgCanBeUsed(algInfo::FindAlgInfoByURI(L"http://www.w3.org/2000/09/xmldsig#sha1"));
    } catch (const CryptXmlTemplateException<hr::kObjectFaulted>& e) {
        return e.what();
    }
    return "<no exception>";
}

const char kNoProvider[] =
    "an error occurred. function: algInfo::AlgCanBeUsed. desc: Current state of the object is invalid. "
    "XSECPlatformUtils::g_cryptoProvider == NULL";

}  // namespace

TEST(Lifecycle, LoadingStartsNothing) {
    EXPECT_FALSE(XercesUp());
    EXPECT_FALSE(XsecUp());
    EXPECT_EQ(nullptr, XSECPlatformUtils::g_cryptoProvider);
}

TEST(Lifecycle, AlgorithmInfoExportsDoNotStartTheStack) {
    int calls = 0;
    EXPECT_EQ(S_OK, CryptXmlEnumAlgorithmInfo(CRYPT_XML_GROUP_ID_SIGN, 0, &calls, testing_support::CountAll));
    EXPECT_EQ(13, calls);
    EXPECT_NE(nullptr, CryptXmlFindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME, L"SHA1", 1, 0));
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), L"http://www.w3.org/2000/09/xmldsig#sha1", {}};
    CRYPT_XML_ALGORITHM_INFO* info = nullptr;
    EXPECT_EQ(S_OK, CryptXmlGetAlgorithmInfo(&alg, 0, &info));
    LocalFree(info);
    EXPECT_FALSE(XercesUp());
    EXPECT_FALSE(XsecUp());
}

TEST(Lifecycle, AlgCanBeUsedBeforeAnyOpenHasNoProvider) { EXPECT_EQ(kNoProvider, AlgCanBeUsedFailure()); }

TEST(Lifecycle, CleanupBeforeAnyOpenClosesAndStopsNothing) {
    TraceOn on;
    trace::TraceLine(L"marker");
    CryptXmlCleanup();
    EXPECT_FALSE(XercesUp());
    EXPECT_FALSE(XsecUp());
    EXPECT_EQ(ExpectedLine(L"marker"), LastLine());
}

TEST(Lifecycle, EnsureStartsXercesThenXmlSecurityOnce) {
    xmlStack::Ensure();
    EXPECT_TRUE(XercesUp());
    EXPECT_EQ(1, XSECPlatformUtils::initCount);
    xmlStack::Ensure();
    EXPECT_EQ(1, XSECPlatformUtils::initCount);
    EXPECT_TRUE(ParsesADocument());
    // The CryptoAPI provider is installed with the stack and answers for what Wine's
    // rsaenh computes.
    ASSERT_NE(nullptr, XSECPlatformUtils::g_cryptoProvider);
    EXPECT_TRUE(algInfo::AlgCanBeUsed(algInfo::FindAlgInfoByURI(L"http://www.w3.org/2000/09/xmldsig#sha1")));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"));
    EXPECT_TRUE(algInfo::HashOrSigAlgIsAvailable(L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512"));
}

TEST(Lifecycle, CanonicalisationMethodsAreAskedOfXmlSecurity) {
    for (const wchar_t* uri :
         {L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315",
          L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments", L"http://www.w3.org/2001/10/xml-exc-c14n#",
          L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments", L"http://www.w3.org/2006/12/xml-c14n11",
          L"http://www.w3.org/2006/12/xml-c14n11#WithComments"}) {
        EXPECT_TRUE(algInfo::CanonAlgIsAvailable(uri)) << uri;
    }
    EXPECT_FALSE(algInfo::CanonAlgIsAvailable(L"http://www.w3.org/TR/1999/REC-xslt-19991116"));
    EXPECT_FALSE(algInfo::CanonAlgIsAvailable(L""));
}

TEST(Lifecycle, CleanupClosesEveryContextThenStopsTheStack) {
    TraceOn on;
    for (int i = 0; i < 3; ++i) {
        auto ctx = std::make_unique<TestDocContext>();
        registry::AddContext(ctx.get());
        ctx.release();
    }
    CryptXmlCleanup();
    EXPECT_EQ(0, TestDocContext::live.load());
    EXPECT_EQ(ExpectedLine(L"CloseAllContexts. contexts is not empty"), LastLine());
    EXPECT_FALSE(XercesUp());
    EXPECT_FALSE(XsecUp());
    EXPECT_EQ(nullptr, XSECPlatformUtils::g_cryptoProvider);
}

TEST(Lifecycle, SecondCleanupDoesNothing) {
    TraceOn on;
    trace::TraceLine(L"after first cleanup");
    CryptXmlCleanup();
    EXPECT_FALSE(XercesUp());
    EXPECT_FALSE(XsecUp());
    EXPECT_EQ(ExpectedLine(L"after first cleanup"), LastLine());
}

TEST(Lifecycle, OpenCleanupOpenRestartsTheStack) {
    xmlStack::Ensure();
    EXPECT_TRUE(ParsesADocument());
    CryptXmlCleanup();
    xmlStack::Ensure();
    EXPECT_TRUE(XercesUp());
    EXPECT_EQ(1, XSECPlatformUtils::initCount);
    EXPECT_TRUE(ParsesADocument());
    CryptXmlCleanup();
    EXPECT_FALSE(XercesUp());
}

TEST(Lifecycle, HostXercesIsNotInitialisedAgainButCleanupStopsIt) {
    xc::XMLPlatformUtils::Initialize();  // the host's own start
    ASSERT_TRUE(XercesUp());
    xmlStack::Ensure();
    EXPECT_TRUE(XsecUp());
    // Xerces counts its starts: had ensureXmlStack started it again, one Terminate would
    // leave it running.
    CryptXmlCleanup();
    EXPECT_FALSE(XercesUp());
    EXPECT_FALSE(XsecUp());
}

TEST(Lifecycle, ConcurrentStartsHappenOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([] { xmlStack::Ensure(); });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(1, XSECPlatformUtils::initCount);
    CryptXmlCleanup();
    EXPECT_FALSE(XsecUp());
    EXPECT_FALSE(XercesUp());
}
