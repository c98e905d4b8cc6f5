#include "KeyTestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/DebugCapture.hpp"

namespace keytest {

ImportResult::ImportResult(ImportResult&& other) noexcept
    : hr(other.hr), prov(other.prov), key(other.key), lines(std::move(other.lines)) {
    other.prov = 0;
    other.key = 0;
}

// Releases only what a successful call handed out; after a failure the values may be
// sentinels or whatever the library left, which are not handles to release.
ImportResult::~ImportResult() {
    if (hr != S_OK) return;
    if (key != 0 && key != kUntouched) CryptDestroyKey(key);
    if (prov != 0 && prov != kUntouched) CryptReleaseContext(prov, 0);
}

ImportResult Import(const CRYPT_XML_KEY_VALUE& keyValue) {
    ImportResult result;
    dll().StartDebugging();
    DebugCapture capture;
    result.hr = dll().ImportPublicKeyCAPI(0, &keyValue, &result.prov, &result.key);
    result.lines = capture.Lines();
    return result;
}

std::wstring RoutineLine(const char* routine, const std::string& text) {
    return testing_support::ExpectedLine(testing_support::Widen(std::string(routine) + ". " + text));
}

std::wstring GostExceptionLine(const std::string& function, const std::string& description) {
    return RoutineLine("ImportGostKey", "an error occurred. function: " + function + ". desc: " + description);
}

Bytes Reversed(Bytes bytes) {
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string Base64(const Bytes& bytes) {
    DWORD length = 0;
    const DWORD flags = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    CryptBinaryToStringA(bytes.data(), static_cast<DWORD>(bytes.size()), flags, nullptr, &length);
    std::string text(length, '\0');
    CryptBinaryToStringA(bytes.data(), static_cast<DWORD>(bytes.size()), flags, &text[0], &length);
    text.resize(length);
    return text;
}

Bytes StripLeadingZeros(Bytes bigEndian) {
    const auto first = std::find_if(bigEndian.begin(), bigEndian.end(), [](BYTE b) { return b != 0; });
    bigEndian.erase(bigEndian.begin(), first);
    return bigEndian;
}

SigningKey::SigningKey(DWORD provType, ALG_ID keyAlg, DWORD flags, ALG_ID hash) : hashAlg(hash) {
    EXPECT_TRUE(CryptAcquireContextW(&prov.h, nullptr, nullptr, provType, CRYPT_VERIFYCONTEXT))
        << "type " << provType << ": " << std::hex << GetLastError();
    EXPECT_TRUE(CryptGenKey(prov.h, keyAlg, flags, &key.h)) << std::hex << GetLastError();
}

Bytes SigningKey::PublicBlob() const {
    DWORD length = 0;
    EXPECT_TRUE(CryptExportKey(key.h, 0, PUBLICKEYBLOB, 0, nullptr, &length)) << std::hex << GetLastError();
    Bytes blob(length);
    EXPECT_TRUE(CryptExportKey(key.h, 0, PUBLICKEYBLOB, 0, blob.data(), &length)) << std::hex << GetLastError();
    blob.resize(length);
    return blob;
}

Bytes SigningKey::Sign(const std::string& message) const {
    Hash hash;
    EXPECT_TRUE(CryptCreateHash(prov.h, hashAlg, 0, 0, &hash.h)) << std::hex << GetLastError();
    EXPECT_TRUE(
        CryptHashData(hash.h, reinterpret_cast<const BYTE*>(message.data()), static_cast<DWORD>(message.size()), 0));
    DWORD length = 0;
    EXPECT_TRUE(CryptSignHashW(hash.h, AT_SIGNATURE, nullptr, 0, nullptr, &length)) << std::hex << GetLastError();
    Bytes signature(length);
    EXPECT_TRUE(CryptSignHashW(hash.h, AT_SIGNATURE, nullptr, 0, signature.data(), &length))
        << std::hex << GetLastError();
    signature.resize(length);
    return signature;
}

DWORD VerifyError(HCRYPTPROV prov, HCRYPTKEY key, ALG_ID hashAlg, const std::string& message, const Bytes& signature) {
    Hash hash;
    if (!CryptCreateHash(prov, hashAlg, 0, 0, &hash.h)) return GetLastError();
    if (!CryptHashData(hash.h, reinterpret_cast<const BYTE*>(message.data()), static_cast<DWORD>(message.size()), 0)) {
        return GetLastError();
    }
    SetLastError(0);
    if (CryptVerifySignatureW(hash.h, signature.data(), static_cast<DWORD>(signature.size()), key, nullptr, 0)) {
        return 0;
    }
    const DWORD error = GetLastError();
    return error != 0 ? error : ERROR_INVALID_DATA;
}

}  // namespace keytest
