// Mutations that keep to the document's structure: whole elements, attribute values,
// algorithm URIs, Base64 text, Id/URI links. They get past the parser and into the
// signature, reference, KeyInfo and transform code, where byte mutations rarely arrive.
#include <windows.h>

#include "Mutations.hpp"
#include "XmlScan.hpp"

namespace fuzz {
namespace {

template <class T>
const T* PickOf(Rng& rng, const std::vector<T>& items) {
    return items.empty() ? nullptr : &items[rng.Below(items.size())];
}

const std::string& PickString(Rng& rng, const std::vector<std::string>& items) {
    return items[rng.Below(items.size())];
}

// Somewhere new content can go between elements: after a start tag, before or after an element.
size_t InsertionPoint(Rng& rng, const XmlScan& scan, size_t docSize) {
    const ElementSpan* e = PickOf(rng, scan.elements);
    if (e == nullptr || rng.Percent(10)) return rng.Below(docSize + 1);
    switch (rng.Below(3)) {
        case 0: return e->begin;
        case 1: return e->end;
        default: return e->startEnd;
    }
}

std::string Slice(const std::string& doc, const ElementSpan& e) { return doc.substr(e.begin, e.end - e.begin); }

// Attributes whose local name is one of `names`.
std::vector<AttributeSpan> AttributesNamed(const std::string& doc, const XmlScan& scan,
                                           std::initializer_list<const char*> names) {
    std::vector<AttributeSpan> found;
    for (const AttributeSpan& a : scan.attributes) {
        const std::string local = LocalName(scan.NameOf(doc, a));
        for (const char* name : names) {
            if (local == name) found.push_back(a);
        }
    }
    return found;
}

std::string LongValue(Rng& rng) {
    const size_t length = 1 + rng.Skewed(1u << 17);
    std::string value(length, 'a');
    if (rng.Percent(50)) value[0] = '#';
    return value;
}

std::string Utf8ToUtf16(const std::string& utf8, bool bigEndian, bool bom) {
    const int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(n > 0 ? n : 0), L'\0');
    if (n > 0) MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &wide[0], n);
    std::string out;
    out.reserve(wide.size() * 2 + 2);
    auto put = [&](wchar_t ch) {
        const char hi = static_cast<char>((ch >> 8) & 0xFF), lo = static_cast<char>(ch & 0xFF);
        out += bigEndian ? hi : lo;
        out += bigEndian ? lo : hi;
    };
    if (bom) put(0xFEFF);
    for (wchar_t ch : wide) put(ch);
    return out;
}

}  // namespace

namespace xml {

bool DuplicateElement(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const ElementSpan* e = PickOf(c.rng, scan.elements);
    if (e == nullptr) return false;
    const std::string copy = Slice(doc, *e);
    const size_t copies = c.rng.Percent(90) ? 1 : 2 + c.rng.Skewed(62);
    std::string repeated;
    for (size_t i = 0; i < copies; ++i) repeated += copy;
    doc.insert(c.rng.Percent(70) ? e->end : InsertionPoint(c.rng, scan, doc.size()), repeated);
    return true;
}

bool DeleteElement(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const ElementSpan* e = PickOf(c.rng, scan.elements);
    if (e == nullptr) return false;
    if (c.rng.Percent(30) && e->endBegin > e->startEnd) {
        doc.erase(e->startEnd, e->endBegin - e->startEnd);  // the content only
    } else {
        doc.erase(e->begin, e->end - e->begin);
    }
    return true;
}

bool MoveElement(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const ElementSpan* e = PickOf(c.rng, scan.elements);
    if (e == nullptr) return false;
    const std::string moved = Slice(doc, *e);
    const size_t to = InsertionPoint(c.rng, scan, doc.size());
    if (to > e->begin && to < e->end) return false;  // into itself
    doc.erase(e->begin, moved.size());
    doc.insert(to > e->begin ? to - moved.size() : to, moved);
    return true;
}

bool SetAttributeValue(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const AttributeSpan* a = PickOf(c.rng, scan.attributes);
    if (a == nullptr) return false;
    std::string value;
    switch (c.rng.Below(5)) {
        case 0: value = LongValue(c.rng); break;
        case 1: {
            const AttributeSpan* other = PickOf(c.rng, scan.attributes);
            value = doc.substr(other->valueBegin, other->valueLength);
            break;
        }
        case 2: value = PickString(c.rng, c.dictionary.Uris()); break;
        default: value = PickString(c.rng, c.dictionary.AttributeValues()); break;
    }
    doc.replace(a->valueBegin, a->valueLength, value);
    return true;
}

bool SwapAlgorithmUri(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const std::vector<AttributeSpan> algorithms = AttributesNamed(doc, scan, {"Algorithm"});
    const AttributeSpan* a = PickOf(c.rng, algorithms);
    if (a == nullptr) return false;
    doc.replace(a->valueBegin, a->valueLength, PickString(c.rng, c.dictionary.Uris()));
    return true;
}

bool DeleteAttribute(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const AttributeSpan* a = PickOf(c.rng, scan.attributes);
    if (a == nullptr) return false;
    // name="value": the closing quote follows the value.
    const size_t end = a->valueBegin + a->valueLength + 1;
    doc.erase(a->nameBegin, (end < doc.size() ? end : doc.size()) - a->nameBegin);
    return true;
}

bool AddAttribute(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const ElementSpan* e = PickOf(c.rng, scan.elements);
    if (e == nullptr) return false;
    static const char* const kNames[] = {"Id",        "ID",       "id",       "URI",       "Type",
                                         "Algorithm", "MimeType", "Encoding", "Target",    "xmlns",
                                         "xmlns:ds",  "xml:id",   "Filter",   "PrefixList"};
    const std::string value =
        c.rng.Percent(50) ? PickString(c.rng, c.dictionary.AttributeValues()) : PickString(c.rng, c.dictionary.Uris());
    doc.insert(e->nameBegin + e->nameLength, std::string(" ") + c.rng.Pick(kNames) + "=\"" + value + "\"");
    return true;
}

// An element wrapped in many others: of its own name, of a DSig name, or of a plain one.
// Now and then so deep that recursive code would run out of stack.
bool NestDeeper(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const ElementSpan* e = PickOf(c.rng, scan.elements);
    if (e == nullptr) return false;
    std::string name;
    switch (c.rng.Below(3)) {
        case 0: name = scan.NameOf(doc, *e); break;
        case 1: name = PickString(c.rng, c.dictionary.ElementNames()); break;
        default: name = "x"; break;
    }
    if (name.empty()) name = "x";
    const size_t depth = c.rng.Percent(97) ? 1 + c.rng.Skewed(63) : 1 + c.rng.Skewed(50000);
    std::string open, close;
    open.reserve(depth * (name.size() + 2));
    close.reserve(depth * (name.size() + 3));
    for (size_t i = 0; i < depth; ++i) {
        open += "<" + name + ">";
        close += "</" + name + ">";
    }
    const bool inside = c.rng.Percent(50) && e->endBegin > e->startEnd;
    if (inside) {
        doc.insert(e->endBegin, close);
        doc.insert(e->startEnd, open);
    } else {
        doc.insert(e->end, close);
        doc.insert(e->begin, open);
    }
    return true;
}

bool ReplaceText(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const TextSpan* t = PickOf(c.rng, scan.texts);
    if (t == nullptr) return false;
    std::string text;
    switch (c.rng.Below(8)) {
        case 0: text = ""; break;
        case 1: text = " \n\t "; break;
        case 2: text = RandomBase64(c.rng, c.rng.Percent(95) ? c.rng.Skewed(600) : c.rng.Skewed(1u << 20)); break;
        case 3: text = "!!!not base64!!!"; break;
        case 4: text = PickString(c.rng, c.dictionary.Uris()); break;
        case 5: text = "&lt;&amp;&#65;&#x10000;"; break;
        default: text = RandomBase64(c.rng, c.rng.Skewed(300)); break;
    }
    doc.replace(t->begin, t->length, text);
    return true;
}

// An Id and a URI made to name each other, two Ids made equal, or a URI to nothing.
bool LinkIdsAndUris(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const std::vector<AttributeSpan> ids = AttributesNamed(doc, scan, {"Id", "ID", "id"});
    const std::vector<AttributeSpan> uris = AttributesNamed(doc, scan, {"URI", "Target"});
    const AttributeSpan* id = PickOf(c.rng, ids);
    const AttributeSpan* uri = PickOf(c.rng, uris);
    if (id == nullptr && uri == nullptr) return false;
    if (uri != nullptr && (id == nullptr || c.rng.Percent(50))) {
        std::string value = id != nullptr ? "#" + doc.substr(id->valueBegin, id->valueLength) : "#nothing";
        if (c.rng.Percent(20)) value = "#xpointer(id('" + value.substr(1) + "'))";
        if (c.rng.Percent(10)) value = "";
        doc.replace(uri->valueBegin, uri->valueLength, value);
        return true;
    }
    const AttributeSpan* other = PickOf(c.rng, ids);
    const std::string value = other != id ? doc.substr(other->valueBegin, other->valueLength) : "";
    doc.replace(id->valueBegin, id->valueLength, value);
    return true;
}

bool InsertSnippet(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    std::string snippet = PickString(c.rng, c.dictionary.Snippets());
    // A prefixed document gets prefixed snippets now and then.
    if (c.rng.Percent(20)) {
        std::string prefixed;
        for (size_t i = 0; i < snippet.size(); ++i) {
            prefixed += snippet[i];
            const bool tagStart = snippet[i] == '<' && i + 1 < snippet.size() && snippet[i + 1] != '/';
            const bool endTag = snippet[i] == '/' && i > 0 && snippet[i - 1] == '<';
            if (tagStart || endTag) prefixed += "ds:";
        }
        snippet = prefixed;
    }
    doc.insert(InsertionPoint(c.rng, scan, doc.size()), snippet);
    return true;
}

bool RenameElement(MutationContext& c, std::string& doc) {
    const XmlScan scan = XmlScan::Of(doc);
    const ElementSpan* e = PickOf(c.rng, scan.elements);
    if (e == nullptr) return false;
    std::string name = PickString(c.rng, c.dictionary.ElementNames());
    if (c.rng.Percent(20)) name = "ds:" + LocalName(name);
    const bool both = c.rng.Percent(85);
    if (e->endBegin != e->end && both) doc.replace(e->endBegin + 2, e->nameLength, name);
    doc.replace(e->nameBegin, e->nameLength, name);
    return true;
}

// An element of another seed, put into this document.
bool SpliceElement(MutationContext& c, std::string& doc) {
    if (c.corpus.empty()) return false;
    const std::string& other = c.corpus[c.rng.Below(c.corpus.size())].bytes;
    const XmlScan otherScan = XmlScan::Of(other);
    const ElementSpan* e = PickOf(c.rng, otherScan.elements);
    if (e == nullptr) return false;
    const XmlScan scan = XmlScan::Of(doc);
    doc.insert(InsertionPoint(c.rng, scan, doc.size()), Slice(other, *e));
    return true;
}

// The document in UTF-16 (either order, with or without a byte-order mark), or its
// declaration naming another encoding than the bytes have.
bool Reencode(MutationContext& c, std::string& doc) {
    if (c.rng.Percent(60)) {
        doc = Utf8ToUtf16(doc, c.rng.Percent(50), c.rng.Percent(70));
        return true;
    }
    static const char* const kEncodings[] = {"UTF-16",       "UTF-16LE", "ISO-8859-1", "US-ASCII", "EBCDIC-CP-US",
                                             "windows-1251", "UTF-32",   "x-unknown",  ""};
    const size_t declaration = doc.find("encoding=");
    const std::string value = c.rng.Pick(kEncodings);
    if (declaration == std::string::npos || declaration > 100) {
        doc.insert(0, "<?xml version=\"1.0\" encoding=\"" + value + "\"?>");
        return true;
    }
    const size_t quote = declaration + 9;
    const size_t close = quote < doc.size() ? doc.find(doc[quote], quote + 1) : std::string::npos;
    if (close == std::string::npos) return false;
    doc.replace(quote + 1, close - quote - 1, value);
    return true;
}

}  // namespace xml
}  // namespace fuzz
