// Thousands of signatures in one process, through the DLL as an application makes them: the
// process ends with the handles and private memory it had after the first rounds. Each
// round signs with an HMAC secret (an object with custom content, a Manifest over external
// data, a KeyInfo of parameters), with an RSA key of a provider without SHA-2, by SHA-1 and
// by SHA-256 (for which the library reopens the container and must release it again), fails
// one signature late (a location that names nothing) and writes every document.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "support/SignSupport.hpp"
#include "support/ProcessFigures.hpp"

using namespace signtest;

namespace {

constexpr int kRounds = 2000;
constexpr int kWarmUp = 20;
// One leaked handle per round would add thousands; two cover a handle Wine opens lazily.
constexpr DWORD kHandleMargin = 2;
// 2 MB over the rounds: a leak of 700 bytes or more per round shows.
constexpr SIZE_T kPrivateBytesMargin = 2 * 1024 * 1024;
const std::string kSecret = "leak test secret";
const std::string kDoc = "<Doc><Data Id=\"d\">data to sign</Data><Place/></Doc>";

bool SignHmacRound() {
    NewSig sig(kDoc, L"/Doc/Place");
    if (sig.Ref(L"#d", {kExcC14n}) == nullptr) return false;
    if (sig.Ref(L"#o", {kC14n}, kSha256, CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT, nullptr,
                L"http://www.w3.org/2000/09/xmldsig#Manifest") == nullptr) {
        return false;
    }
    const CRYPT_XML_OBJECT* obj = sig.Struct()->rgpObject[0];
    const std::string content = "<c>content</c>";
    const CRYPT_XML_BLOB blob = Blob(content);
    if (dll().AddObject(obj->hObject, CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY, nullptr, 0, &blob, nullptr) != S_OK) {
        return false;
    }
    const CRYPT_XML_ALGORITHM digest = Alg(kSha256);
    HCRYPTXML ref = nullptr;
    if (dll().CreateReference(obj->hObject, 0, nullptr, L"urn:data", nullptr, &digest, 0, nullptr, &ref) != S_OK) {
        return false;
    }
    DataFeed feed("external data");
    CRYPT_XML_DATA_PROVIDER provider = feed.Provider();
    if (dll().DigestReference(ref, 0, &provider) != S_OK) return false;
    CRYPT_XML_KEYINFO_PARAM param{};
    param.wszKeyName = L"k";
    param.wszId = L"ki";
    if (dll().SetHMACSecret(sig.h(), reinterpret_cast<const BYTE*>(kSecret.data()), 16) != S_OK) return false;
    if (sig.SignWith(0, 0, kHmacSha256, 0, CRYPT_XML_KEYINFO_SPEC_PARAM, &param) != S_OK) return false;
    return !sig.Encode(CRYPT_XML_CHARSET_UTF16LE).empty();
}

bool SignRsaRound(HCRYPTPROV prov, const wchar_t* method, const wchar_t* digest) {
    NewSig sig(kDoc);
    if (sig.Ref(L"", {kEnveloped, kC14n}, digest) == nullptr) return false;
    return sig.SignWith(prov, AT_SIGNATURE, method, CRYPT_XML_SIGN_ADD_KEYVALUE) == S_OK && !sig.Encode().empty();
}

// What opening and releasing a container costs the process in handles, times n: Wine's RSA
// provider keeps a registry key open for every container acquisition, released or not
// (Windows' costs nothing). The library's SHA-2 reopening pays it once per signature.
DWORD ProviderHandleCost(const wchar_t* container, DWORD provType, int n) {
    const DWORD before = testing_support::Handles();
    for (int i = 0; i < n; ++i) {
        HCRYPTPROV prov = 0;
        if (CryptAcquireContextA(&prov, nullptr, nullptr, provType, CRYPT_VERIFYCONTEXT)) CryptReleaseContext(prov, 0);
        if (CryptAcquireContextW(&prov, container, nullptr, provType, 0)) CryptReleaseContext(prov, 0);
    }
    return testing_support::Handles() - before;
}

bool FailLateRound() {
    NewSig sig(kDoc, L"#nowhere");
    if (sig.Ref(L"#d") == nullptr) return false;
    return sig.SignHmac(kSecret) == kObjectFaulted;
}

}  // namespace

TEST(SignLeak, ThousandsOfSignaturesKeepHandlesAndMemory) {
    Container rsa(PROV_RSA_FULL, L"talvoran-sign-leak", AT_SIGNATURE, 0, (1024u << 16));
    ASSERT_TRUE(rsa.ok()) << rsa.error();
    const DWORD providerCost = ProviderHandleCost(L"talvoran-sign-leak", PROV_RSA_AES, kRounds - kWarmUp - 1);
    DWORD handlesAfterWarmUp = 0;
    SIZE_T bytesAfterWarmUp = 0;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(SignHmacRound()) << "HMAC round " << round;
        ASSERT_TRUE(SignRsaRound(rsa.prov(), kRsaSha1, kSha1)) << "RSA-SHA1 round " << round;
        ASSERT_TRUE(SignRsaRound(rsa.prov(), kRsaSha256, kSha256)) << "RSA-SHA256 round " << round;
        ASSERT_TRUE(FailLateRound()) << "failing round " << round;
        if (round == kWarmUp) {
            handlesAfterWarmUp = testing_support::Handles();
            bytesAfterWarmUp = testing_support::PrivateBytes();
        }
    }
    const DWORD handles = testing_support::Handles();
    const SIZE_T bytes = testing_support::PrivateBytes();
    std::printf("handles: %lu after round %d, %lu after %d (the provider itself costs %lu); private bytes: %zu, %zu\n",
                handlesAfterWarmUp, kWarmUp, handles, kRounds, providerCost, bytesAfterWarmUp, bytes);
    EXPECT_LE(handles, handlesAfterWarmUp + providerCost + kHandleMargin);
    EXPECT_LE(bytes, bytesAfterWarmUp + kPrivateBytesMargin);
}
