#pragma once
// The fuzzer's only source of chance. SplitMix64 gives the same numbers with every compiler
// and library (std::uniform_int_distribution does not), so a seed and an iteration number
// name one input on any machine, and a run restarted after a crash goes on exactly where
// the crashed one would have gone.
#include <cstddef>
#include <cstdint>

namespace fuzz {

class Rng {
public:
    explicit Rng(uint64_t state) : state_(state) {}

    // Iteration i of a run with `seed`: independent of every other iteration, so that a
    // restart needs nothing from the runs before it.
    static Rng ForIteration(uint64_t seed, uint64_t iteration) {
        Rng mix(seed);
        return Rng(mix.Next() ^ (iteration * 0xD1B54A32D192ED03ull + 0x8BB84B93962EACC9ull));
    }

    // Where the generator is: Rng(state()) goes on with the same numbers.
    uint64_t state() const { return state_; }

    uint64_t Next() {
        uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }

    // 0 .. n-1 (0 when n is 0).
    size_t Below(size_t n) { return n == 0 ? 0 : static_cast<size_t>(Next() % n); }
    // lo .. hi, both included.
    size_t Between(size_t lo, size_t hi) { return hi <= lo ? lo : lo + Below(hi - lo + 1); }
    bool Percent(unsigned percent) { return Below(100) < percent; }
    // 0 .. max, small values far more often than large ones: the bit length is chosen
    // evenly first, then a value of that length.
    size_t Skewed(size_t max) {
        if (max == 0) return 0;
        unsigned bits = 0;
        while ((max >> bits) > 1) ++bits;
        const unsigned pick = static_cast<unsigned>(Below(bits + 2));
        const size_t limit = pick == 0 ? 0 : (size_t{1} << (pick - 1)) * 2 - 1;
        return Below((limit < max ? limit : max) + 1);
    }
    template <class T, size_t N>
    const T& Pick(const T (&items)[N]) {
        return items[Below(N)];
    }

private:
    uint64_t state_;
};

}  // namespace fuzz
