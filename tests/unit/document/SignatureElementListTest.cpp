#include <gtest/gtest.h>

#include <string>

#include <xercesc/util/PlatformUtils.hpp>

#include "crypto/XmlStack.hpp"
#include "document/SignatureElementList.hpp"
#include "document/XmlBlob.hpp"

namespace xc = XERCES_CPP_NAMESPACE;

namespace {

constexpr char kDs[] = "xmlns:ds='http://www.w3.org/2000/09/xmldsig#'";

class SignatureElementListTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }

    const xc::DOMDocument* Parse(const std::string& xml) {
        CRYPT_XML_BLOB blob{CRYPT_XML_CHARSET_UTF8, static_cast<ULONG>(xml.size()),
                            reinterpret_cast<BYTE*>(const_cast<char*>(xml.data()))};
        xmlBlob::CreateDomStructure(parser_, blob);
        return parser_.getDocument();
    }

    static std::wstring IdOf(const xc::DOMElement* element) { return element->getAttribute(L"Id"); }

    xc::XercesDOMParser parser_;
};

}  // namespace

TEST_F(SignatureElementListTest, NestedSignatureIsNotCollected) {
    const std::string xml = std::string("<a ") + kDs +
                            "><ds:Signature Id='S1'><x><ds:Signature Id='S2'/></x></ds:Signature>"
                            "<ds:Signature Id='S3'/></a>";
    SignatureElementList list(Parse(xml));
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ(L"S1", IdOf(list[0]));
    EXPECT_EQ(L"S3", IdOf(list[1]));
}

TEST_F(SignatureElementListTest, DepthFirstDocumentOrder) {
    const std::string xml = std::string("<a ") + kDs +
                            "><b><c><ds:Signature Id='S1'/></c><ds:Signature Id='S2'/></b>"
                            "<ds:Signature Id='S3'/><d><e><f><ds:Signature Id='S4'/></f></e></d></a>";
    SignatureElementList list(Parse(xml));
    ASSERT_EQ(4u, list.size());
    std::wstring ids;
    for (const xc::DOMElement* element : list) ids += IdOf(element);
    EXPECT_EQ(L"S1S2S3S4", ids);
}

TEST_F(SignatureElementListTest, RootSignatureIsTheOnlyOne) {
    const std::string xml =
        "<Signature xmlns='http://www.w3.org/2000/09/xmldsig#' Id='R'><Signature Id='N'/></Signature>";
    SignatureElementList list(Parse(xml));
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(L"R", IdOf(list[0]));
    EXPECT_EQ(parser_.getDocument()->getDocumentElement(), list[0]);
}

TEST_F(SignatureElementListTest, OtherNamespacesAreWalkedThrough) {
    const std::string xml = std::string("<a ") + kDs +
                            "><Signature Id='plain'><ds:Signature Id='in'/></Signature>"
                            "<o:Signature xmlns:o='urn:other' Id='other'/>"
                            "<ds:signature Id='lower'/></a>";
    SignatureElementList list(Parse(xml));
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(L"in", IdOf(list[0]));
}

TEST_F(SignatureElementListTest, NoSignatureAndNoDocument) {
    EXPECT_EQ(0u, SignatureElementList(Parse("<a><b/></a>")).size());
    EXPECT_EQ(0u, SignatureElementList(nullptr).size());
}

TEST_F(SignatureElementListTest, VeryDeepDocumentDoesNotExhaustTheStack) {
    // Built through the DOM rather than parsed, to keep the test fast; the walk must still
    // reach the Signature at the bottom and then climb back out for the last one.
    Parse("<root/>");
    xc::DOMDocument* doc = parser_.getDocument();
    xc::DOMElement* element = doc->getDocumentElement();
    for (int i = 0; i < 100000; ++i)
        element = static_cast<xc::DOMElement*>(element->appendChild(doc->createElement(L"n")));
    xc::DOMElement* signature = doc->createElementNS(L"http://www.w3.org/2000/09/xmldsig#", L"ds:Signature");
    element->appendChild(signature);
    doc->getDocumentElement()->appendChild(
        doc->createElementNS(L"http://www.w3.org/2000/09/xmldsig#", L"ds:Signature"));
    SignatureElementList list(doc);
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ(signature, list[0]);
    EXPECT_EQ(doc->getDocumentElement()->getLastChild(), list[1]);
}
