// The two modes besides a run: replaying one iteration of a run, and the saved regression
// inputs, each of which must give exactly the outcome written beside it.
#include <chrono>
#include <cstdio>
#include <memory>
#include <set>

#include "Figures.hpp"
#include "Fuzzing.hpp"
#include "Mutator.hpp"
#include "Setup.hpp"
#include "support/CryptXmlDll.hpp"
#include "support/HostFiles.hpp"

namespace fuzz {
namespace {

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields;
    size_t start = 0;
    for (;;) {
        const size_t tab = line.find('\t', start);
        fields.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
        if (tab == std::string::npos) return fields;
        start = tab + 1;
    }
}

// The *.xml files directly in `dir`.
std::set<std::string> XmlFilesIn(const std::string& dir) {
    std::set<std::string> names;
    WIN32_FIND_DATAW found;
    const std::wstring pattern = testing_support::WidenUtf8(testing_support::WinPath(dir + "/*.xml"));
    HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return names;
    do {
        names.insert(testing_support::NarrowUtf8(found.cFileName));
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return names;
}

struct Checked {
    bool passed;
    std::string detail;
};

// Some inputs were hangs: work that grew faster than the input. Each must now be done in
// a time no such input could be, even on a loaded machine.
constexpr double kSecondsMax = 10;

Checked CheckOne(const Exercise& exercise, const CspCounters& csp, const std::string& doc, uint64_t rngState,
                 const std::string& expected) {
    auto tally = std::make_unique<Tally>();
    Rng rng(rngState);
    const CspCounts before = csp.Read();
    const auto start = std::chrono::steady_clock::now();
    const Exercise::Report report = exercise.Run(doc, rng, *tally);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const CspCounts after = csp.Read();
    std::string detail = report.outcome;
    for (const std::string& finding : report.findings) detail += "\n    " + finding;
    if (after != before) detail += "\n    CryptoAPI handles not given back: " + before.Text() + " -> " + after.Text();
    if (seconds > kSecondsMax) detail += "\n    took " + std::to_string(seconds) + " s";
    const bool passed =
        report.outcome == expected && report.findings.empty() && after == before && seconds <= kSecondsMax;
    if (!passed) {
        const std::wstring last = testing_support::CryptXmlDll::Get().LastMessage();
        detail += "\n    last trace line: " + testing_support::NarrowUtf8(last);
    }
    return {passed, detail};
}

// The library acquires the contexts of its crypto provider with its XML stack, on the
// first call that needs it: that call is made here, so that no regression input is
// charged with them.
void Prime() {
    static const char kDocument[] = "<a/>";
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, sizeof kDocument - 1,
                           reinterpret_cast<BYTE*>(const_cast<char*>(kDocument))};
    HCRYPTXML handle = nullptr;
    const testing_support::CryptXmlDll& dll = testing_support::CryptXmlDll::Get();
    if (SUCCEEDED(dll.OpenToDecode(nullptr, 0, nullptr, 0, &blob, &handle))) dll.Close(handle);
}

}  // namespace

int RunReplay(const Options& options) {
    Corpus corpus;
    Dictionary dictionary;
    ExerciseSettings settings;
    if (!LoadInputs(options, corpus, dictionary, settings)) return 2;
    Rng rng = Rng::ForIteration(options.seed, options.replayIteration);
    size_t seedIndex = 0;
    const std::string input = Mutator(corpus, dictionary).Make(rng, seedIndex);
    CreateDirectoryW(testing_support::WidenUtf8(testing_support::WinPath(options.out)).c_str(), nullptr);
    const std::string path = options.out + "/replay-" + std::to_string(options.replayIteration) + ".xml";
    WriteWholeFile(path, input);
    std::printf("iteration %llu of seed %llu from %s: %s\nexercise-rng %s\n",
                static_cast<unsigned long long>(options.replayIteration), static_cast<unsigned long long>(options.seed),
                corpus[seedIndex].name.c_str(), path.c_str(), HexText(rng.state()).c_str());
    std::fflush(stdout);
    auto tally = std::make_unique<Tally>();
    const testing_support::CryptXmlDll& dll = testing_support::CryptXmlDll::Get();
    settings.trace = false;  // on for the whole replay instead
    dll.StartDebugging();
    const Exercise::Report report = Exercise(settings).Run(input, rng, *tally);
    std::printf("outcome %s\nlast trace line: %ls", report.outcome.c_str(), dll.LastMessage().c_str());
    for (const std::string& finding : report.findings) std::printf("finding: %s\n", finding.c_str());
    return report.findings.empty() ? 0 : 1;
}

int RunRegressions(const Options& options) {
    ExerciseSettings settings;
    std::string error, table;
    if (!LoadSettings(options, settings, error) || !ReadWholeFile(options.regressions + "/expected.tsv", table)) {
        std::printf("cryptxml-fuzz: %s\n", error.empty() ? "no expected.tsv" : error.c_str());
        return 2;
    }
    settings.trace = false;  // on for the whole run instead: a failure shows its last line
    testing_support::CryptXmlDll::Get().StartDebugging();
    const Exercise exercise(settings);
    const CspCounters csp;
    Prime();
    std::set<std::string> unlisted = XmlFilesIn(options.regressions);
    int passed = 0, failed = 0;
    size_t start = 0;
    while (start < table.size()) {
        size_t end = table.find('\n', start);
        if (end == std::string::npos) end = table.size();
        const std::string line = table.substr(start, end - start);
        start = end + 1;
        if (line.empty() || line[0] == '#') continue;
        const std::vector<std::string> f = Fields(line);
        std::string doc;
        if (f.size() != 3 || !ReadWholeFile(options.regressions + "/" + f[0], doc)) {
            std::printf("FAIL %s: malformed line or unreadable file\n", line.c_str());
            ++failed;
            continue;
        }
        unlisted.erase(f[0]);
        const Checked checked = CheckOne(exercise, csp, doc, std::strtoull(f[1].c_str(), nullptr, 0), f[2]);
        std::printf("%s %s: %s\n", checked.passed ? "ok" : "FAIL", f[0].c_str(), checked.detail.c_str());
        if (!checked.passed) std::printf("    expected %s\n", f[2].c_str());
        ++(checked.passed ? passed : failed);
    }
    for (const std::string& name : unlisted) {
        std::printf("FAIL %s: not in expected.tsv\n", name.c_str());
        ++failed;
    }
    std::printf("regressions: %d passed, %d failed; CryptoAPI counts %s\n", passed, failed,
                csp.available() ? "on" : "unavailable");
    return failed == 0 && passed > 0 ? 0 : 1;
}

}  // namespace fuzz
