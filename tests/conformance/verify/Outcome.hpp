#pragma once
#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace verifyVectors {

using Bytes = std::vector<unsigned char>;

struct StatusWords {
    DWORD error = 0;
    DWORD info = 0;
    bool operator==(const StatusWords& o) const { return error == o.error && info == o.info; }
};

// What one run of a document through the exported API produced.
struct RefOutcome {
    std::wstring uri;
    bool external = false;
    std::optional<HRESULT> digestHr;  // CryptXmlDigestReference, external references only
    StatusWords status;
};

struct Outcome {
    std::optional<HRESULT> keyHr;  // set when importing the caller's key failed
    HRESULT openHr = E_FAIL;
    HRESULT verifyHr = E_FAIL;
    std::vector<RefOutcome> refs;
    StatusWords sig;
    StatusWords doc;
    std::string trace;  // the last trace line after the verification call
};

// What a run must produce. Every field that is set is compared exactly.
struct RefExpectation {
    std::optional<HRESULT> digestHr;
    std::optional<StatusWords> status;
};

struct Expectation {
    HRESULT openHr = S_OK;
    std::optional<HRESULT> verifyHr;
    std::vector<RefExpectation> refs;  // empty: references not compared
    std::optional<StatusWords> sig;
    std::optional<StatusWords> doc;
};

std::string Hex(HRESULT hr);
std::string Words(const StatusWords& w);
std::string Describe(const Outcome& o);
std::string Describe(const Expectation& e);
bool Matches(const Expectation& e, const Outcome& o);

}  // namespace verifyVectors
