#pragma once
// The modes of the fuzzer: a run (or the rest of one after a crash), the replay of one
// iteration, and the regression inputs.
#include "Options.hpp"

namespace fuzz {

// Exit codes: 0 nothing found, 1 findings (crashes included), 2 the run could not start.
// A process killed by a crash ends with the crash's code instead.
int RunFuzzing(const Options& options);
int RunReplay(const Options& options);
int RunRegressions(const Options& options);

}  // namespace fuzz
