#pragma once
// What the XML-aware mutations put into documents: algorithm URIs (the DLL's own catalog
// plus transforms and names it does not know), attribute values, element snippets of the
// XML-DSig vocabulary and XML constructs parsers treat specially.
#include <string>
#include <vector>

namespace fuzz {

class Dictionary {
public:
    // The fixed entries; AddUri adds what the DLL's catalog lists.
    Dictionary();
    void AddUri(const std::string& uri);

    const std::vector<std::string>& Uris() const { return uris_; }
    const std::vector<std::string>& AttributeValues() const { return attributeValues_; }
    const std::vector<std::string>& Snippets() const { return snippets_; }
    const std::vector<std::string>& Tokens() const { return tokens_; }
    const std::vector<std::string>& ElementNames() const { return elementNames_; }

private:
    std::vector<std::string> uris_;
    std::vector<std::string> attributeValues_;
    std::vector<std::string> snippets_;
    std::vector<std::string> tokens_;
    std::vector<std::string> elementNames_;
};

}  // namespace fuzz
