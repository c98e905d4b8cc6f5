// Mutations that know nothing of XML: they reach the parser's own error paths and the odd
// states a structure-aware mutation would never produce.
#include <cstring>

#include "Mutations.hpp"

namespace fuzz {
namespace {

constexpr unsigned char kInteresting[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0xC0, 0xE0, 0xF0, 0xFE,
                                          '<',  '>',  '&',  '"',  '\'', '=',  '/',  '#',  ':',
                                          ';',  '?',  '!',  '[',  ']',  '-',  ' ',  '\n', '+'};

size_t RangeLength(Rng& rng, size_t available) {
    const size_t length = 1 + rng.Skewed(available > 4096 ? 4096 : available);
    return length > available ? available : length;
}

}  // namespace

std::string RandomBase64(Rng& rng, size_t bytes) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    const size_t chars = (bytes + 2) / 3 * 4;
    text.reserve(chars + chars / 64 + 4);
    const bool wrap = rng.Percent(30);
    for (size_t i = 0; i < chars; ++i) {
        if (wrap && i > 0 && i % 76 == 0) text += '\n';
        text += kAlphabet[rng.Below(64)];
    }
    if (bytes % 3 != 0 && !text.empty()) {
        text[text.size() - 1] = '=';
        if (bytes % 3 == 1) text[text.size() - 2] = '=';
    }
    switch (rng.Below(12)) {
        case 0: text += '='; break;
        case 1:
            if (!text.empty()) text[rng.Below(text.size())] = '*';
            break;
        case 2: text.insert(rng.Below(text.size() + 1), " \t\r\n"); break;
        case 3:
            if (!text.empty()) text.pop_back();
            break;
        default: break;
    }
    return text;
}

namespace bytes {

bool FlipBits(MutationContext& c, std::string& doc) {
    if (doc.empty()) return false;
    const size_t flips = 1 + c.rng.Skewed(31);
    for (size_t i = 0; i < flips; ++i) doc[c.rng.Below(doc.size())] ^= static_cast<char>(1u << c.rng.Below(8));
    return true;
}

bool SetInterestingBytes(MutationContext& c, std::string& doc) {
    if (doc.empty()) return false;
    const size_t count = 1 + c.rng.Skewed(7);
    for (size_t i = 0; i < count; ++i) doc[c.rng.Below(doc.size())] = static_cast<char>(c.rng.Pick(kInteresting));
    return true;
}

bool InsertRandomBytes(MutationContext& c, std::string& doc) {
    std::string bytes(1 + c.rng.Skewed(255), '\0');
    const bool printable = c.rng.Percent(60);
    for (char& b : bytes) b = static_cast<char>(printable ? 0x20 + c.rng.Below(0x5F) : c.rng.Below(256));
    doc.insert(c.rng.Below(doc.size() + 1), bytes);
    return true;
}

bool DeleteRange(MutationContext& c, std::string& doc) {
    if (doc.size() < 2) return false;
    const size_t at = c.rng.Below(doc.size());
    doc.erase(at, RangeLength(c.rng, doc.size() - at));
    return true;
}

bool DuplicateRange(MutationContext& c, std::string& doc) {
    if (doc.empty()) return false;
    const size_t at = c.rng.Below(doc.size());
    const std::string range = doc.substr(at, RangeLength(c.rng, doc.size() - at));
    const size_t copies = c.rng.Percent(90) ? 1 : 1 + c.rng.Skewed(255);
    std::string repeated;
    for (size_t i = 0; i < copies; ++i) repeated += range;
    doc.insert(c.rng.Percent(50) ? at : c.rng.Below(doc.size() + 1), repeated);
    return true;
}

bool OverwriteWithRange(MutationContext& c, std::string& doc) {
    if (doc.size() < 2) return false;
    const size_t from = c.rng.Below(doc.size());
    const std::string range = doc.substr(from, RangeLength(c.rng, doc.size() - from));
    const size_t to = c.rng.Below(doc.size());
    doc.replace(to, range.size(), range);
    return true;
}

bool InsertToken(MutationContext& c, std::string& doc) {
    const auto& tokens = c.dictionary.Tokens();
    doc.insert(c.rng.Below(doc.size() + 1), tokens[c.rng.Below(tokens.size())]);
    return true;
}

// The head of this document and the tail of another seed, cut at a tag where possible.
bool SpliceSeeds(MutationContext& c, std::string& doc) {
    if (c.corpus.empty()) return false;
    const std::string& other = c.corpus[c.rng.Below(c.corpus.size())].bytes;
    size_t cut = c.rng.Below(doc.size() + 1);
    size_t from = c.rng.Below(other.size() + 1);
    if (c.rng.Percent(70)) {
        const size_t tag = doc.find('<', cut);
        const size_t otherTag = other.find('<', from);
        if (tag != std::string::npos) cut = tag;
        if (otherTag != std::string::npos) from = otherTag;
    }
    doc = doc.substr(0, cut) + other.substr(from);
    return true;
}

bool Truncate(MutationContext& c, std::string& doc) {
    if (doc.size() < 2) return false;
    doc.resize(1 + c.rng.Below(doc.size() - 1));
    return true;
}

// A run of digits becomes another number: 0, a neighbour, a huge one or a negative one.
bool ChangeNumber(MutationContext& c, std::string& doc) {
    size_t at = c.rng.Below(doc.size() + 1);
    while (at < doc.size() && (doc[at] < '0' || doc[at] > '9')) ++at;
    if (at >= doc.size()) return false;
    size_t end = at;
    while (end < doc.size() && doc[end] >= '0' && doc[end] <= '9') ++end;
    static const char* const kNumbers[] = {"0",
                                           "1",
                                           "-1",
                                           "7",
                                           "8",
                                           "255",
                                           "256",
                                           "65536",
                                           "2147483647",
                                           "2147483648",
                                           "4294967295",
                                           "4294967296",
                                           "18446744073709551616",
                                           "00000000000000000000000000000001"};
    doc.replace(at, end - at, c.rng.Pick(kNumbers));
    return true;
}

}  // namespace bytes
}  // namespace fuzz
