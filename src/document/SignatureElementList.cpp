#include "document/SignatureElementList.hpp"

#include <xercesc/util/XMLString.hpp>
#include <xsec/utils/XSECDOMUtils.hpp>

namespace {

namespace xc = XERCES_CPP_NAMESPACE;

bool IsDsigSignature(const xc::DOMElement* element) {
    static const XMLCh kSignature[] = L"Signature";
    const XMLCh* localName = getDSIGLocalName(element);
    return localName != nullptr && xc::XMLString::equals(localName, kSignature);
}

// The next element in document order outside element's subtree, climbing no higher
// than the document element.
xc::DOMElement* NextOutside(const xc::DOMElement* element, const xc::DOMElement* root) {
    while (element != nullptr && element != root) {
        if (xc::DOMElement* sibling = element->getNextElementSibling()) return sibling;
        xc::DOMNode* parent = element->getParentNode();
        element = parent != nullptr && parent->getNodeType() == xc::DOMNode::ELEMENT_NODE
                      ? static_cast<const xc::DOMElement*>(parent)
                      : nullptr;
    }
    return nullptr;
}

}  // namespace

// A loop with parent links rather than recursion: documents may nest deeper than the
// stack would allow.
SignatureElementList::SignatureElementList(const xc::DOMDocument* document) {
    xc::DOMElement* root = document != nullptr ? document->getDocumentElement() : nullptr;
    xc::DOMElement* element = root;
    while (element != nullptr) {
        if (IsDsigSignature(element)) {
            elements_.push_back(element);
            element = NextOutside(element, root);
        } else if (xc::DOMElement* child = element->getFirstElementChild()) {
            element = child;
        } else {
            element = NextOutside(element, root);
        }
    }
}
