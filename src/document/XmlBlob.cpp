#include "document/XmlBlob.hpp"

#include <cstring>
#include <memory>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>

#include "base/CryptXmlException.hpp"
#include "base/XsecErrors.hpp"
#include "document/ParseGuard.hpp"

namespace xmlBlob {
namespace {

namespace xc = XERCES_CPP_NAMESPACE;

constexpr char kCreateDomStructure[] = "CreateDomStructure";
constexpr char kImportElem[] = "ImportElem";
constexpr char kEncodeNode[] = "EncodeNode";

struct CanonEntry {
    CanonMethod method;
    const wchar_t* uri;
};

constexpr CanonEntry kCanonUris[] = {
    {kC14nNoComments, L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315"},
    {kC14nWithComments, L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"},
    {kExcC14nNoComments, L"http://www.w3.org/2001/10/xml-exc-c14n#"},
    {kExcC14nWithComments, L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments"},
    {kC14n11NoComments, L"http://www.w3.org/2006/12/xml-c14n11"},
    {kC14n11WithComments, L"http://www.w3.org/2006/12/xml-c14n11#WithComments"},
};

// Serialiser and output come from release()-style factories.
struct XercesReleaser {
    template <class T>
    void operator()(T* object) const noexcept {
        object->release();
    }
};
template <class T>
using XercesOwned = std::unique_ptr<T, XercesReleaser>;

// Parsing refuses what it cannot name; AUTO leaves detection to the parser (null).
const wchar_t* ParseEncodingOf(DWORD charset) {
    switch (charset) {
        case CRYPT_XML_CHARSET_AUTO: return nullptr;
        case CRYPT_XML_CHARSET_UTF8: return L"UTF-8";
        case CRYPT_XML_CHARSET_UTF16LE: return L"UTF-16LE";
        case CRYPT_XML_CHARSET_UTF16BE: return L"UTF-16BE";
        default: errors::Raise<hr::kInvalidArg>(kCreateDomStructure, "invalid xmlBlob.dwCharset");
    }
}

// Serialising never fails on the charset: whatever is not UTF-16 is written as UTF-8.
const wchar_t* SerialiseEncodingOf(DWORD charset) noexcept {
    switch (charset) {
        case CRYPT_XML_CHARSET_UTF16LE: return L"UTF-16LE";
        case CRYPT_XML_CHARSET_UTF16BE: return L"UTF-16BE";
        default: return L"UTF-8";
    }
}

xc::DOMElement* ParseBlob(xc::XercesDOMParser& parser, const CRYPT_XML_BLOB& xmlBlob) {
    parser.setDoNamespaces(true);
    xc::MemBufInputSource source(xmlBlob.pbData, xmlBlob.cbData, static_cast<const XMLCh*>(nullptr), false,
                                 xc::XMLPlatformUtils::fgMemoryManager);
    if (const wchar_t* encoding = ParseEncodingOf(xmlBlob.dwCharset)) source.setEncoding(encoding);
    try {
        parseGuard::Parse(parser, source, kCreateDomStructure);
    } catch (const xc::SAXParseException&) {
        // Without an error handler Xerces throws at the first fatal error, after
        // counting it; the count below is what decides.
    }
    if (parser.getErrorCount() != 0) {
        errors::Raise<hr::kInvalidFormat>(kCreateDomStructure, "error(s) occured during the parsing of the blob.");
    }
    xc::DOMDocument* doc = parser.getDocument();
    if (doc == nullptr) errors::RaiseFailure(kCreateDomStructure, "NULL == doc.");
    xc::DOMElement* rootElem = doc->getDocumentElement();
    if (rootElem == nullptr) errors::RaiseFailure(kCreateDomStructure, "NULL == rootElem.");
    return rootElem;
}

void Serialise(const xc::DOMNode* node, bool writeXmlDeclaration, DWORD charset, std::vector<BYTE>& out) {
    static const XMLCh kLs[] = L"LS";
    xc::DOMImplementation* impl = xc::DOMImplementationRegistry::getDOMImplementation(kLs);
    XercesOwned<xc::DOMLSSerializer> serializer(impl->createLSSerializer(xc::XMLPlatformUtils::fgMemoryManager));
    XercesOwned<xc::DOMLSOutput> output(impl->createLSOutput(xc::XMLPlatformUtils::fgMemoryManager));
    serializer->getDomConfig()->setParameter(xc::XMLUni::fgDOMXMLDeclaration, writeXmlDeclaration);
    output->setEncoding(SerialiseEncodingOf(charset));
    xc::MemBufFormatTarget target(1023, xc::XMLPlatformUtils::fgMemoryManager);
    output->setByteStream(&target);
    serializer->write(node, output.get());
    out.resize(target.getLen());
    if (!out.empty()) std::memcpy(out.data(), target.getRawBuffer(), out.size());
}

}  // namespace

const wchar_t* GetCanonURI(CanonMethod method) {
    for (const CanonEntry& entry : kCanonUris) {
        if (entry.method == method) return entry.uri;
    }
    errors::Raise<hr::kInvalidArg>("GetCanonURI");
}

CanonMethod CanonMethodOf(const wchar_t* uri) noexcept {
    if (uri == nullptr) return kCanonNone;
    for (const CanonEntry& entry : kCanonUris) {
        if (std::wcscmp(entry.uri, uri) == 0) return entry.method;
    }
    return kCanonNone;
}

xc::DOMElement* CreateDomStructure(xc::XercesDOMParser& parser, const CRYPT_XML_BLOB& xmlBlob) {
    if (xmlBlob.cbData == 0 || xmlBlob.pbData == nullptr) {
        errors::Raise<hr::kInvalidArg>(kCreateDomStructure, "!xmlBlob.cbData || !xmlBlob.pbData");
    }
    if (xmlBlob.cbData > CRYPT_XML_BLOB_MAX) {
        errors::Raise<hr::kLarge>(kCreateDomStructure, "the length of keyInfo xml is exceeded CRYPT_XML_BLOB_MAX.");
    }
    try {
        return ParseBlob(parser, xmlBlob);
    } catch (const CryptXmlException&) {
        throw;
    } catch (...) {
        xsecErrors::RethrowAsFailure("CreateDomStructure");
    }
}

xc::DOMElement* ImportElem(xc::DOMDocument* targetDomDoc, const xc::DOMElement* sourceElem) {
    // The source is checked first on purpose, although it is the second argument.
    if (sourceElem == nullptr) errors::Raise<hr::kInvalidArg>(kImportElem, "NULL == sourceElem.");
    if (targetDomDoc == nullptr) errors::Raise<hr::kInvalidArg>(kImportElem, "NULL == targetDomDoc.");
    xc::DOMNode* imported = nullptr;
    try {
        imported = targetDomDoc->importNode(sourceElem, true);
    } catch (const CryptXmlException&) {
        throw;
    } catch (...) {
        xsecErrors::RethrowAsFailure("ImportElem");
    }
    if (imported == nullptr) errors::RaiseFailure(kImportElem, "failed to import a node.");
    if (imported->getNodeType() != xc::DOMNode::ELEMENT_NODE)
        errors::RaiseFailure(kImportElem, "nodeType != ELEMENT_NODE");
    return static_cast<xc::DOMElement*>(imported);
}

void EncodeNode(const xc::DOMNode* node, bool writeXmlDeclaration, DWORD charset, std::vector<BYTE>& out) {
    if (node == nullptr) errors::Raise<hr::kInvalidArg>(kEncodeNode);
    try {
        Serialise(node, writeXmlDeclaration, charset, out);
    } catch (const xc::XMLException&) {
        xsecErrors::RethrowAsFailure("EncodeNode");
    } catch (const xc::DOMException&) {
        xsecErrors::RethrowAsFailure("EncodeNode");
    } catch (...) {
        errors::RaiseFailure(kEncodeNode, "Unexpected exception during writing into a buffer");
    }
}

}  // namespace xmlBlob
