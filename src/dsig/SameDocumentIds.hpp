#pragma once
#include <vector>

#include <xercesc/dom/DOM.hpp>

class SigContext;

// The Ids that same-document references of a decoded document name ("#id" and
// "#xpointer(id('id'))"), and the elements that carry them.
namespace sameDocumentIds {

// One walk over the document. Every Id and id attribute becomes an ID attribute of Xerces,
// so that xml-security-c finds a reference's element through Xerces' hash of IDs instead of
// walking the document once per reference. An Id that a reference of any signature (or of
// a Manifest in its objects) names and that more than one element carries (in Id, ID, id,
// xml:id or an attribute the DTD declares an ID) raises CRYPT_XML_E_NON_UNIQUE_ID under
// functionName: which of them was signed would be the document's choice, not the reader's.
void IndexAndCheck(xercesc::DOMDocument* document, const std::vector<SigContext*>& signatures,
                   const char* functionName);

}  // namespace sameDocumentIds
