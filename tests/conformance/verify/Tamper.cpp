#include "Tamper.hpp"

#include <cctype>
#include <cstring>

#include "Files.hpp"

namespace verifyVectors {
namespace {

constexpr size_t npos = std::string::npos;

std::string AsText(const Bytes& b) { return std::string(b.begin(), b.end()); }

bool IsBase64Char(unsigned char c) { return std::isalnum(c) != 0 || c == '+' || c == '/'; }

// Another character of the same kind: a letter or digit stays one, '+' and '/' swap.
unsigned char Other(unsigned char c) {
    if (c == 'z' || c == 'Z' || c == '9') return static_cast<unsigned char>(c - 1);
    if (c == '+') return '/';
    if (c == '/') return '+';
    return static_cast<unsigned char>(c + 1);
}

// Offset just past the start tag of the first element named `local` (any prefix) at or
// after `from`; npos if there is none.
size_t AfterStartTag(const std::string& text, const std::string& local, size_t from) {
    for (size_t lt = text.find('<', from); lt != npos; lt = text.find('<', lt + 1)) {
        size_t name = lt + 1;
        const size_t end = text.find_first_of(" \t\r\n/>", name);
        if (end == npos) return npos;
        const size_t colon = text.find(':', name);
        if (colon != npos && colon < end) name = colon + 1;
        if (text.compare(name, end - name, local) == 0 && end - name == local.size()) {
            const size_t gt = text.find('>', end);
            return gt == npos ? npos : gt + 1;
        }
    }
    return npos;
}

// Flips the first Base64 character of the text that starts at `at`, before any markup.
bool FlipBase64At(Bytes& doc, size_t at) {
    for (size_t i = at; i < doc.size() && doc[i] != '<'; ++i) {
        if (IsBase64Char(doc[i])) {
            doc[i] = Other(doc[i]);
            return true;
        }
    }
    return false;
}

// The first character of character data in [from, to) that `pick` accepts; markup,
// comments, processing instructions and entity references are skipped.
template <class Pick>
size_t FindText(const Bytes& doc, size_t from, size_t to, Pick pick) {
    const std::string text = AsText(doc);
    size_t i = from;
    while (i < to) {
        if (doc[i] == '<') {
            const char* close = text.compare(i, 4, "<!--") == 0 ? "-->" : text.compare(i, 2, "<?") == 0 ? "?>" : ">";
            const size_t end = text.find(close, i);
            if (end == npos) return npos;
            i = end + std::strlen(close);
        } else if (doc[i] == '&') {
            while (i < to && doc[i] != ';') ++i;
            ++i;
        } else if (pick(doc[i])) {
            return i;
        } else {
            ++i;
        }
    }
    return npos;
}

bool FlipTextIn(Bytes& doc, size_t from, size_t to) {
    size_t at = FindText(doc, from, to, [](unsigned char c) { return std::isalnum(c) != 0; });
    if (at != npos) {
        doc[at] = Other(doc[at]);
        return true;
    }
    // Only white space to change: a space becomes a tab, which canonical XML keeps as is.
    at = FindText(doc, from, to, [](unsigned char c) { return c == ' '; });
    if (at == npos) return false;
    doc[at] = '\t';
    return true;
}

// Start of the element carrying Id/id/ID="id" (its start tag's end), or npos.
size_t AfterIdentifiedStartTag(const std::string& text, const std::string& id) {
    for (const char* attr : {"Id=", "id=", "ID="}) {
        for (const char quote : {'"', '\''}) {
            const std::string needle = std::string(attr) + quote + id + quote;
            const size_t at = text.find(needle);
            if (at != npos && at > 0 && std::isspace(static_cast<unsigned char>(text[at - 1]))) {
                const size_t gt = text.find('>', at);
                return gt == npos ? npos : gt + 1;
            }
        }
    }
    return npos;
}

// The document element's start tag: the first one that is no declaration, comment or
// processing instruction.
size_t RootStart(const std::string& text) {
    for (size_t lt = text.find('<'); lt != npos; lt = text.find('<', lt + 1)) {
        if (text.compare(lt, 2, "<?") != 0 && text.compare(lt, 2, "<!") != 0) return lt;
    }
    return npos;
}

// The whole document but the Signature element: its start and just past its end.
bool SignatureSpan(const std::string& text, size_t& begin, size_t& end) {
    const size_t inside = AfterStartTag(text, "Signature", 0);
    if (inside == npos) return false;
    begin = text.rfind('<', inside - 1);
    const size_t close = text.find("Signature>", inside);
    for (size_t at = close; at != npos; at = text.find("Signature>", at + 1)) {
        const size_t lt = text.rfind("</", at);
        if (lt != npos && text.find('>', lt) >= at) {
            end = at + std::strlen("Signature>");
            return true;
        }
    }
    return false;
}

}  // namespace

bool TamperReferencedText(Bytes& doc, const std::wstring& uri) {
    const std::string text = AsText(doc);
    if (!uri.empty() && uri[0] == L'#') {
        const size_t start = AfterIdentifiedStartTag(text, Narrow(uri.substr(1)));
        return start != npos && FlipTextIn(doc, start, doc.size());
    }
    if (!uri.empty()) return false;
    size_t sigBegin = 0;
    size_t sigEnd = 0;
    if (!SignatureSpan(text, sigBegin, sigEnd)) return false;
    const size_t root = RootStart(text);
    return root != npos && (FlipTextIn(doc, root, sigBegin) || FlipTextIn(doc, sigEnd, doc.size()));
}

bool TamperSignatureValue(Bytes& doc) {
    const size_t at = AfterStartTag(AsText(doc), "SignatureValue", 0);
    return at != npos && FlipBase64At(doc, at);
}

bool TamperDigestValue(Bytes& doc) {
    const size_t at = AfterStartTag(AsText(doc), "DigestValue", 0);
    return at != npos && FlipBase64At(doc, at);
}

bool TamperData(Bytes& data) {
    for (unsigned char& c : data) {
        if (std::isalnum(c) != 0) {
            c = Other(c);
            return true;
        }
    }
    return false;
}

}  // namespace verifyVectors
