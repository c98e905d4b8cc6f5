// The parse guard in-process: the parser's own handlers still get every event, a refusal
// leaves the parser usable, and what the guard put in place is gone after the parse.
#include <gtest/gtest.h>

#include <string>

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>

#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "document/ParseGuard.hpp"
#include "document/XmlBlob.hpp"

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

CRYPT_XML_BLOB BlobOf(const std::string& bytes) {
    return {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(bytes.size()),
            reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

// Counts the events Xerces hands the parser itself.
class CountingParser : public xc::XercesDOMParser {
public:
    void startElement(const xc::XMLElementDecl& decl, unsigned int uriId, const XMLCh* prefix,
                      const xc::RefVectorOf<xc::XMLAttr>& attrs, XMLSize_t attrCount, bool isEmpty,
                      bool isRoot) override {
        ++elements;
        xc::XercesDOMParser::startElement(decl, uriId, prefix, attrs, attrCount, isEmpty, isRoot);
    }
    void entityDecl(const xc::DTDEntityDecl& decl, bool isPEDecl, bool isIgnored) override {
        ++entities;
        xc::XercesDOMParser::entityDecl(decl, isPEDecl, isIgnored);
    }
    int elements = 0;
    int entities = 0;
};

class ParseGuard : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }
};

HRESULT Parse(xc::XercesDOMParser& parser, const std::string& xml) {
    try {
        xmlBlob::CreateDomStructure(parser, BlobOf(xml));
        return S_OK;
    } catch (const CryptXmlException& e) {
        return e.hr();
    }
}

}  // namespace

TEST_F(ParseGuard, TheParsersOwnHandlersSeeEveryEvent) {
    CountingParser parser;
    ASSERT_EQ(S_OK, Parse(parser, "<!DOCTYPE a [<!ENTITY e \"x\">]><a><b/><c>&e;</c></a>"));
    EXPECT_EQ(3, parser.elements);
    EXPECT_EQ(1, parser.entities);
    EXPECT_STREQ(L"a", parser.getDocument()->getDocumentElement()->getTagName());
}

TEST_F(ParseGuard, ARefusalLeavesTheParserUsable) {
    CountingParser parser;
    EXPECT_EQ(hr::kInvalidFormat, Parse(parser, "<!DOCTYPE a [<!ENTITY % p \"x\">]><a/>"));
    EXPECT_EQ(0, parser.entities);  // refused before the parser saw it
    std::string deep;
    for (unsigned i = 0; i <= parseGuard::kMaxDepth; ++i) deep += "<d>";
    EXPECT_EQ(hr::kInvalidFormat, Parse(parser, deep));
    ASSERT_EQ(S_OK, Parse(parser, "<again><x/></again>"));
    EXPECT_STREQ(L"again", parser.getDocument()->getDocumentElement()->getTagName());
}

// After the guard, the parser is as the guard left it set up (nothing fetched, no
// validation) but no longer watched: a plain parse of it reaches no guard.
TEST_F(ParseGuard, NothingOfTheGuardStaysBehind) {
    xc::XercesDOMParser parser;
    ASSERT_EQ(S_OK, Parse(parser, "<a/>"));
    EXPECT_EQ(nullptr, parser.getXMLEntityResolver());
    EXPECT_EQ(nullptr, parser.getEntityResolver());
    EXPECT_TRUE(parser.getDisableDefaultEntityResolution());
    EXPECT_FALSE(parser.getLoadExternalDTD());
    EXPECT_EQ(static_cast<XMLSize_t>(parseGuard::kMaxEntityExpansions),
              parser.getSecurityManager()->getEntityExpansionLimit());
    // Deeper than the guard allows: without the guard, nothing refuses it.
    std::string deep;
    for (unsigned i = 0; i <= parseGuard::kMaxDepth; ++i) deep += "<d>";
    for (unsigned i = 0; i <= parseGuard::kMaxDepth; ++i) deep += "</d>";
    const std::string xml = deep;
    xc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), L"plain", false);
    parser.parse(source);
    EXPECT_EQ(0u, parser.getErrorCount());
}
