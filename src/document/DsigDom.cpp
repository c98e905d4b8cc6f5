#include "document/DsigDom.hpp"

#include <cwchar>

namespace dsigDom {

bool IsDsig(const xercesc::DOMNode* node, const wchar_t* localName) {
    if (node == nullptr || node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) return false;
    const wchar_t* ns = node->getNamespaceURI();
    const wchar_t* name = node->getLocalName();
    return ns != nullptr && name != nullptr && std::wcscmp(ns, kDsigNamespace) == 0 &&
           std::wcscmp(name, localName) == 0;
}

std::vector<xercesc::DOMElement*> Children(const xercesc::DOMElement* parent, const wchar_t* localName) {
    std::vector<xercesc::DOMElement*> out;
    if (parent == nullptr) return out;
    for (xercesc::DOMElement* e = parent->getFirstElementChild(); e != nullptr; e = e->getNextElementSibling()) {
        if (localName == nullptr || IsDsig(e, localName)) out.push_back(e);
    }
    return out;
}

xercesc::DOMElement* FirstChild(const xercesc::DOMElement* parent, const wchar_t* localName) {
    if (parent == nullptr) return nullptr;
    for (xercesc::DOMElement* e = parent->getFirstElementChild(); e != nullptr; e = e->getNextElementSibling()) {
        if (IsDsig(e, localName)) return e;
    }
    return nullptr;
}

const wchar_t* Attribute(const xercesc::DOMElement* element, const wchar_t* name) {
    const xercesc::DOMAttr* attr = element != nullptr ? element->getAttributeNode(name) : nullptr;
    return attr != nullptr ? attr->getValue() : nullptr;
}

const wchar_t* Text(const xercesc::DOMElement* element) {
    return element != nullptr ? element->getTextContent() : nullptr;
}

}  // namespace dsigDom
