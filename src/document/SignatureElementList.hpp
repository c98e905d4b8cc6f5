#pragma once
#include <vector>

#include <xercesc/dom/DOM.hpp>

// The ds:Signature elements of a document, depth first in document order; a Signature
// inside another Signature is not collected. Pointers are not owned.
class SignatureElementList {
public:
    explicit SignatureElementList(const xercesc::DOMDocument* document);

    size_t size() const noexcept { return elements_.size(); }
    xercesc::DOMElement* operator[](size_t i) const { return elements_[i]; }
    std::vector<xercesc::DOMElement*>::const_iterator begin() const noexcept { return elements_.begin(); }
    std::vector<xercesc::DOMElement*>::const_iterator end() const noexcept { return elements_.end(); }

private:
    std::vector<xercesc::DOMElement*> elements_;
};
