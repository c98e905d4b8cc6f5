#pragma once
// What the provider's CryptoAPI tests share: byte helpers and handles released on scope exit.
#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace cspTest {

using Bytes = std::vector<uint8_t>;

inline Bytes hex(const std::string& h) {
    Bytes out;
    for (size_t i = 0; i + 1 < h.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(h.substr(i, 2), nullptr, 16)));
    return out;
}

inline Bytes reversed(Bytes b) {
    std::reverse(b.begin(), b.end());
    return b;
}

// A provider context released on scope exit.
struct Prov {
    HCRYPTPROV h = 0;
    ~Prov() {
        if (h) CryptReleaseContext(h, 0);
    }
};
struct Key {
    HCRYPTKEY h = 0;
    ~Key() {
        if (h) CryptDestroyKey(h);
    }
};
struct Hash {
    HCRYPTHASH h = 0;
    ~Hash() {
        if (h) CryptDestroyHash(h);
    }
};

// The PUBLICKEYBLOB of a key.
inline Bytes exportPublic(HCRYPTKEY key) {
    DWORD len = 0;
    EXPECT_TRUE(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &len)) << std::hex << GetLastError();
    Bytes blob(len);
    EXPECT_TRUE(CryptExportKey(key, 0, PUBLICKEYBLOB, 0, blob.data(), &len)) << std::hex << GetLastError();
    blob.resize(len);
    return blob;
}

}  // namespace cspTest
