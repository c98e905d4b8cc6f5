#pragma once
// The hostile documents, each as a DOCTYPE and a content that fit under any document
// element, with the detail text of the refusal the library answers them with.
#include <string>
#include <vector>

#include "Bait.hpp"
#include "DeepDocs.hpp"

namespace hostile {

constexpr char kExternalDtd[] = "the document names an external DTD, which is not read.";
constexpr char kExternalEntity[] = "the DTD declares an external entity, which is not read.";
constexpr char kParameterEntity[] = "the DTD declares a parameter entity.";
constexpr char kLongEntity[] = "the DTD declares an entity longer than 1000 characters.";
constexpr char kExpansions[] = "more than 10000 entity references expanded.";
constexpr char kDepthDetail[] = "the document nests deeper than 1000 levels.";
constexpr char kDefaults[] = "attribute defaults add more than 10000000 characters.";

struct Payload {
    std::string name;
    std::string doctype;  // "%ROOT%" stands for the document element's name
    std::string content;
    std::string detail;

    // The document with `root` as its document element (attributes given with it).
    std::string Around(const std::string& root, const std::string& rootAttributes = "") const {
        std::string head = doctype;
        for (size_t at = head.find("%ROOT%"); at != std::string::npos; at = head.find("%ROOT%")) {
            head.replace(at, 6, root);
        }
        return head + "<" + root + rootAttributes + ">" + content + "</" + root + ">";
    }
};

// lol9 expands to 10^9 copies of "lol".
inline std::string LaughsDtd() {
    std::string dtd = "<!ENTITY lol \"lol\">";
    for (int i = 1; i <= 9; ++i) {
        const std::string previous = i == 1 ? "&lol;" : "&lol" + std::to_string(i - 1) + ";";
        std::string value;
        for (int j = 0; j < 10; ++j) value += previous;
        dtd += "<!ENTITY lol" + std::to_string(i) + " \"" + value + "\">";
    }
    return dtd;
}

// What every entry point that parses caller XML is given: fetching (a file, the listener),
// through an entity, the DTD's external subset and a parameter entity, the exponential
// expansion, and nesting.
inline std::vector<Payload> CommonPayloads() {
    const Bait& bait = Bait::Get();
    return {
        {"external entity, file", "<!DOCTYPE %ROOT% [<!ENTITY ext SYSTEM \"" + bait.FileUrl("entity.txt") + "\">]>",
         "&ext;", kExternalEntity},
        {"external entity, http", "<!DOCTYPE %ROOT% [<!ENTITY ext SYSTEM \"" + bait.HttpUrl("entity.txt") + "\">]>",
         "&ext;", kExternalEntity},
        {"external DTD, file", "<!DOCTYPE %ROOT% SYSTEM \"" + bait.FileUrl("subset.dtd") + "\">", "text", kExternalDtd},
        {"external DTD, http", "<!DOCTYPE %ROOT% SYSTEM \"" + bait.HttpUrl("subset.dtd") + "\">", "text", kExternalDtd},
        {"parameter entity, file",
         "<!DOCTYPE %ROOT% [<!ENTITY % pe SYSTEM \"" + bait.FileUrl("param.dtd") + "\"> %pe;]>", "text",
         kParameterEntity},
        {"billion laughs", "<!DOCTYPE %ROOT% [" + LaughsDtd() + "]>", "&lol9;", kExpansions},
        {"100,000 levels", "", Nest(100000), kDepthDetail},
    };
}

}  // namespace hostile
