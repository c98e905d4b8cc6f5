#pragma once
// The fuzzer's command line.
#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

struct Options {
    std::string out;                                            // --out DIR
    std::vector<std::string> corpus;                            // --corpus PATH (repeated)
    uint64_t iterations = 1000;                                 // --iterations N (the end of the run)
    uint64_t first = 0;                                         // --first N (where a new run starts)
    uint64_t seed = 1;                                          // --seed S
    bool resume = false;                                        // --resume: go on after a crash
    std::string lastExit;                                       // --last-exit CODE (from the driver)
    std::vector<std::pair<std::string, std::string>> external;  // --external URI=FILE
    uint64_t checkEvery = 10000;                                // --check-every N
    DWORD hangSeconds = 60;                                     // --hang-seconds S
    bool trace = true;                                          // --no-trace
    int64_t heapMargin = 1 << 20;                               // --heap-margin BYTES
    int64_t privateMargin = 32 << 20;                           // --private-margin BYTES
    int64_t handleMargin = 2;                                   // --handle-margin N
    std::string regressions;                                    // --regressions DIR
    bool replay = false;                                        // --replay ITERATION
    uint64_t crashAt = ~0ull;                                   // --crash-at ITERATION (the driver's test)
    uint64_t replayIteration = 0;
};

// False with a message for a malformed command line.
bool ParseOptions(int argc, char** argv, Options& options, std::string& error);
const char* Usage();

}  // namespace fuzz
