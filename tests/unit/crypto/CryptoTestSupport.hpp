#pragma once
// Helpers of the CryptoAPI provider tests: hex, digests, and a named key container that is
// deleted before and after use (Wine keeps container keys on disk).
#include "base/WinApi.hpp"

#include <wincrypt.h>

#include <gtest/gtest.h>
#include <xsec/enc/XSECCryptoException.hpp>

#include <cstring>
#include <string>
#include <vector>

namespace testing_crypto {

using Bytes = std::vector<unsigned char>;

inline Bytes FromHex(const char* hex) {
    Bytes out;
    size_t n = std::strlen(hex);
    for (size_t i = 0; i + 1 < n; i += 2)
        out.push_back(static_cast<unsigned char>(std::stoi(std::string(hex + i, 2), nullptr, 16)));
    return out;
}

inline std::string ToHex(const unsigned char* data, size_t len) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < len; ++i) {
        out += kDigits[data[i] >> 4];
        out += kDigits[data[i] & 15];
    }
    return out;
}
inline std::string ToHex(const Bytes& b) { return ToHex(b.data(), b.size()); }

inline Bytes Text(const char* s) { return Bytes(s, s + std::strlen(s)); }

// A digest computed directly through CryptoAPI (no class under test involved).
inline Bytes CapiDigest(HCRYPTPROV prov, ALG_ID alg, const Bytes& data) {
    HCRYPTHASH h = 0;
    EXPECT_TRUE(CryptCreateHash(prov, alg, 0, 0, &h)) << GetLastError();
    if (!data.empty()) {
        EXPECT_TRUE(CryptHashData(h, data.data(), static_cast<DWORD>(data.size()), 0));
    }
    BYTE value[64];
    DWORD len = sizeof value;
    EXPECT_TRUE(CryptGetHashParam(h, HP_HASHVAL, value, &len, 0));
    CryptDestroyHash(h);
    return Bytes(value, value + len);
}

// A test fixture holding a CRYPT_VERIFYCONTEXT context of one provider type in prov_.
class VerifyContextTest : public ::testing::Test {
protected:
    explicit VerifyContextTest(DWORD provType) : provType_(provType) {}
    void SetUp() override {
        ASSERT_TRUE(CryptAcquireContextW(&prov_, nullptr, nullptr, provType_, CRYPT_VERIFYCONTEXT)) << GetLastError();
    }
    void TearDown() override {
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
    }

    DWORD provType_;
    HCRYPTPROV prov_ = 0;
};

// A fresh named key container of `provType`; deleted before creation and at destruction.
class TempContainer {
public:
    TempContainer(const wchar_t* name, DWORD provType) : name_(name), type_(provType) {
        Delete();
        ok_ = CryptAcquireContextW(&prov_, name_.c_str(), nullptr, type_, CRYPT_NEWKEYSET) != FALSE;
        if (!ok_) error_ = GetLastError();
    }
    ~TempContainer() {
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
        Delete();
    }
    TempContainer(const TempContainer&) = delete;
    TempContainer& operator=(const TempContainer&) = delete;

    bool ok() const { return ok_; }
    DWORD error() const { return error_; }
    // A new 1024-bit AT_SIGNATURE key pair in the container; 0 on success, else the error.
    DWORD GenerateSignatureKey() const {
        HCRYPTKEY key = 0;
        if (!CryptGenKey(prov_, AT_SIGNATURE, 1024u << 16, &key)) return GetLastError();
        CryptDestroyKey(key);
        return 0;
    }
    HCRYPTPROV prov() const { return prov_; }

private:
    void Delete() {
        HCRYPTPROV gone = 0;
        CryptAcquireContextW(&gone, name_.c_str(), nullptr, type_, CRYPT_DELETEKEYSET);
    }

    std::wstring name_;
    DWORD type_;
    HCRYPTPROV prov_ = 0;
    bool ok_ = false;
    DWORD error_ = 0;
};

// Runs body, turning an escaping XSECCryptoException (not a std::exception, so gtest would
// report it as "unknown") into a failure with its message.
template <typename Body>
void WithCryptoErrorsReported(Body body) {
    try {
        body();
    } catch (const XSECCryptoException& e) {
        ADD_FAILURE() << "XSECCryptoException " << e.getType() << ": " << e.getMsg();
    }
}

}  // namespace testing_crypto
