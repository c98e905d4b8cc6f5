#pragma once
// Documents that nest deep, and the signed ones whose every later step walks the nesting:
// the same-document search for an Id, canonicalisation, serialisation, deep import and text
// collection.
#include <string>

namespace hostile {

constexpr char kDsigNs[] = "http://www.w3.org/2000/09/xmldsig#";

// `levels` nested <d> elements around inner; the outermost carries the Id `id`, if any.
inline std::string Nest(unsigned levels, const std::string& inner = "", const std::string& id = "") {
    std::string xml;
    xml.reserve(levels * 8 + inner.size() + id.size() + 16);
    for (unsigned i = 0; i < levels; ++i) xml += i == 0 && !id.empty() ? "<d Id=\"" + id + "\">" : "<d>";
    xml += inner;
    for (unsigned i = 0; i < levels; ++i) xml += "</d>";
    return xml;
}

// A document of exactly `depth` levels: the document element, the chain below it, and after
// the chain the element "t" that a reference names, so that looking t up walks the chain.
inline std::string DeepSource(unsigned depth) {
    return "<r>" + Nest(depth - 1, "", "deep") + "<t Id=\"t\">payload</t></r>";
}

// An Object element whose content reaches `depth` levels counted from the Object itself.
inline std::string DeepObject(unsigned depth) {
    return std::string("<Object xmlns=\"") + kDsigNs + "\" Id=\"o\">" + Nest(depth - 1) + "</Object>";
}

// A KeyInfo element whose custom child reaches `depth` levels counted from KeyInfo.
inline std::string DeepKeyInfo(unsigned depth) {
    return std::string("<KeyInfo xmlns=\"") + kDsigNs + "\"><KeyName>k</KeyName><x:c xmlns:x=\"urn:x\">" +
           Nest(depth - 2) + "</x:c></KeyInfo>";
}

}  // namespace hostile
