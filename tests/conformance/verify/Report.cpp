#include "Report.hpp"

#include <algorithm>
#include <map>
#include <sstream>

namespace verifyVectors {
namespace {

std::string Pad(const std::string& s, size_t width) {
    return s + std::string(width > s.size() ? width - s.size() : 0, ' ');
}

// "valid", "open 0x80092104", "verify 0x80092105", ...: the expectation without its words.
std::string Category(const std::string& expected) {
    if (expected.rfind("open ", 0) == 0) return expected;
    const size_t cut = expected.find(' ', std::string("verify ").size());
    return expected.substr(0, cut);
}

}  // namespace

std::string FormatReport(const std::vector<ReportLine>& lines, const std::vector<Note>& notes) {
    size_t wv = 6, we = 16, wo = 7;
    for (const ReportLine& l : lines) {
        wv = std::max(wv, l.vector.size());
        we = std::max(we, l.expected.size());
        wo = std::max(wo, l.outcome.size());
    }
    std::ostringstream out;
    out << Pad("vector", wv) << "  " << Pad("expected outcome", we) << "  " << Pad("outcome", wo) << "  result\n";
    out << std::string(wv, '-') << "  " << std::string(we, '-') << "  " << std::string(wo, '-') << "  ------\n";
    std::map<std::string, std::pair<int, int>> byCategory;
    int pass = 0;
    for (const ReportLine& l : lines) {
        out << Pad(l.vector, wv) << "  " << Pad(l.expected, we) << "  " << Pad(l.outcome, wo) << "  "
            << (l.pass ? "PASS" : "FAIL") << "\n";
        pass += l.pass ? 1 : 0;
        auto& count = byCategory[Category(l.expected)];
        ++(l.pass ? count.first : count.second);
    }
    out << "\n" << lines.size() << " rows: " << pass << " PASS, " << lines.size() - pass << " FAIL\n";
    out << "by expected outcome (verify S_OK = tampered data, digest invalid):\n";
    for (const auto& [category, count] : byCategory) {
        out << "  " << Pad(category, 18) << "  " << count.first + count.second << " (" << count.first << " PASS, "
            << count.second << " FAIL)\n";
    }
    out << "\nStatus words are ERROR/INFO (CryptXmlGetStatus). Notes:\n";
    for (const Note& n : notes) out << "  " << n.vector << ": " << n.text << "\n";
    return out.str();
}

}  // namespace verifyVectors
