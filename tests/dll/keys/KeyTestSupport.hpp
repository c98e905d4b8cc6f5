#pragma once
// What the key-import tests share: CryptoAPI handles that clean up, the library's HRESULTs,
// the expected trace lines, and the failure-injection switch of the faulty CSP.
#include <windows.h>
#include <wincrypt.h>

#include <cryptxml.h>

#include <string>
#include <vector>

#include "support/CryptXmlDll.hpp"
#include "support/TraceLines.hpp"

namespace keytest {

using Bytes = std::vector<BYTE>;

constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057L);
constexpr HRESULT kNotImpl = static_cast<HRESULT>(0x80004001L);
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005L);
constexpr HRESULT kLarge = static_cast<HRESULT>(0x80092101L);  // CRYPT_XML_E_LARGE
constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000L);
constexpr ULONG kBeyondBlobMax = 0x7FFFFFF9;  // CRYPT_XML_BLOB_MAX + 1
constexpr DWORD kKrmProvType = 2;
constexpr DWORD kCproProvType = 75;
constexpr ALG_ID kGr3411 = 0x801E;
constexpr ALG_ID kGr3410El = 0x2E23;

inline const testing_support::CryptXmlDll& dll() { return testing_support::CryptXmlDll::Get(); }

struct Prov {
    HCRYPTPROV h = 0;
    Prov() = default;
    explicit Prov(HCRYPTPROV handle) : h(handle) {}
    Prov(const Prov&) = delete;
    Prov& operator=(const Prov&) = delete;
    ~Prov() {
        if (h) CryptReleaseContext(h, 0);
    }
};
struct Key {
    HCRYPTKEY h = 0;
    Key() = default;
    explicit Key(HCRYPTKEY handle) : h(handle) {}
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() {
        if (h) CryptDestroyKey(h);
    }
};
struct Hash {
    HCRYPTHASH h = 0;
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;
    Hash() = default;
    ~Hash() {
        if (h) CryptDestroyHash(h);
    }
};

// Sets TALVORAN_FAULTY_CSP (tools/faulty-csp/README.md) for one scope.
class Injection {
public:
    explicit Injection(const char* rules) { SetEnvironmentVariableA("TALVORAN_FAULTY_CSP", rules); }
    ~Injection() { SetEnvironmentVariableA("TALVORAN_FAULTY_CSP", nullptr); }
    Injection(const Injection&) = delete;
    Injection& operator=(const Injection&) = delete;
};

// Out values start as this, so that a test can tell "set to 0" from "left alone".
constexpr ULONG_PTR kUntouched = 0xBADC0FFEE;

// The result of one CryptXmlImportPublicKeyCAPI call; owns what it was handed.
struct ImportResult {
    HRESULT hr = E_UNEXPECTED;
    HCRYPTPROV prov = kUntouched;
    HCRYPTKEY key = kUntouched;
    std::vector<std::wstring> lines;  // every trace line the call wrote, in order
    ImportResult() = default;
    ImportResult(ImportResult&& other) noexcept;
    ImportResult(const ImportResult&) = delete;
    ImportResult& operator=(const ImportResult&) = delete;
    ~ImportResult();
};

// Calls the export with tracing on and collects the lines it writes.
ImportResult Import(const CRYPT_XML_KEY_VALUE& keyValue);

// The trace line of `routine` with `text`, as written on this thread.
std::wstring RoutineLine(const char* routine, const std::string& text);
// The trace line of a library exception caught by ImportGostKey: function, description, detail.
std::wstring GostExceptionLine(const std::string& function, const std::string& description);

Bytes Reversed(Bytes bytes);
std::string Base64(const Bytes& bytes);
Bytes StripLeadingZeros(Bytes bigEndian);

// Generates a key in a verify context of `provType` (`flags` as for CryptGenKey).
struct SigningKey {
    Prov prov;
    Key key;
    ALG_ID hashAlg = 0;
    SigningKey(DWORD provType, ALG_ID keyAlg, DWORD flags, ALG_ID hash);
    Bytes PublicBlob() const;
    Bytes Sign(const std::string& message) const;
};

// 0 when `signature` verifies over `message` with `key` of `prov`, else the last error
// (or ERROR_INVALID_DATA when the provider gave none).
DWORD VerifyError(HCRYPTPROV prov, HCRYPTKEY key, ALG_ID hashAlg, const std::string& message, const Bytes& signature);

}  // namespace keytest
