#pragma once
// Makes the input of one iteration: a seed, then a short stack of mutations.
#include <string>

#include "Corpus.hpp"
#include "Dictionary.hpp"
#include "Rng.hpp"

namespace fuzz {

class Mutator {
public:
    Mutator(const Corpus& corpus, const Dictionary& dictionary) : corpus_(corpus), dictionary_(dictionary) {}

    // The input for `rng` (an iteration's own generator); `seedIndex` says which seed it
    // started from.
    std::string Make(Rng& rng, size_t& seedIndex) const;

    // The largest input made: a mutation that would go beyond it is dropped.
    static constexpr size_t kInputMax = 2u << 20;

private:
    const Corpus& corpus_;
    const Dictionary& dictionary_;
};

}  // namespace fuzz
