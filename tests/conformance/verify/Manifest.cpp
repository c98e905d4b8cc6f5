#include "Manifest.hpp"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Files.hpp"

namespace verifyVectors {
namespace {

std::vector<std::string> SplitOn(const std::string& text, char sep) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, sep)) parts.push_back(part);
    if (!text.empty() && text.back() == sep) parts.emplace_back();
    return parts;
}

std::string Expand(std::string text, const Placeholders& places) {
    for (const auto& [name, value] : places) {
        for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + value.size())) {
            text.replace(at, name.size(), value);
        }
    }
    return text;
}

void ParseKey(const std::string& field, const Placeholders& places, VectorRow& row) {
    static const std::map<std::string, KeySource> kinds = {
        {"-", KeySource::None},           {"doc", KeySource::Document},
        {"cert", KeySource::Certificate}, {"spki", KeySource::PublicKeyInfo},
        {"hmac", KeySource::HmacSecret},  {"doccert", KeySource::DocumentCertificate}};
    const size_t colon = field.find(':');
    const auto kind = kinds.find(field.substr(0, colon));
    if (kind == kinds.end()) throw std::runtime_error("unknown key source '" + field + "'");
    row.key = kind->second;
    if (colon != std::string::npos) row.keyPath = Expand(field.substr(colon + 1), places);
}

void ParseExternal(const std::string& field, const Placeholders& places, VectorRow& row) {
    if (field == "-") return;
    for (const std::string& entry : SplitOn(field, ';')) {
        const size_t bar = entry.find('|');
        if (bar == std::string::npos) throw std::runtime_error("external data '" + entry + "' is not URI|PATH");
        row.external.push_back({Widen(entry.substr(0, bar)), Expand(entry.substr(bar + 1), places)});
    }
}

HRESULT ParseHr(const std::string& token) { return static_cast<HRESULT>(std::stoul(token, nullptr, 16)); }

StatusWords ParseWords(const std::string& token) {
    const size_t slash = token.find('/');
    if (slash == std::string::npos) throw std::runtime_error("status '" + token + "' is not ERROR/INFO");
    return {static_cast<DWORD>(std::stoul(token.substr(0, slash), nullptr, 16)),
            static_cast<DWORD>(std::stoul(token.substr(slash + 1), nullptr, 16))};
}

// "valid" | "open HR" | "verify HR [sig=E/I] [doc=E/I] [ref=E/I ...]"
void ParseExpectation(const std::string& field, VectorRow& row) {
    std::istringstream in(field);
    std::string word;
    in >> word;
    if (word == "valid") {
        row.verdict = Verdict::Valid;
        return;
    }
    std::string hr;
    if (!(in >> hr)) throw std::runtime_error("expectation '" + field + "' has no HRESULT");
    if (word == "open") {
        row.verdict = Verdict::OpenFails;
        row.failure.openHr = ParseHr(hr);
        return;
    }
    if (word != "verify") throw std::runtime_error("unknown expectation '" + field + "'");
    row.verdict = Verdict::VerifyFails;
    row.failure.verifyHr = ParseHr(hr);
    for (std::string item; in >> item;) {
        const std::string value = item.substr(item.find('=') + 1);
        if (item.rfind("sig=", 0) == 0)
            row.failure.sig = ParseWords(value);
        else if (item.rfind("doc=", 0) == 0)
            row.failure.doc = ParseWords(value);
        else if (item.rfind("ref=", 0) == 0)
            row.failure.refs.push_back({std::nullopt, ParseWords(value)});
        else
            throw std::runtime_error("unknown expectation item '" + item + "'");
    }
}

VectorRow ParseRow(const std::vector<std::string>& f, const Placeholders& places) {
    if (f.size() != 6) throw std::runtime_error("expected 6 tab-separated fields, found " + std::to_string(f.size()));
    VectorRow row;
    row.name = f[0];
    row.document = Expand(f[1], places);
    ParseKey(f[2], places, row);
    ParseExternal(f[3], places, row);
    ParseExpectation(f[4], row);
    row.note = f[5];
    return row;
}

}  // namespace

std::vector<VectorRow> LoadManifest(const std::string& path, const Placeholders& places, std::string& error) {
    std::vector<VectorRow> rows;
    std::ifstream in(WinPath(path));
    if (!in) {
        error = "cannot read " + path;
        return rows;
    }
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        try {
            rows.push_back(ParseRow(SplitOn(line, '\t'), places));
        } catch (const std::exception& e) {
            error = path + ":" + std::to_string(number) + ": " + e.what();
            return rows;
        }
    }
    return rows;
}

}  // namespace verifyVectors
