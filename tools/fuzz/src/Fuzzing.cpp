#include "Fuzzing.hpp"

#include <chrono>
#include <cstdio>
#include <memory>

#include "CrashGuard.hpp"
#include "Figures.hpp"
#include "Mutator.hpp"
#include "Results.hpp"
#include "Setup.hpp"
#include "State.hpp"
#include "Summary.hpp"
#include "support/HostFiles.hpp"

namespace fuzz {
namespace {

constexpr uint32_t kSavedFindingsMax = 100;  // files kept of findings; all are counted

struct Run {
    const Options& options;
    SharedState& state;
    const Corpus& corpus;
    const Exercise& exercise;
    const CspCounters& csp;
};

std::string OutPath(const Options& o, const std::string& name) { return o.out + "/" + name; }

std::string Describe(const Run& run, uint64_t iteration, uint64_t seedIndex, uint64_t exerciseRng) {
    std::string text = "seed " + std::to_string(run.state.seed);
    text += iteration >= kWarmUpBase ? " warm-up" : " iteration " + std::to_string(iteration);
    text += " from " + (seedIndex < run.corpus.size() ? run.corpus[seedIndex].name : std::string("?"));
    text += "\nexercise-rng " + HexText(exerciseRng) + "\n";
    return text;
}

// A crashed input the process before this one left in the state: saved, counted, skipped.
void Salvage(const Run& run) {
    SharedState& s = run.state;
    ++s.restarts;
    if (s.inProgress == 0) {
        ++s.deathsOutsideInputs;
        return;
    }
    const uint32_t n = ++s.crashes;
    if (s.exceptionCode == kHangCode) ++s.hangs;
    const std::string input(reinterpret_cast<const char*>(s.input), static_cast<size_t>(s.inputLength));
    const std::string base = OutPath(run.options, "crash-" + std::to_string(n));
    WriteWholeFile(base + ".xml", input);
    std::string text = Describe(run, s.current, s.seedIndex, s.exerciseRng);
    text += "exception " + HexText(s.exceptionCode) + " at " + testing_support::NarrowUtf8(s.exceptionModule) + "+" +
            HexText(s.exceptionOffset) + "\n";
    if (!run.options.lastExit.empty()) text += "exit " + run.options.lastExit + "\n";
    WriteWholeFile(base + ".txt", text);
    std::printf("crash %u saved: %s.xml\n%s", n, base.c_str(), text.c_str());
    if (s.current >= kWarmUpBase) {
        const uint64_t seed = s.current - kWarmUpBase;
        if (seed < kSeedFlagsMax) s.warmUpCrashed[seed] = 1;
    } else {
        s.next = s.current + 1;
    }
    s.inProgress = 0;
    s.exceptionCode = 0;
    s.exceptionOffset = 0;
    s.exceptionModule[0] = 0;
}

void SaveFinding(const Run& run, uint64_t iteration, const std::string& input, const std::vector<std::string>& lines,
                 uint64_t seedIndex, uint64_t exerciseRng) {
    const uint32_t n = ++run.state.findings;
    std::string text = Describe(run, iteration, seedIndex, exerciseRng);
    for (const std::string& line : lines) text += line + "\n";
    std::printf("finding %u: %s", n, text.c_str());
    if (n > kSavedFindingsMax) return;
    const std::string base = OutPath(run.options, "finding-" + std::to_string(n));
    WriteWholeFile(base + ".xml", input);
    WriteWholeFile(base + ".txt", text);
}

// One input, guarded. What it finds is saved; the CryptoAPI handles it did not give back
// are a finding once the warm-up is over (until then the library is still setting up).
void RunOne(const Run& run, CrashGuard& guard, Tally& tally, uint64_t iteration, uint64_t seedIndex,
            const std::string& input, Rng& rng) {
    const uint64_t exerciseRng = rng.state();
    guard.Begin(iteration, seedIndex, input, exerciseRng);
    // The test of the crash handling: an access violation of its own, as a crash in the DLL
    // would raise one.
    if (iteration == run.options.crashAt && !run.options.resume) {
        RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    }
    const CspCounts before = run.csp.Read();
    Exercise::Report report = run.exercise.Run(input, rng, tally);
    const CspCounts after = run.csp.Read();
    guard.End();
    if (after != before && iteration < kWarmUpBase) {
        ++run.state.leakFindings;
        report.findings.push_back("CryptoAPI handles not given back: before " + before.Text() + ", after " +
                                  after.Text());
    }
    if (!report.findings.empty()) SaveFinding(run, iteration, input, report.findings, seedIndex, exerciseRng);
}

// Every seed once, unmutated and not counted: what the library sets up on first use (the
// XML stack, the crypto provider's contexts) is in place before anything is measured.
void WarmUp(const Run& run, CrashGuard& guard) {
    auto scratch = std::make_unique<Tally>();
    for (size_t i = 0; i < run.corpus.size(); ++i) {
        if (i < kSeedFlagsMax && run.state.warmUpCrashed[i]) continue;
        Rng rng(i);
        RunOne(run, guard, *scratch, kWarmUpBase + i, i, run.corpus[i].bytes, rng);
    }
}

struct Growth {
    int64_t heap;
    int64_t privateBytes;
    int64_t handles;
};

Growth Compare(const ProcessFigures& base, const ProcessFigures& now) {
    return {static_cast<int64_t>(now.heapInUse) - static_cast<int64_t>(base.heapInUse),
            static_cast<int64_t>(now.privateBytes) - static_cast<int64_t>(base.privateBytes),
            static_cast<int64_t>(now.handles) - static_cast<int64_t>(base.handles)};
}

void Checkpoint(const Run& run, const ProcessFigures& base, double seconds, uint64_t doneHere) {
    const ProcessFigures now = MeasureProcess();
    const Growth g = Compare(base, now);
    SharedState& s = run.state;
    if (g.heap > s.worstHeapGrowth) s.worstHeapGrowth = g.heap;
    if (g.privateBytes > s.worstPrivateGrowth) s.worstPrivateGrowth = g.privateBytes;
    if (g.handles > s.worstHandleGrowth) s.worstHandleGrowth = g.handles;
    std::printf("%llu/%llu iterations, %.0f/s; heap in use %+lld, private bytes %+lld, handles %+lld; %s\n",
                static_cast<unsigned long long>(s.next), static_cast<unsigned long long>(s.end),
                seconds > 0 ? doneHere / seconds : 0.0, static_cast<long long>(g.heap),
                static_cast<long long>(g.privateBytes), static_cast<long long>(g.handles),
                run.csp.available() ? run.csp.Read().Text().c_str() : "no CryptoAPI counts");
    std::fflush(stdout);
}

bool Grew(const Options& o, const SharedState& s) {
    return s.worstHeapGrowth > o.heapMargin || s.worstPrivateGrowth > o.privateMargin ||
           s.worstHandleGrowth > o.handleMargin;
}

}  // namespace

int RunFuzzing(const Options& options) {
    CreateDirectoryW(testing_support::WidenUtf8(testing_support::WinPath(options.out)).c_str(), nullptr);
    StateFile state;
    const char* problem = nullptr;
    const std::wstring statePath = testing_support::WidenUtf8(testing_support::WinPath(OutPath(options, "state.bin")));
    if (!state.Open(statePath.c_str(), !options.resume, problem)) {
        std::printf("cryptxml-fuzz: %s\n", problem);
        return 2;
    }
    if (!options.resume) {
        state->seed = options.seed;
        state->end = options.iterations;
        state->next = options.first;
    } else if (state->end == 0) {
        std::printf("cryptxml-fuzz: --resume without a run in %s\n", options.out.c_str());
        return 2;
    }
    Corpus corpus;
    Dictionary dictionary;
    ExerciseSettings settings;
    if (!LoadInputs(options, corpus, dictionary, settings)) return 2;
    const Exercise exercise(settings);
    const Mutator mutator(corpus, dictionary);
    const CspCounters csp;
    const Run run{options, *state.get(), corpus, exercise, csp};
    if (options.resume) Salvage(run);
    // A process that keeps dying between inputs (in the warm-up's set-up, a checkpoint) would
    // be restarted for ever.
    if (state->deathsOutsideInputs > 3) {
        std::printf("cryptxml-fuzz: the fuzzer died %u times with no input running\n", state->deathsOutsideInputs);
        return 2;
    }
    std::printf("cryptxml-fuzz: %zu seeds, seed %llu, iterations %llu..%llu, CryptoAPI counts %s\n", corpus.size(),
                static_cast<unsigned long long>(state->seed), static_cast<unsigned long long>(state->next),
                static_cast<unsigned long long>(state->end), csp.available() ? "on" : "unavailable");
    std::fflush(stdout);

    CrashGuard guard(*state.get(), options.hangSeconds * 1000);
    WarmUp(run, guard);
    const ProcessFigures base = MeasureProcess();
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    uint64_t doneHere = 0;
    for (; state->next < state->end; ++state->next) {
        const uint64_t iteration = state->next;
        Rng rng = Rng::ForIteration(state->seed, iteration);
        size_t seedIndex = 0;
        const std::string input = mutator.Make(rng, seedIndex);
        RunOne(run, guard, state->tally, iteration, seedIndex, input, rng);
        ++state->done;
        if (++doneHere % options.checkEvery == 0) {
            Checkpoint(run, base, std::chrono::duration<double>(Clock::now() - start).count(), doneHere);
        }
    }
    Checkpoint(run, base, std::chrono::duration<double>(Clock::now() - start).count(), doneHere);
    if (Grew(options, *state.get())) ++state->growthFindings;
    WriteSummary(OutPath(options, "summary.txt"), *state.get(), options, csp.available());
    PrintSummary(*state.get(), options, csp.available());
    const SharedState& s = *state.get();
    return s.crashes + s.findings + s.growthFindings == 0 ? 0 : 1;
}

}  // namespace fuzz
