#include "XmlScan.hpp"

#include <cstring>

namespace fuzz {
namespace {

constexpr size_t kRecordMax = 4096;

bool IsNameChar(char c) { return c != '\0' && std::strchr(" \t\r\n/>=<\"'", c) == nullptr; }

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool StartsAt(const std::string& text, size_t at, const char* what) {
    return text.compare(at, std::strlen(what), what) == 0;
}

// Just past `close` from `at`, or the end of the text.
size_t SkipPast(const std::string& text, size_t at, const char* close) {
    const size_t found = text.find(close, at);
    return found == std::string::npos ? text.size() : found + std::strlen(close);
}

struct Open {
    size_t begin;
    size_t startEnd;
    size_t nameBegin;
    size_t nameLength;
};

class Scanner {
public:
    explicit Scanner(const std::string& text) : text_(text) {}

    XmlScan Run() {
        size_t at = 0;
        while (at < text_.size()) at = text_[at] == '<' ? Markup(at) : Text(at);
        return std::move(scan_);
    }

private:
    size_t Text(size_t at) {
        size_t end = text_.find('<', at);
        if (end == std::string::npos) end = text_.size();
        bool blank = true;
        for (size_t i = at; i < end && blank; ++i) blank = IsSpace(text_[i]);
        if (!blank && scan_.texts.size() < kRecordMax) scan_.texts.push_back({at, end - at});
        return end;
    }

    size_t Markup(size_t at) {
        if (StartsAt(text_, at, "<!--")) return SkipPast(text_, at + 4, "-->");
        if (StartsAt(text_, at, "<![CDATA[")) return SkipPast(text_, at + 9, "]]>");
        if (StartsAt(text_, at, "<?") || StartsAt(text_, at, "<!")) return SkipPast(text_, at + 2, ">");
        if (StartsAt(text_, at, "</")) return EndTag(at);
        return StartTag(at);
    }

    size_t Name(size_t at) const {
        while (at < text_.size() && IsNameChar(text_[at])) ++at;
        return at;
    }

    size_t EndTag(size_t at) {
        const size_t nameBegin = at + 2;
        const size_t nameEnd = Name(nameBegin);
        const size_t end = SkipPast(text_, nameEnd, ">");
        for (size_t i = open_.size(); i-- > 0;) {
            const Open& o = open_[i];
            if (o.nameLength != nameEnd - nameBegin ||
                text_.compare(o.nameBegin, o.nameLength, text_, nameBegin, nameEnd - nameBegin) != 0) {
                continue;
            }
            Record({o.begin, o.startEnd, at, end, o.nameBegin, o.nameLength});
            open_.resize(i);
            break;
        }
        return end;
    }

    size_t StartTag(size_t at) {
        const size_t nameBegin = at + 1;
        const size_t nameEnd = Name(nameBegin);
        size_t i = nameEnd;
        while (i < text_.size() && text_[i] != '>' && text_[i] != '<') {
            if (IsSpace(text_[i]) || text_[i] == '/') {
                ++i;
                continue;
            }
            i = Attribute(i);
        }
        if (i >= text_.size() || text_[i] == '<') return i;  // an unfinished tag: the rest is scanned anew
        const bool empty = i > at && text_[i - 1] == '/';
        const size_t startEnd = i + 1;
        if (scan_.tagEnds.size() < kRecordMax && !empty) scan_.tagEnds.push_back(startEnd);
        if (empty) {
            Record({at, startEnd, startEnd, startEnd, nameBegin, nameEnd - nameBegin});
        } else if (open_.size() < kRecordMax) {
            open_.push_back({at, startEnd, nameBegin, nameEnd - nameBegin});
        }
        return startEnd;
    }

    // name = "value" (either quote); returns the position after it.
    size_t Attribute(size_t at) {
        const size_t nameEnd = Name(at);
        if (nameEnd == at) return at + 1;
        size_t i = nameEnd;
        while (i < text_.size() && IsSpace(text_[i])) ++i;
        if (i >= text_.size() || text_[i] != '=') return i;
        ++i;
        while (i < text_.size() && IsSpace(text_[i])) ++i;
        if (i >= text_.size() || (text_[i] != '"' && text_[i] != '\'')) return i;
        const char quote = text_[i];
        const size_t valueBegin = i + 1;
        size_t close = text_.find(quote, valueBegin);
        if (close == std::string::npos) close = text_.size();
        if (scan_.attributes.size() < kRecordMax) {
            scan_.attributes.push_back({at, nameEnd - at, valueBegin, close - valueBegin});
        }
        return close < text_.size() ? close + 1 : close;
    }

    void Record(const ElementSpan& e) {
        if (scan_.elements.size() < kRecordMax) scan_.elements.push_back(e);
    }

    const std::string& text_;
    XmlScan scan_;
    std::vector<Open> open_;
};

}  // namespace

XmlScan XmlScan::Of(const std::string& text) { return Scanner(text).Run(); }

std::string LocalName(const std::string& name) {
    const size_t colon = name.find(':');
    return colon == std::string::npos ? name : name.substr(colon + 1);
}

}  // namespace fuzz
