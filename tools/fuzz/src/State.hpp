#pragma once
// What a run keeps in OUTDIR/state.bin, a file mapped into memory: the input being run, the
// counts of every HRESULT seen and of the findings, and where the run is. A crash kills the
// process under Wine without any chance to write; a mapped file keeps what was stored in
// it, so the process the driver starts next knows which input crashed and goes on after it
// with the counts intact. Plain data only: it is read back by a later process.
#include <windows.h>

#include <cstdint>

#include "Mutator.hpp"

namespace fuzz {

constexpr uint32_t kStateMagic = 0x5A5A5846;  // "FXZZ"
constexpr uint32_t kStateVersion = 4;
constexpr size_t kTallyMax = 1024;
constexpr size_t kSeedFlagsMax = 8192;
// Iteration numbers at and above this name the unmutated seeds run before fuzzing.
constexpr uint64_t kWarmUpBase = 0xFFFF000000000000ull;

struct TallyEntry {
    uint32_t call;
    int32_t hr;
    uint64_t count;
};

// How often each call gave each HRESULT.
struct Tally {
    uint32_t size;
    uint32_t reserved;
    TallyEntry entries[kTallyMax];
};

struct SharedState {
    uint32_t magic;
    uint32_t version;
    uint64_t seed;
    uint64_t end;          // iterations [0, end) make the run
    uint64_t next;         // the first iteration not yet started
    uint64_t done;         // iterations finished, over all processes of the run
    uint64_t current;      // the iteration running while inProgress is set
    uint64_t exerciseRng;  // its generator's state once the input was made (Exercise's choices)
    uint64_t seedIndex;    // the seed it was made from
    uint64_t startTick;    // when it started (GetTickCount64), for the watchdog
    uint32_t inProgress;
    uint32_t restarts;  // processes started after the first
    uint32_t crashes;   // of which hangs and aborts are counted apart as well
    uint32_t hangs;
    uint32_t findings;      // undocumented results and broken promises, per input
    uint32_t leakFindings;  // inputs after which CryptoAPI handles were not all given back
    uint32_t growthFindings;
    uint32_t deathsOutsideInputs;  // processes that died with no input running
    uint32_t exceptionCode;        // of the crash being recorded
    uint64_t exceptionOffset;
    wchar_t exceptionModule[64];
    int64_t worstHeapGrowth;  // over all processes of the run
    int64_t worstPrivateGrowth;
    int64_t worstHandleGrowth;
    Tally tally;
    uint8_t warmUpCrashed[kSeedFlagsMax];  // seeds that crashed unmutated: not run again
    uint64_t inputLength;
    uint8_t input[Mutator::kInputMax];
};

// The mapping of OUTDIR/state.bin.
class StateFile {
public:
    StateFile() = default;
    ~StateFile();
    StateFile(const StateFile&) = delete;
    StateFile& operator=(const StateFile&) = delete;

    // Opens the file; a new one (or `fresh`) starts zeroed. False with a message on failure.
    bool Open(const wchar_t* path, bool fresh, const char*& error);
    SharedState* get() const { return state_; }
    SharedState* operator->() const { return state_; }

private:
    HANDLE file_ = INVALID_HANDLE_VALUE;
    HANDLE mapping_ = nullptr;
    SharedState* state_ = nullptr;
};

}  // namespace fuzz
