#pragma once
// One document through the decode and verify exports, as an application would run it:
// open; read the document, each signature and each reference; verify each signature with
// the key it calls for (a KeyValue imported by the caller, an HMAC secret, or the
// signature's own KeyInfo), now and then with the wrong one; feed the data of external
// references; close. Every HRESULT is counted; answers the library does not document and
// broken promises (a handle handed out on failure, a status that contradicts the answer)
// are findings.
#include <map>
#include <string>
#include <vector>

#include "Rng.hpp"
#include "State.hpp"

namespace fuzz {

struct ExerciseSettings {
    std::map<std::wstring, std::string> externalData;  // URI -> bytes fed for it
    bool trace = true;                                 // switch the debug trace on now and then
};

class Exercise {
public:
    explicit Exercise(const ExerciseSettings& settings) : settings_(settings) {}

    struct Report {
        std::vector<std::string> findings;  // what went wrong, one line each
        std::string outcome;                // "open=0x... import=0x... verify=0x..." in call order
    };

    // Runs `doc`, counting into `tally`; the choices are `rng`'s.
    Report Run(const std::string& doc, Rng& rng, Tally& tally) const;

private:
    const ExerciseSettings& settings_;
};

}  // namespace fuzz
