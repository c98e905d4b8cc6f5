#pragma once
// A lenient scan of XML text for the mutations: where elements, attribute values and text
// runs are. It never fails on broken input; it finds what it can (the fuzzer's documents
// are broken on purpose), and stops recording at a fixed count so that large inputs stay cheap.
#include <string>
#include <vector>

namespace fuzz {

struct ElementSpan {
    size_t begin = 0;     // '<' of the start tag
    size_t startEnd = 0;  // just past the start tag's '>'
    size_t endBegin = 0;  // '<' of the end tag (== startEnd when empty-element)
    size_t end = 0;       // just past the end tag
    size_t nameBegin = 0;
    size_t nameLength = 0;
};

struct AttributeSpan {
    size_t nameBegin = 0;
    size_t nameLength = 0;
    size_t valueBegin = 0;  // past the opening quote
    size_t valueLength = 0;
};

struct TextSpan {
    size_t begin = 0;
    size_t length = 0;
};

struct XmlScan {
    std::vector<ElementSpan> elements;  // in the order their ends were found
    std::vector<AttributeSpan> attributes;
    std::vector<TextSpan> texts;  // runs between tags that are not all white space
    std::vector<size_t> tagEnds;  // positions just past a start tag: places to insert content

    static XmlScan Of(const std::string& text);
    std::string NameOf(const std::string& text, const ElementSpan& e) const {
        return text.substr(e.nameBegin, e.nameLength);
    }
    std::string NameOf(const std::string& text, const AttributeSpan& a) const {
        return text.substr(a.nameBegin, a.nameLength);
    }
};

// The local part of a qualified name ("ds:Reference" -> "Reference").
std::string LocalName(const std::string& name);

}  // namespace fuzz
