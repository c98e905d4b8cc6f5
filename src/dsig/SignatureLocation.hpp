#pragma once
#include <string>

#include <xercesc/dom/DOM.hpp>

// Where a new signature goes in its document.
namespace sigLocation {

// The element a location names: "" the document element, "#id" the first element (depth
// first) whose Id attribute is id, "/a/b" the first element with that path of local names,
// a "/" path with a prefix an XPath over the document's namespace declarations. Null when
// nothing matches or the location has another form.
xercesc::DOMElement* FindSignatureLocationNode(xercesc::DOMDocument* document, const std::wstring& location);

}  // namespace sigLocation
