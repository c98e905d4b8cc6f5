#include "Options.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace fuzz {
namespace {

bool Number(const char* text, uint64_t& out) {
    if (text == nullptr || *text == '\0' || *text == '-') return false;
    char* end = nullptr;
    errno = 0;
    out = std::strtoull(text, &end, 0);
    return errno == 0 && *end == '\0';
}

}  // namespace

const char* Usage() {
    return "usage: cryptxml-fuzz.exe --out DIR --corpus PATH [--corpus PATH ...] [--iterations N] [--first N]\n"
           "         [--seed S]\n"
           "         [--external URI=FILE ...] [--check-every N] [--hang-seconds S] [--no-trace]\n"
           "         [--heap-margin BYTES] [--private-margin BYTES] [--handle-margin N] [--resume [--last-exit CODE]]\n"
           "         [--crash-at ITERATION]\n"
           "       cryptxml-fuzz.exe --out DIR --corpus PATH ... --seed S --replay ITERATION\n"
           "       cryptxml-fuzz.exe --regressions DIR [--external URI=FILE ...]\n";
}

bool ParseOptions(int argc, char** argv, Options& o, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        uint64_t n = 0;
        auto number = [&](uint64_t& target) {
            if (!Number(value, target)) return false;
            ++i;
            return true;
        };
        bool ok = true;
        if (arg == "--no-trace") {
            o.trace = false;
        } else if (arg == "--resume") {
            o.resume = true;
        } else if (value == nullptr) {
            ok = false;
        } else if (arg == "--out") {
            o.out = value, ++i;
        } else if (arg == "--corpus") {
            o.corpus.push_back(value), ++i;
        } else if (arg == "--regressions") {
            o.regressions = value, ++i;
        } else if (arg == "--last-exit") {
            o.lastExit = value, ++i;
        } else if (arg == "--external") {
            const char* equals = std::strchr(value, '=');
            ok = equals != nullptr && equals != value;
            if (ok) o.external.emplace_back(std::string(value, equals), std::string(equals + 1)), ++i;
        } else if (arg == "--iterations") {
            ok = number(o.iterations);
        } else if (arg == "--first") {
            ok = number(o.first);
        } else if (arg == "--seed") {
            ok = number(o.seed);
        } else if (arg == "--check-every") {
            ok = number(o.checkEvery) && o.checkEvery != 0;
        } else if (arg == "--crash-at") {
            ok = number(o.crashAt);
        } else if (arg == "--replay") {
            ok = number(o.replayIteration);
            o.replay = true;
        } else if (arg == "--hang-seconds") {
            ok = number(n);
            o.hangSeconds = static_cast<DWORD>(n);
        } else if (arg == "--heap-margin" || arg == "--private-margin" || arg == "--handle-margin") {
            ok = number(n);
            (arg == "--heap-margin"      ? o.heapMargin
             : arg == "--private-margin" ? o.privateMargin
                                         : o.handleMargin) = static_cast<int64_t>(n);
        } else {
            ok = false;
        }
        if (!ok) {
            error = "bad or incomplete argument " + arg;
            return false;
        }
    }
    if (!o.regressions.empty()) return true;
    if (o.out.empty() || o.corpus.empty()) {
        error = "--out and --corpus are needed";
        return false;
    }
    return true;
}

}  // namespace fuzz
