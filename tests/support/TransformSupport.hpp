#pragma once
// Data providers for the transform tests: a caller's input provider over bytes in memory,
// and running a factory of the DLL's transform table over it.
#include <windows.h>

#include <cryptxml.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/CryptXmlDll.hpp"

namespace transformtest {

inline const testing_support::CryptXmlDll& dll() { return testing_support::CryptXmlDll::Get(); }

// The caller's side of an input provider: hands out `data` in pieces of at most `piece`
// bytes (and never more than asked for) and records how it was used.
struct MemorySource {
    std::string data;
    size_t piece = 0;  // 0: as much as asked for
    size_t pos = 0;
    int readsBeforeFailure = -1;  // the read with this index fails (-1: none)
    HRESULT failure = E_FAIL;
    std::vector<ULONG> asked;  // cbData of every read
    int closes = 0;

    static HRESULT CALLBACK Read(void* state, BYTE* pb, ULONG cb, ULONG* pcbRead) {
        auto* self = static_cast<MemorySource*>(state);
        self->asked.push_back(cb);
        if (static_cast<int>(self->asked.size()) - 1 == self->readsBeforeFailure) return self->failure;
        size_t n = std::min<size_t>(cb, self->data.size() - self->pos);
        if (self->piece != 0) n = std::min(n, self->piece);
        std::memcpy(pb, self->data.data() + self->pos, n);
        self->pos += n;
        *pcbRead = static_cast<ULONG>(n);
        return S_OK;
    }
    static HRESULT CALLBACK Close(void* state) {
        static_cast<MemorySource*>(state)->closes += 1;
        return S_OK;
    }

    CRYPT_XML_DATA_PROVIDER Provider(ULONG bufferSize = 0) {
        return CRYPT_XML_DATA_PROVIDER{this, bufferSize, &MemorySource::Read, &MemorySource::Close};
    }
};

inline const CRYPT_XML_TRANSFORM_CHAIN_CONFIG& Config() {
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* config = nullptr;
    if (dll().GetTransforms(&config) != S_OK || config == nullptr) throw std::runtime_error("no transform table");
    return *config;
}

// The factory the table announces for its first entry (all five factories are one).
inline PFN_CRYPT_XML_CREATE_TRANSFORM Factory() { return Config().rgpTransformInfo[0]->pfnCreateTransform; }

struct Outcome {
    HRESULT hr = E_UNEXPECTED;
    std::string bytes;
    CRYPT_XML_DATA_PROVIDER out{};
};

// Drains an output provider with reads of `chunk` bytes, then closes it.
inline std::string Drain(CRYPT_XML_DATA_PROVIDER& out, ULONG chunk = 8192) {
    std::string bytes;
    std::vector<BYTE> buffer(chunk);
    for (;;) {
        ULONG read = 0;
        if (out.pfnRead(out.pvCallbackState, buffer.data(), chunk, &read) != S_OK || read == 0) break;
        bytes.append(reinterpret_cast<const char*>(buffer.data()), read);
    }
    out.pfnClose(out.pvCallbackState);
    return bytes;
}

// Runs the transform `uri` over `input` through the table's factory and reads it all.
inline Outcome Transform(const wchar_t* uri, MemorySource& input, ULONG announced = 0) {
    CRYPT_XML_ALGORITHM alg = {sizeof(alg), uri, {}};
    CRYPT_XML_DATA_PROVIDER in = input.Provider(announced);
    Outcome outcome;
    outcome.hr = Factory()(&alg, &in, &outcome.out);
    if (outcome.hr == S_OK) outcome.bytes = Drain(outcome.out);
    return outcome;
}

inline Outcome Transform(const wchar_t* uri, const std::string& input) {
    MemorySource source;
    source.data = input;
    return Transform(uri, source);
}

}  // namespace transformtest
