// cryptxml-fuzz: a mutation fuzzer of the DLL's decode and verify exports. See
// tools/fuzz/README.md; tools/fuzz/run-long.sh drives long runs and restarts after crashes.
#include <cstdio>

#include "Fuzzing.hpp"
#include "Options.hpp"

int main(int argc, char** argv) {
    fuzz::Options options;
    std::string error;
    if (!fuzz::ParseOptions(argc, argv, options, error)) {
        std::printf("cryptxml-fuzz: %s\n%s", error.c_str(), fuzz::Usage());
        return 2;
    }
    if (!options.regressions.empty()) return fuzz::RunRegressions(options);
    if (options.replay) return fuzz::RunReplay(options);
    return fuzz::RunFuzzing(options);
}
