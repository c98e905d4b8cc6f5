#pragma once
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "base/WinApi.hpp"

// Caller bytes to DOM and back, and moving elements between documents. Every function
// throws the library's exceptions; Xerces exceptions never leave them unconverted.
namespace xmlBlob {

// Canonicalisation methods by number (0 = none/unknown), in the order of their URIs.
enum CanonMethod : int {
    kCanonNone = 0,
    kC14nNoComments = 1,
    kC14nWithComments = 2,
    kExcC14nNoComments = 3,
    kExcC14nWithComments = 4,
    kC14n11NoComments = 5,
    kC14n11WithComments = 6,
};

// The URI of a method; kCanonNone or an unknown number raises E_INVALIDARG ("GetCanonURI").
const wchar_t* GetCanonURI(CanonMethod method);

// The method a URI names, or kCanonNone.
CanonMethod CanonMethodOf(const wchar_t* uri) noexcept;

// Parses the blob (not copied: it must outlive the parse) into the parser's document and
// returns its document element. The document stays owned by the parser. The parse keeps the
// limits of parseGuard (nothing read from outside, entities and nesting bounded): what
// breaks them is WS_E_INVALID_FORMAT.
xercesc::DOMElement* CreateDomStructure(xercesc::XercesDOMParser& parser, const CRYPT_XML_BLOB& xmlBlob);

// Deep import of sourceElem into targetDomDoc; the result is not inserted anywhere.
xercesc::DOMElement* ImportElem(xercesc::DOMDocument* targetDomDoc, const xercesc::DOMElement* sourceElem);

// Serialises node in the given CRYPT_XML_CHARSET (AUTO and unknown values give UTF-8).
void EncodeNode(const xercesc::DOMNode* node, bool writeXmlDeclaration, DWORD charset, std::vector<BYTE>& out);

}  // namespace xmlBlob
