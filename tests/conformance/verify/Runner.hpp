#pragma once
#include <map>
#include <string>

#include "Manifest.hpp"
#include "Outcome.hpp"

namespace verifyVectors {

// One pass of a document through the exported API: open, verify with the row's key, feed
// the external references (when asked to), read every status, close.
struct RunInput {
    const VectorRow* row = nullptr;
    Bytes document;
    std::map<std::wstring, Bytes> feeds;  // external data by reference URI
    bool feedBeforeVerify = false;        // feed the external references first, not after verifying
};

Outcome Run(const RunInput& input);

}  // namespace verifyVectors
