#pragma once
#include <vector>

#include <xercesc/dom/DOM.hpp>

// What xml-security-c 3.0 reads from a Signature but does not hand out (the Id and Type of
// a Reference, the KeyInfo and Manifest elements, RetrievalMethod and unknown X509Data
// children), read from the DOM directly.
namespace dsigDom {

constexpr wchar_t kDsigNamespace[] = L"http://www.w3.org/2000/09/xmldsig#";

// An element of the XML-DSig namespace with that local name.
bool IsDsig(const xercesc::DOMNode* node, const wchar_t* localName);

// The element children of parent, in order; with a local name, only those XML-DSig ones.
std::vector<xercesc::DOMElement*> Children(const xercesc::DOMElement* parent, const wchar_t* localName = nullptr);

// The first XML-DSig child element with that local name, or null.
xercesc::DOMElement* FirstChild(const xercesc::DOMElement* parent, const wchar_t* localName);

// The value of an attribute without namespace, or null when the element has none.
const wchar_t* Attribute(const xercesc::DOMElement* element, const wchar_t* name);

// The concatenated text of an element (its text content).
const wchar_t* Text(const xercesc::DOMElement* element);

}  // namespace dsigDom
