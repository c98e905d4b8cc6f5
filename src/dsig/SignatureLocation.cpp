#include "dsig/SignatureLocation.hpp"

#include <xercesc/dom/DOMXPathException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "base/CryptXmlException.hpp"
#include "base/TextConvert.hpp"
#include "base/Trace.hpp"
#include "document/DsigDom.hpp"

namespace sigLocation {
namespace {

namespace xc = xercesc;
constexpr char kFunction[] = "`anonymous-namespace'::FindSignatureLocationNode";

// Depth-first over the elements below (and including) root, without recursion: deep
// documents must not exhaust the stack.
template <class Match>
xc::DOMElement* FirstElement(xc::DOMElement* root, Match&& match) {
    xc::DOMNode* node = root;
    while (node != nullptr) {
        if (node->getNodeType() == xc::DOMNode::ELEMENT_NODE && match(static_cast<xc::DOMElement*>(node))) {
            return static_cast<xc::DOMElement*>(node);
        }
        if (node->getFirstChild() != nullptr) {
            node = node->getFirstChild();
            continue;
        }
        while (node != nullptr && node != root && node->getNextSibling() == nullptr) node = node->getParentNode();
        node = (node == nullptr || node == root) ? nullptr : node->getNextSibling();
    }
    return nullptr;
}

const wchar_t* LocalName(const xc::DOMElement* e) {
    return e->getLocalName() != nullptr ? e->getLocalName() : e->getNodeName();
}

// "/" followed by the local names from the document element down to e.
std::wstring PathOf(const xc::DOMElement* e) {
    std::wstring path;
    for (const xc::DOMNode* n = e; n != nullptr && n->getNodeType() == xc::DOMNode::ELEMENT_NODE;
         n = n->getParentNode()) {
        path.insert(0, LocalName(static_cast<const xc::DOMElement*>(n)));
        path.insert(0, L"/");
    }
    return path;
}

// Owns a Xerces object released with release().
template <class T>
struct Released {
    T* p;
    ~Released() {
        if (p != nullptr) p->release();
    }
};

xc::DOMElement* EvaluateXPath(xc::DOMDocument* document, const std::wstring& expression) {
    xc::DOMElement* context = document->getDocumentElement();
    if (context == nullptr) return nullptr;
    try {
        Released<xc::DOMXPathNSResolver> resolver{document->createNSResolver(context)};
        Released<xc::DOMXPathResult> result{document->evaluate(
            expression.c_str(), context, resolver.p, xc::DOMXPathResult::UNORDERED_NODE_SNAPSHOT_TYPE, nullptr)};
        if (result.p == nullptr || result.p->getSnapshotLength() == 0 || !result.p->snapshotItem(0)) return nullptr;
        xc::DOMNode* node = result.p->getNodeValue();
        return node != nullptr && node->getNodeType() == xc::DOMNode::ELEMENT_NODE ? static_cast<xc::DOMElement*>(node)
                                                                                   : nullptr;
    } catch (const xc::DOMXPathException& e) {
        // An expression Xerces' XPath cannot take names no element.
        trace::TraceA(kFunction, textConvert::ToAnsiOrNull(e.getMessage()).c_str());
    } catch (const xc::DOMException& e) {
        trace::TraceA(kFunction, textConvert::ToAnsiOrNull(e.getMessage()).c_str());
    }
    return nullptr;
}

}  // namespace

xc::DOMElement* FindSignatureLocationNode(xc::DOMDocument* document, const std::wstring& location) {
    if (document == nullptr) errors::Raise<hr::kInvalidArg>(kFunction);
    if (location.empty()) return document->getDocumentElement();
    xc::DOMElement* root = document->getDocumentElement();
    if (location[0] == L'#') {
        if (location.size() < 2) errors::Raise<hr::kInvalidArg>(kFunction, "signature location is invalid.");
        const std::wstring id = location.substr(1);
        return root == nullptr ? nullptr : FirstElement(root, [&](const xc::DOMElement* e) {
            const wchar_t* value = dsigDom::Attribute(e, L"Id");
            return value != nullptr && id == value;
        });
    }
    if (location[0] != L'/') return nullptr;
    if (location.find(L':') != std::wstring::npos) return EvaluateXPath(document, location);
    return root == nullptr ? nullptr
                           : FirstElement(root, [&](const xc::DOMElement* e) { return PathOf(e) == location; });
}

}  // namespace sigLocation
