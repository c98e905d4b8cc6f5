#include "Summary.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "Corpus.hpp"
#include "Results.hpp"

namespace fuzz {
namespace {

std::string Line(const char* format, ...) __attribute__((format(printf, 1, 2)));

std::string Line(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

std::vector<TallyEntry> Sorted(const Tally& tally) {
    std::vector<TallyEntry> entries(tally.entries, tally.entries + tally.size);
    std::sort(entries.begin(), entries.end(), [](const TallyEntry& a, const TallyEntry& b) {
        return a.call != b.call ? a.call < b.call : static_cast<uint32_t>(a.hr) < static_cast<uint32_t>(b.hr);
    });
    return entries;
}

std::string Text(const SharedState& s, const Options& o, bool cspCounted) {
    std::string text;
    text += Line("iterations %llu\n", static_cast<unsigned long long>(s.done));
    text += Line("restarts %u\n", s.restarts);
    text += Line("crashes %u\n", s.crashes);
    text += Line("hangs %u\n", s.hangs);
    text += Line("findings %u\n", s.findings);
    text += Line("leak-findings %u\n", s.leakFindings);
    text += Line("growth-findings %u\n", s.growthFindings);
    text += Line("heap-growth %lld %lld\n", static_cast<long long>(s.worstHeapGrowth),
                 static_cast<long long>(o.heapMargin));
    text += Line("private-growth %lld %lld\n", static_cast<long long>(s.worstPrivateGrowth),
                 static_cast<long long>(o.privateMargin));
    text += Line("handle-growth %lld %lld\n", static_cast<long long>(s.worstHandleGrowth),
                 static_cast<long long>(o.handleMargin));
    text += Line("cryptoapi-counts %s\n", cspCounted ? "on" : "off");
    for (const TallyEntry& e : Sorted(s.tally)) {
        const auto call = static_cast<Call>(e.call);
        const char* verdict = IsDocumented(call, e.hr) ? "documented" : "UNDOCUMENTED";
        text += Line("hr %s 0x%08lX %llu %s\n", CallName(call), static_cast<unsigned long>(e.hr),
                     static_cast<unsigned long long>(e.count), verdict);
    }
    return text;
}

}  // namespace

void WriteSummary(const std::string& path, const SharedState& state, const Options& options, bool cspCounted) {
    WriteWholeFile(path, Text(state, options, cspCounted));
}

void PrintSummary(const SharedState& state, const Options& options, bool cspCounted) {
    std::printf("--- summary ---\n%s", Text(state, options, cspCounted).c_str());
    std::fflush(stdout);
}

}  // namespace fuzz
