#pragma once
// The end of a run: a summary file the driver merges (one "key value..." line each) and
// the same in words on the console.
#include <string>

#include "Options.hpp"
#include "State.hpp"

namespace fuzz {

void WriteSummary(const std::string& path, const SharedState& state, const Options& options, bool cspCounted);
void PrintSummary(const SharedState& state, const Options& options, bool cspCounted);

}  // namespace fuzz
