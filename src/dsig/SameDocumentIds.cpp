#include "dsig/SameDocumentIds.hpp"

#include <cwchar>
#include <string>
#include <unordered_map>
#include <vector>

#include <xercesc/dom/DOMException.hpp>

#include "base/CryptXmlException.hpp"
#include "base/TextConvert.hpp"
#include "dsig/ObjContext.hpp"
#include "dsig/RefContext.hpp"
#include "dsig/SigContext.hpp"

namespace sameDocumentIds {
namespace {

namespace xc = XERCES_CPP_NAMESPACE;

constexpr wchar_t kXmlNamespace[] = L"http://www.w3.org/XML/1998/namespace";
constexpr wchar_t kXPointerId[] = L"#xpointer(id('";

// Referenced Id -> how many elements carry it.
using Carriers = std::unordered_map<std::wstring, unsigned>;

// The referenced Ids in the order of their references, and their carriers.
struct Referenced {
    std::vector<std::wstring> order;
    Carriers carriers;
};

// The Id a same-document URI names, or nothing for "", "#xpointer(/)" and other documents.
std::wstring NamedId(const wchar_t* uri) {
    if (uri == nullptr || uri[0] != L'#') return {};
    const size_t prefix = std::wcslen(kXPointerId);
    if (std::wcsncmp(uri, kXPointerId, prefix) == 0) {
        const std::wstring rest(uri + prefix);
        const size_t end = rest.find(L'\'');
        return end == std::wstring::npos ? std::wstring() : rest.substr(0, end);
    }
    return std::wcsncmp(uri, L"#xpointer(", 10) == 0 ? std::wstring() : std::wstring(uri + 1);
}

void Add(Referenced& referenced, const RefContext* ref) {
    std::wstring id = NamedId(ref->GetReferenceStruct()->wszUri);
    if (!id.empty() && referenced.carriers.emplace(id, 0).second) referenced.order.push_back(std::move(id));
}

Referenced ReferencedIds(const std::vector<SigContext*>& signatures) {
    Referenced referenced;
    for (const SigContext* sig : signatures) {
        for (const RefContext* ref : sig->References()) Add(referenced, ref);
        for (const ObjContext* obj : sig->Objects()) {
            for (const RefContext* ref : obj->GetManifestRefs()) Add(referenced, ref);
        }
    }
    return referenced;
}

// The names xml-security-c finds an Id by (besides IDs Xerces knows from the DTD).
bool IsLookupName(const XMLCh* name) { return std::wcscmp(name, L"Id") == 0 || std::wcscmp(name, L"id") == 0; }

// What an application may take for an Id: those, ID and xml:id.
bool IsIdLike(const xc::DOMAttr* attr) {
    const XMLCh* name = attr->getName();
    if (attr->isId() || IsLookupName(name) || std::wcscmp(name, L"ID") == 0) return true;
    const XMLCh* ns = attr->getNamespaceURI();
    const XMLCh* local = attr->getLocalName();
    return ns != nullptr && local != nullptr && std::wcscmp(ns, kXmlNamespace) == 0 && std::wcscmp(local, L"id") == 0;
}

void Visit(xc::DOMElement* element, Carriers& carriers) {
    xc::DOMNamedNodeMap* attributes = element->getAttributes();
    const XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
    std::vector<const std::wstring*> counted;  // an element counts once for a value
    for (XMLSize_t i = 0; i < count; ++i) {
        auto* attr = static_cast<xc::DOMAttr*>(attributes->item(i));
        if (!IsIdLike(attr)) continue;
        if (IsLookupName(attr->getName()) && !attr->isId()) {
            try {
                element->setIdAttributeNode(attr, true);
            } catch (const xc::DOMException&) {
                // Read-only (the expansion of an entity): xml-security-c's own walk finds it.
            }
        }
        const auto found = carriers.find(attr->getValue());
        if (found == carriers.end()) continue;
        bool already = false;
        for (const std::wstring* value : counted) already = already || value == &found->first;
        if (already) continue;
        ++found->second;
        counted.push_back(&found->first);
    }
}

// Document order, with a loop: nesting is bounded, but the walk need not rely on it.
void Walk(xc::DOMDocument* document, Carriers& carriers) {
    xc::DOMNode* root = document->getDocumentElement();
    xc::DOMNode* node = root;
    while (node != nullptr) {
        if (node->getNodeType() == xc::DOMNode::ELEMENT_NODE) Visit(static_cast<xc::DOMElement*>(node), carriers);
        if (xc::DOMNode* child = node->getFirstChild()) {
            node = child;
            continue;
        }
        while (node != nullptr && node != root && node->getNextSibling() == nullptr) node = node->getParentNode();
        node = node == nullptr || node == root ? nullptr : node->getNextSibling();
    }
}

}  // namespace

void IndexAndCheck(xc::DOMDocument* document, const std::vector<SigContext*>& signatures, const char* functionName) {
    if (document == nullptr || document->getDocumentElement() == nullptr) return;
    Referenced referenced = ReferencedIds(signatures);
    Walk(document, referenced.carriers);
    for (const std::wstring& id : referenced.order) {
        const unsigned count = referenced.carriers[id];
        if (count < 2) continue;
        const std::string detail = "the Id \"" + textConvert::ToAnsi(id) + "\" that a reference names is carried by " +
                                   std::to_string(count) + " elements.";
        errors::Raise<hr::kNonUniqueId>(functionName, detail.c_str());
    }
}

}  // namespace sameDocumentIds
