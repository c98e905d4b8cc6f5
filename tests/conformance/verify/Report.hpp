#pragma once
#include <string>
#include <vector>

namespace verifyVectors {

struct ReportLine {
    std::string vector;
    std::string expected;
    std::string outcome;
    bool pass = false;
    std::string trace;  // not in the table: shown with a mismatch
};

struct Note {
    std::string vector;
    std::string text;
};

// The table (vector, expected outcome, outcome, PASS/FAIL), the counts, then the notes
// that justify an expectation.
std::string FormatReport(const std::vector<ReportLine>& lines, const std::vector<Note>& notes);

}  // namespace verifyVectors
