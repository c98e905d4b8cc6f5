#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/framework/XMLValidator.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "document/XmlBlob.hpp"
#include "support/CaughtException.hpp"
#include "support/TraceLines.hpp"

namespace xc = XERCES_CPP_NAMESPACE;
using testing_support::Caught;
using testing_support::CodeMessage;
using testing_support::InvalidArgMessage;

namespace {

constexpr char kInvalidFormatText[] =
    "The input data was not in the expected format or did not have the expected value.";

CRYPT_XML_BLOB BlobOf(const std::string& bytes, DWORD charset = CRYPT_XML_CHARSET_AUTO) {
    return {static_cast<CRYPT_XML_CHARSET>(charset), static_cast<ULONG>(bytes.size()),
            reinterpret_cast<BYTE*>(const_cast<char*>(bytes.data()))};
}

std::string Utf16Le(const std::string& ascii) {
    std::string bytes;
    for (char c : ascii) {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}

std::string Text(const std::vector<BYTE>& bytes) { return std::string(bytes.begin(), bytes.end()); }

std::string FailureMessage(const std::string& function, const std::string& text) {
    return "an error occurred. function: " + function + ". desc: " + text;
}

struct XercesReleaser {
    template <class T>
    void operator()(T* object) const noexcept {
        object->release();
    }
};

class XmlBlobTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { xmlStack::Ensure(); }

    xc::DOMElement* Parse(const std::string& bytes, DWORD charset = CRYPT_XML_CHARSET_AUTO) {
        return xmlBlob::CreateDomStructure(parser_, BlobOf(bytes, charset));
    }

    xc::XercesDOMParser parser_{nullptr, xc::XMLPlatformUtils::fgMemoryManager, nullptr};
};

// Builds no document at all, though the parse succeeds.
class NoDocumentParser : public xc::XercesDOMParser {
public:
    void startDocument() override {}
    void endDocument() override {}
    void startElement(const xc::XMLElementDecl&, unsigned int, const XMLCh*, const xc::RefVectorOf<xc::XMLAttr>&,
                      XMLSize_t, bool, bool) override {}
    void endElement(const xc::XMLElementDecl&, unsigned int, bool, const XMLCh*) override {}
};

// Builds the document but never its element.
class NoRootParser : public xc::XercesDOMParser {
public:
    void startElement(const xc::XMLElementDecl&, unsigned int, const XMLCh*, const xc::RefVectorOf<xc::XMLAttr>&,
                      XMLSize_t, bool, bool) override {}
    void endElement(const xc::XMLElementDecl&, unsigned int, bool, const XMLCh*) override {}
};

// A DOM error in the middle of the parse.
class DomFailingParser : public xc::XercesDOMParser {
public:
    void startElement(const xc::XMLElementDecl&, unsigned int, const XMLCh*, const xc::RefVectorOf<xc::XMLAttr>&,
                      XMLSize_t, bool, bool) override {
        throw xc::DOMException(xc::DOMException::HIERARCHY_REQUEST_ERR, 0, getMemoryManager());
    }
};

// Tries to parse again from inside its own parse, which Xerces refuses with an
// XMLException; the converted failure is kept for the test.
class ReentrantParser : public xc::XercesDOMParser {
public:
    void startElement(const xc::XMLElementDecl& decl, unsigned int urlId, const XMLCh* prefix,
                      const xc::RefVectorOf<xc::XMLAttr>& attrs, XMLSize_t attrCount, bool isEmpty,
                      bool isRoot) override {
        static const std::string inner = "<inner/>";
        try {
            xmlBlob::CreateDomStructure(*this, BlobOf(inner));
        } catch (const CryptXmlException& e) {
            innerHr = e.hr();
            innerWhat = e.what();
        }
        xc::XercesDOMParser::startElement(decl, urlId, prefix, attrs, attrCount, isEmpty, isRoot);
    }
    HRESULT innerHr = S_OK;
    std::string innerWhat;
};

}  // namespace

TEST(CanonUri, EveryMethodHasItsUriAndBack) {
    const std::pair<xmlBlob::CanonMethod, const wchar_t*> rows[] = {
        {xmlBlob::kC14nNoComments, L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315"},
        {xmlBlob::kC14nWithComments, L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"},
        {xmlBlob::kExcC14nNoComments, L"http://www.w3.org/2001/10/xml-exc-c14n#"},
        {xmlBlob::kExcC14nWithComments, L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments"},
        {xmlBlob::kC14n11NoComments, L"http://www.w3.org/2006/12/xml-c14n11"},
        {xmlBlob::kC14n11WithComments, L"http://www.w3.org/2006/12/xml-c14n11#WithComments"},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(row.second, xmlBlob::GetCanonURI(row.first));
        EXPECT_EQ(row.first, xmlBlob::CanonMethodOf(row.second));
    }
    EXPECT_EQ(1, xmlBlob::kC14nNoComments);
    EXPECT_EQ(6, xmlBlob::kC14n11WithComments);
}

TEST(CanonUri, UnknownUriIsNone) {
    EXPECT_EQ(xmlBlob::kCanonNone, xmlBlob::CanonMethodOf(L"http://www.w3.org/2000/09/xmldsig#sha1"));
    EXPECT_EQ(xmlBlob::kCanonNone, xmlBlob::CanonMethodOf(L""));
    EXPECT_EQ(xmlBlob::kCanonNone, xmlBlob::CanonMethodOf(nullptr));
}

TEST(CanonUri, NoneAndUnknownNumbersAreRejected) {
    for (int method : {0, 7, -1}) {
        CryptXmlException e = Caught([&] { xmlBlob::GetCanonURI(static_cast<xmlBlob::CanonMethod>(method)); });
        EXPECT_EQ(hr::kInvalidArg, e.hr());
        EXPECT_STREQ("an error occurred. function: GetCanonURI. desc: One or more arguments are invalid ", e.what());
    }
}

TEST_F(XmlBlobTest, ParsesAndReturnsTheDocumentElement) {
    xc::DOMElement* root = Parse("<a xmlns='urn:x'><b/></a>");
    ASSERT_NE(nullptr, root);
    EXPECT_STREQ(L"a", root->getLocalName());
    EXPECT_STREQ(L"urn:x", root->getNamespaceURI());  // namespaces are on
    EXPECT_EQ(root, parser_.getDocument()->getDocumentElement());
}

TEST_F(XmlBlobTest, ParsesEveryDeclaredCharset) {
    EXPECT_STREQ(L"a", Parse("<a/>", CRYPT_XML_CHARSET_UTF8)->getTagName());
    EXPECT_STREQ(L"b", Parse(Utf16Le("<b/>"), CRYPT_XML_CHARSET_UTF16LE)->getTagName());
    std::string be = Utf16Le("<c/>");
    be.insert(be.begin(), '\0');
    be.pop_back();
    EXPECT_STREQ(L"c", Parse(be, CRYPT_XML_CHARSET_UTF16BE)->getTagName());
}

TEST_F(XmlBlobTest, EmptyOrNullBlobIsRejected) {
    const std::string expected = InvalidArgMessage("CreateDomStructure", "!xmlBlob.cbData || !xmlBlob.pbData");
    BYTE byte = '<';
    for (CRYPT_XML_BLOB blob :
         {CRYPT_XML_BLOB{CRYPT_XML_CHARSET_AUTO, 0, &byte}, CRYPT_XML_BLOB{CRYPT_XML_CHARSET_AUTO, 5, nullptr}}) {
        CryptXmlException e = Caught([&] { xmlBlob::CreateDomStructure(parser_, blob); });
        EXPECT_EQ(hr::kInvalidArg, e.hr());
        EXPECT_EQ(expected, e.what());
    }
}

TEST_F(XmlBlobTest, ExactlyTheMaximumPassesTheSizeCheck) {
    // Committed pages read as zeros without being touched: only the prefix and the first
    // NUL after it are ever read, and the NUL ends the parse.
    const SIZE_T size = 0x7FFFFFF8;
    void* memory = ::VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    ASSERT_NE(nullptr, memory);
    std::unique_ptr<void, void (*)(void*)> release(memory, [](void* p) { ::VirtualFree(p, 0, MEM_RELEASE); });
    std::memcpy(memory, "<a>", 3);
    CRYPT_XML_BLOB blob{CRYPT_XML_CHARSET_UTF8, static_cast<ULONG>(size), static_cast<BYTE*>(memory)};
    CryptXmlException e = Caught([&] { xmlBlob::CreateDomStructure(parser_, blob); });
    EXPECT_EQ(hr::kInvalidFormat, e.hr());
    EXPECT_EQ(CodeMessage("CreateDomStructure", kInvalidFormatText, "error(s) occured during the parsing of the blob."),
              e.what());
}

TEST_F(XmlBlobTest, OneByteOverTheMaximumIsTooLarge) {
    // The pointer is never read: the size is refused first.
    BYTE byte = '<';
    CRYPT_XML_BLOB blob{CRYPT_XML_CHARSET_UTF8, 0x7FFFFFF9, &byte};
    CryptXmlException e = Caught([&] { xmlBlob::CreateDomStructure(parser_, blob); });
    EXPECT_EQ(hr::kLarge, e.hr());
    EXPECT_EQ(CodeMessage("CreateDomStructure", "The value is too large.",
                          "the length of keyInfo xml is exceeded CRYPT_XML_BLOB_MAX."),
              e.what());
    EXPECT_EQ(nullptr, parser_.getDocument());
}

TEST_F(XmlBlobTest, UnknownCharsetIsRejected) {
    CryptXmlException e = Caught([&] { Parse("<a/>", 4); });
    EXPECT_EQ(hr::kInvalidArg, e.hr());
    EXPECT_EQ(InvalidArgMessage("CreateDomStructure", "invalid xmlBlob.dwCharset"), e.what());
}

TEST_F(XmlBlobTest, Utf16BytesDeclaredAsUtf8AreNotWellFormed) {
    CryptXmlException e = Caught([&] { Parse(Utf16Le("<a/>"), CRYPT_XML_CHARSET_UTF8); });
    EXPECT_EQ(hr::kInvalidFormat, e.hr());
    EXPECT_EQ(CodeMessage("CreateDomStructure", kInvalidFormatText, "error(s) occured during the parsing of the blob."),
              e.what());
}

TEST_F(XmlBlobTest, MalformedXmlIsInvalidFormat) {
    CryptXmlException e = Caught([&] { Parse("<a><b></a>"); });
    EXPECT_EQ(hr::kInvalidFormat, e.hr());
    EXPECT_NE(0u, parser_.getErrorCount());
}

TEST(CreateDomStructure, NoDocumentIsAFailure) {
    xmlStack::Ensure();
    NoDocumentParser parser;
    const std::string xml = "<a/>";
    CryptXmlException e = Caught([&] { xmlBlob::CreateDomStructure(parser, BlobOf(xml)); });
    EXPECT_EQ(hr::kFail, e.hr());
    EXPECT_EQ(FailureMessage("CreateDomStructure", "NULL == doc."), e.what());
}

TEST(CreateDomStructure, NoRootElementIsAFailure) {
    xmlStack::Ensure();
    NoRootParser parser;
    const std::string xml = "<a/>";
    CryptXmlException e = Caught([&] { xmlBlob::CreateDomStructure(parser, BlobOf(xml)); });
    EXPECT_EQ(hr::kFail, e.hr());
    EXPECT_EQ(FailureMessage("CreateDomStructure", "NULL == rootElem."), e.what());
}

TEST(CreateDomStructure, DomExceptionBecomesAFailureWithItsMessage) {
    xmlStack::Ensure();
    DomFailingParser parser;
    const std::string xml = "<a/>";
    CryptXmlException e = Caught([&] { xmlBlob::CreateDomStructure(parser, BlobOf(xml)); });
    EXPECT_EQ(hr::kFail, e.hr());
    EXPECT_EQ(FailureMessage("CreateDomStructure", "attempt is made to insert a node where it is not permitted"),
              e.what());
}

TEST(CreateDomStructure, XmlExceptionBecomesAFailureWithItsMessage) {
    xmlStack::Ensure();
    ReentrantParser parser;
    const std::string xml = "<outer/>";
    EXPECT_STREQ(L"outer", xmlBlob::CreateDomStructure(parser, BlobOf(xml))->getTagName());
    EXPECT_EQ(hr::kFail, parser.innerHr);
    EXPECT_EQ(FailureMessage("CreateDomStructure", "parsing in progress"), parser.innerWhat);
}

TEST_F(XmlBlobTest, ImportElemCopiesTheWholeSubtree) {
    xc::DOMElement* source = Parse("<a x='1'><b>t</b></a>");
    xc::XercesDOMParser other;
    const std::string target = "<t/>";
    xc::DOMElement* targetRoot = xmlBlob::CreateDomStructure(other, BlobOf(target));
    xc::DOMElement* imported = xmlBlob::ImportElem(other.getDocument(), source);
    ASSERT_NE(nullptr, imported);
    EXPECT_EQ(other.getDocument(), imported->getOwnerDocument());
    EXPECT_EQ(nullptr, imported->getParentNode());  // not inserted
    EXPECT_EQ(nullptr, targetRoot->getFirstChild());
    std::vector<BYTE> out;
    xmlBlob::EncodeNode(imported, false, CRYPT_XML_CHARSET_UTF8, out);
    EXPECT_EQ("<a x=\"1\"><b>t</b></a>", Text(out));
}

TEST_F(XmlBlobTest, ImportElemChecksTheSourceFirst) {
    CryptXmlException both = Caught([] { xmlBlob::ImportElem(nullptr, nullptr); });
    EXPECT_EQ(hr::kInvalidArg, both.hr());
    EXPECT_EQ(InvalidArgMessage("ImportElem", "NULL == sourceElem."), both.what());
    xc::DOMElement* source = Parse("<a/>");
    CryptXmlException target = Caught([&] { xmlBlob::ImportElem(nullptr, source); });
    EXPECT_EQ(hr::kInvalidArg, target.hr());
    EXPECT_EQ(InvalidArgMessage("ImportElem", "NULL == targetDomDoc."), target.what());
}

namespace {

// Documents whose import answers what a real one never does.
class NullImportDocument : public xc::DOMDocumentImpl {
public:
    NullImportDocument() : xc::DOMDocumentImpl(nullptr) {}
    xc::DOMNode* importNode(const xc::DOMNode*, bool) override { return nullptr; }
};

class TextImportDocument : public xc::DOMDocumentImpl {
public:
    TextImportDocument() : xc::DOMDocumentImpl(nullptr) {}
    xc::DOMNode* importNode(const xc::DOMNode*, bool) override { return createTextNode(L"text"); }
};

}  // namespace

TEST_F(XmlBlobTest, ImportElemRejectsANullImport) {
    xc::DOMElement* source = Parse("<a/>");
    std::unique_ptr<NullImportDocument, XercesReleaser> target(new NullImportDocument);
    CryptXmlException e = Caught([&] { xmlBlob::ImportElem(target.get(), source); });
    EXPECT_EQ(hr::kFail, e.hr());
    EXPECT_EQ(FailureMessage("ImportElem", "failed to import a node."), e.what());
}

TEST_F(XmlBlobTest, ImportElemRejectsANonElementImport) {
    xc::DOMElement* source = Parse("<a/>");
    std::unique_ptr<TextImportDocument, XercesReleaser> target(new TextImportDocument);
    CryptXmlException e = Caught([&] { xmlBlob::ImportElem(target.get(), source); });
    EXPECT_EQ(hr::kFail, e.hr());
    EXPECT_EQ(FailureMessage("ImportElem", "nodeType != ELEMENT_NODE"), e.what());
}

TEST_F(XmlBlobTest, EncodeNodeWithoutDeclaration) {
    std::vector<BYTE> out;
    xmlBlob::EncodeNode(Parse("<a b='c'>d</a>"), false, CRYPT_XML_CHARSET_UTF8, out);
    EXPECT_EQ("<a b=\"c\">d</a>", Text(out));
    xmlBlob::EncodeNode(Parse("<a b='c'>d</a>"), false, CRYPT_XML_CHARSET_UTF16LE, out);
    EXPECT_EQ(Utf16Le("<a b=\"c\">d</a>"), Text(out));
}

TEST_F(XmlBlobTest, EncodeNodeWithDeclaration) {
    std::vector<BYTE> out;
    Parse("<a/>");
    xmlBlob::EncodeNode(parser_.getDocument(), true, CRYPT_XML_CHARSET_UTF8, out);
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?><a/>", Text(out));
    xmlBlob::EncodeNode(parser_.getDocument(), true, CRYPT_XML_CHARSET_UTF16LE, out);
    EXPECT_EQ(Utf16Le("<?xml version=\"1.0\" encoding=\"UTF-16LE\" standalone=\"no\" ?><a/>"), Text(out));
}

TEST_F(XmlBlobTest, DeclarationIsWrittenOnlyForADocument) {
    // Xerces writes the declaration when it serialises a document node; an element alone
    // is written without one whatever the flag says.
    std::vector<BYTE> out;
    xmlBlob::EncodeNode(Parse("<a/>"), true, CRYPT_XML_CHARSET_UTF8, out);
    EXPECT_EQ("<a/>", Text(out));
    Parse("<a/>");
    xmlBlob::EncodeNode(parser_.getDocument(), false, CRYPT_XML_CHARSET_UTF8, out);
    EXPECT_EQ("<a/>", Text(out));
}

TEST_F(XmlBlobTest, EncodeNodeAutoAndUnknownCharsetsWriteUtf8) {
    std::vector<BYTE> out;
    for (DWORD charset : {0u, 4u, 99u}) {
        xmlBlob::EncodeNode(Parse("<a>\xC3\xA9</a>", CRYPT_XML_CHARSET_UTF8), false, charset, out);
        EXPECT_EQ("<a>\xC3\xA9</a>", Text(out)) << charset;
    }
}

TEST_F(XmlBlobTest, EncodeNodeUtf16Be) {
    std::vector<BYTE> out;
    xmlBlob::EncodeNode(Parse("<a/>"), false, CRYPT_XML_CHARSET_UTF16BE, out);
    EXPECT_EQ(std::string("\0<\0a\0/\0>", 8), Text(out));
}

TEST(EncodeNode, NullNodeIsRejected) {
    std::vector<BYTE> out;
    CryptXmlException e = Caught([&] { xmlBlob::EncodeNode(nullptr, false, CRYPT_XML_CHARSET_UTF8, out); });
    EXPECT_EQ(hr::kInvalidArg, e.hr());
    EXPECT_STREQ("an error occurred. function: EncodeNode. desc: One or more arguments are invalid ", e.what());
}

namespace {

// An element whose serialisation fails with whatever Thrower throws.
template <class Thrower>
class FailingElement : public xc::DOMElementImpl {
public:
    explicit FailingElement(xc::DOMDocument* doc) : xc::DOMElementImpl(doc, L"e") {}
    const XMLCh* getNodeName() const override {
        Thrower()();
        return nullptr;
    }
};

struct ThrowDom {
    void operator()() const { throw xc::DOMException(xc::DOMException::NOT_FOUND_ERR); }
};
struct ThrowXml {
    void operator()() const { throw xc::RuntimeException(__FILE__, __LINE__, xc::XMLExcepts::Gen_ParseInProgress); }
};
struct ThrowOther {
    void operator()() const { throw 42; }
};

template <class Thrower>
CryptXmlException EncodeFailure(xc::DOMDocument* doc) {
    std::unique_ptr<FailingElement<Thrower>> element(new FailingElement<Thrower>(doc));
    std::vector<BYTE> out;
    return Caught([&] { xmlBlob::EncodeNode(element.get(), false, CRYPT_XML_CHARSET_UTF8, out); });
}

}  // namespace

TEST_F(XmlBlobTest, EncodeNodeConvertsXercesAndOtherExceptions) {
    Parse("<a/>");
    xc::DOMDocument* doc = parser_.getDocument();
    CryptXmlException dom = EncodeFailure<ThrowDom>(doc);
    EXPECT_EQ(hr::kFail, dom.hr());
    EXPECT_EQ(FailureMessage("EncodeNode", "attempt is made to reference a node in a context where it does not exist"),
              dom.what());
    CryptXmlException xml = EncodeFailure<ThrowXml>(doc);
    EXPECT_EQ(hr::kFail, xml.hr());
    EXPECT_EQ(FailureMessage("EncodeNode", "parsing in progress"), xml.what());
    CryptXmlException other = EncodeFailure<ThrowOther>(doc);
    EXPECT_EQ(hr::kFail, other.hr());
    EXPECT_EQ(FailureMessage("EncodeNode", "Unexpected exception during writing into a buffer"), other.what());
}
