// Verifies real signed documents through the exported API only: the xmlsec1 suites, the
// project's GOST documents and documents signed moments ago by xmlsec1, each with the key
// the manifest names, then tampered copies of every one that verifies. Writes the table of
// expected and actual outcomes to TALVORAN_VERIFY_REPORT and to the test output.
#include <gtest/gtest.h>

#include <windows.h>

#include <iostream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Expectations.hpp"
#include "Files.hpp"
#include "Manifest.hpp"
#include "Report.hpp"
#include "Runner.hpp"
#include "Tamper.hpp"
#include "support/CryptXmlDll.hpp"

namespace verifyVectors {
namespace {

struct Table {
    std::vector<ReportLine> lines;
    std::vector<Note> notes;

    void Add(const std::string& vector, const Expectation& e, const Outcome& o) {
        lines.push_back({vector, Describe(e), Describe(o), Matches(e, o), o.trace});
    }
    void Fail(const std::string& vector, const std::string& expected, const std::string& why) {
        lines.push_back({vector, expected, why, false, ""});
    }
};

bool LoadInputs(const VectorRow& row, RunInput& in, Table& table) {
    in.row = &row;
    if (!ReadAll(row.document, in.document)) {
        table.Fail(row.name, "readable document", "cannot read " + row.document);
        return false;
    }
    for (const ExternalData& ext : row.external) {
        if (!ReadAll(ext.path, in.feeds[ext.uri])) {
            table.Fail(row.name, "readable external data", "cannot read " + ext.path);
            return false;
        }
    }
    return true;
}

void RunDataTampers(const VectorRow& row, const RunInput& base, const Outcome& shape, Table& table) {
    for (size_t i = 0; i < shape.refs.size(); ++i) {
        RunInput in = base;
        const RefOutcome& ref = shape.refs[i];
        const std::string label =
            row.name + " [a: ref" + std::to_string(i + 1) + (ref.external ? " fed data]" : " signed text]");
        const auto feed = in.feeds.find(ref.uri);
        const bool changed = ref.external ? feed != in.feeds.end() && TamperData(feed->second)
                                          : TamperReferencedText(in.document, ref.uri);
        if (!changed) {
            table.Fail(label, "a byte to change", "no place found for URI \"" + Narrow(ref.uri) + "\"");
            continue;
        }
        table.Add(label, DataTampered(shape, i), Run(in));
    }
}

void RunSignedInfoTamper(const VectorRow& row, const RunInput& base, const Outcome& shape, bool (*tamper)(Bytes&),
                         std::optional<size_t> changedDigest, const char* what, Table& table) {
    RunInput in = base;
    in.feedBeforeVerify = true;
    const std::string label = row.name + " [" + what + "]";
    if (!tamper(in.document)) {
        table.Fail(label, "a byte to change", "no such element");
        return;
    }
    table.Add(label, SignedInfoTampered(shape, changedDigest), Run(in));
}

void RunRow(const VectorRow& row, Table& table) {
    RunInput base;
    if (!LoadInputs(row, base, table)) return;
    const Outcome outcome = Run(base);
    if (row.verdict != Verdict::Valid) {
        table.Add(row.name, row.failure, outcome);
        return;
    }
    table.Add(row.name, Valid(outcome), outcome);
    RunDataTampers(row, base, outcome, table);
    RunSignedInfoTamper(row, base, outcome, &TamperSignatureValue, std::nullopt, "b: SignatureValue", table);
    RunSignedInfoTamper(row, base, outcome, &TamperDigestValue, 0, "c: ref1 DigestValue", table);
}

// Every document of the two xmlsec1 suites must have a row.
std::vector<std::string> Uncovered(const std::vector<VectorRow>& rows, const std::string& suites) {
    std::set<std::string> listed;
    for (const VectorRow& r : rows) listed.insert(r.document);
    std::vector<std::string> missing;
    for (const char* suite : {"merlin-xmldsig-twenty-three", "aleksey-xmldsig-01"}) {
        const std::string dir = suites + "/" + suite + "/";
        WIN32_FIND_DATAA found;
        HANDLE h = ::FindFirstFileA(WinPath(dir + "*.xml").c_str(), &found);
        if (h == INVALID_HANDLE_VALUE) {
            missing.push_back(dir + " (cannot list)");
            continue;
        }
        do {
            if (listed.count(dir + found.cFileName) == 0) missing.push_back(dir + found.cFileName);
        } while (::FindNextFileA(h, &found));
        ::FindClose(h);
    }
    return missing;
}

std::string Required(const char* name) {
    const std::string value = Environment(name);
    if (value.empty()) ADD_FAILURE() << name << " is not set";
    return value;
}

TEST(VerifyVectors, EveryDocumentAnswersAsExpected) {
    const std::string manifest = Required("TALVORAN_VERIFY_MANIFEST");
    const std::string suites = Required("TALVORAN_VERIFY_SUITES");
    const std::string report = Required("TALVORAN_VERIFY_REPORT");
    const Placeholders places = {{"@SUITES@", suites},
                                 {"@OUT@", Required("TALVORAN_VERIFY_OUT")},
                                 {"@SHARED@", Required("TALVORAN_VERIFY_SHARED")}};
    ASSERT_FALSE(HasFailure());
    std::string error;
    const std::vector<VectorRow> rows = LoadManifest(manifest, places, error);
    ASSERT_EQ("", error);
    ASSERT_FALSE(rows.empty());
    // The trace's last line after each verification goes with any mismatch.
    testing_support::CryptXmlDll::Get().StartDebugging();
    for (const std::string& doc : Uncovered(rows, suites)) ADD_FAILURE() << "no manifest row for " << doc;

    Table table;
    for (const VectorRow& row : rows) {
        RunRow(row, table);
        if (row.note != "-") table.notes.push_back({row.name, row.note});
    }
    const std::string text = FormatReport(table.lines, table.notes);
    std::cout << text;
    EXPECT_TRUE(WriteAll(report, text)) << "cannot write " << report;
    for (const ReportLine& l : table.lines) {
        EXPECT_TRUE(l.pass) << l.vector << "\n  expected: " << l.expected << "\n  outcome:  " << l.outcome
                            << "\n  trace:    " << l.trace;
    }
}

}  // namespace
}  // namespace verifyVectors
