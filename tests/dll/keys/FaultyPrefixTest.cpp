// Provider failures, in build/wineprefix-faulty: types 1, 3, 24 and 75 answer through the
// Talvoran Faulty CSP (tools/faulty-csp), type 2 is defined without a provider. Each test sets
// the failures it needs with TALVORAN_FAULTY_CSP for the duration of one import.
#include <gtest/gtest.h>

#include "KeyValues.hpp"

namespace keytest {
namespace {

const std::string kMessage = "a message for the faulty provider";
// ERROR_DEVICE_NOT_AVAILABLE: a code no real provider answers here.
const char kAnyAcquireFails[] = "acquire:*=4319";
constexpr HRESULT kDeviceNotAvailable = static_cast<HRESULT>(0x800710DFL);
constexpr HRESULT kNotReady = static_cast<HRESULT>(0x80070015L);  // HRESULT_FROM_WIN32(21)
constexpr HRESULT kIoDevice = static_cast<HRESULT>(0x8007045DL);  // HRESULT_FROM_WIN32(1117)

std::vector<std::wstring> Lines(std::initializer_list<std::wstring> lines) { return lines; }

void ExpectOneLine(const ImportResult& r, HRESULT expected, const char* routine, const char* text) {
    EXPECT_EQ(expected, r.hr);
    EXPECT_EQ(Lines({RoutineLine(routine, text)}), r.lines);
    EXPECT_EQ(RoutineLine(routine, text), dll().LastMessage());
}

RsaNumbers RsaKeyNumbers(const SigningKey& signer) { return RsaFromBlob(signer.PublicBlob()); }

// The component checks come before any provider is asked for: with every acquire failing,
// an empty component still answers E_INVALIDARG, while a valid key answers the injected error.
TEST(FaultyPrefix, RsaEmptyComponentAcquiresNoProvider) {
    const SigningKey signer(PROV_RSA_FULL, AT_SIGNATURE, 1024u << 16, CALG_SHA1);
    const RsaNumbers numbers = RsaKeyNumbers(signer);
    Injection injection(kAnyAcquireFails);
    CRYPT_XML_KEY_VALUE zeroLength = RsaValue(numbers);
    zeroLength.RSAKeyValue.Exponent.cbData = 0;
    ExpectOneLine(Import(zeroLength), kInvalidArg, "ImportRsaKey", "keyValue.RSAKeyValue.");
    CRYPT_XML_KEY_VALUE nullData = RsaValue(numbers);
    nullData.RSAKeyValue.Exponent.pbData = nullptr;
    ExpectOneLine(Import(nullData), kInvalidArg, "ImportRsaKey", "keyValue.RSAKeyValue.");
    ExpectOneLine(Import(RsaValue(numbers)), kDeviceNotAvailable, "ImportRsaKey",
                  "CryptAcquireContext(PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) failed.");
}

TEST(FaultyPrefix, DsaEmptyComponentAcquiresNoProvider) {
    const SigningKey signer(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1);
    const DsaNumbers numbers = DsaFromBlob(signer.PublicBlob());
    Injection injection(kAnyAcquireFails);
    CRYPT_XML_KEY_VALUE value = DsaValue(numbers);
    value.DSAKeyValue.Y.cbData = 0;
    ExpectOneLine(Import(value), kInvalidArg, "ImportDsaKey", "keyValue.DSAKeyValue.");
    ExpectOneLine(Import(DsaValue(numbers)), kDeviceNotAvailable, "ImportDsaKey",
                  "CryptAcquireContext(PROV_DSS, CRYPT_VERIFYCONTEXT)) failed.");
}

TEST(FaultyPrefix, RsaFallsBackToType1WhenType24Fails) {
    const SigningKey signer(PROV_RSA_FULL, AT_SIGNATURE, 1024u << 16, CALG_SHA1);
    const RsaNumbers numbers = RsaKeyNumbers(signer);
    Injection injection("acquire:24");
    const ImportResult r = Import(RsaValue(numbers));
    ASSERT_EQ(S_OK, r.hr);
    EXPECT_TRUE(r.lines.empty());
    DWORD length = 0;
    ASSERT_TRUE(CryptGetProvParam(r.prov, PP_NAME, nullptr, &length, 0));
    std::string name(length, '\0');
    ASSERT_TRUE(CryptGetProvParam(r.prov, PP_NAME, reinterpret_cast<BYTE*>(&name[0]), &length, 0));
    EXPECT_STREQ("Microsoft Enhanced Cryptographic Provider v1.0", name.c_str());
    Bytes signature = signer.Sign(kMessage);
    EXPECT_EQ(0u, VerifyError(r.prov, r.key, CALG_SHA1, kMessage, signature));
    signature[3] ^= 0x08;
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_SIGNATURE), VerifyError(r.prov, r.key, CALG_SHA1, kMessage, signature));
}

TEST(FaultyPrefix, RsaBothTypesUnavailable) {
    const RsaNumbers numbers = RsaKeyNumbers(SigningKey(PROV_RSA_FULL, AT_SIGNATURE, 1024u << 16, CALG_SHA1));
    Injection injection("acquire:24,acquire:1");
    const ImportResult r = Import(RsaValue(numbers));
    ExpectOneLine(r, kNotReady, "ImportRsaKey", "CryptAcquireContext(PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) failed.");
    // Nothing was handed out, and the caller's variables are left as they were.
    EXPECT_EQ(kUntouched, r.prov);
    EXPECT_EQ(kUntouched, r.key);
}

TEST(FaultyPrefix, RsaKeyDuplicationFails) {
    const RsaNumbers numbers = RsaKeyNumbers(SigningKey(PROV_RSA_FULL, AT_SIGNATURE, 1024u << 16, CALG_SHA1));
    Injection injection("duplicate-key=1117");
    const ImportResult r = Import(RsaValue(numbers));
    ExpectOneLine(r, kIoDevice, "ImportRsaKey", "CryptDuplicateKey() failed.");
    EXPECT_EQ(0u, r.prov);
    EXPECT_EQ(0u, r.key);
}

TEST(FaultyPrefix, DsaProviderUnavailable) {
    const DsaNumbers numbers = DsaFromBlob(SigningKey(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1).PublicBlob());
    Injection injection("acquire:3");
    // The doubled parenthesis belongs to the text.
    const ImportResult r = Import(DsaValue(numbers));
    ExpectOneLine(r, kNotReady, "ImportDsaKey", "CryptAcquireContext(PROV_DSS, CRYPT_VERIFYCONTEXT)) failed.");
    EXPECT_EQ(kUntouched, r.prov);
    EXPECT_EQ(kUntouched, r.key);
}

TEST(FaultyPrefix, DsaKeyDuplicationFails) {
    const DsaNumbers numbers = DsaFromBlob(SigningKey(PROV_DSS, CALG_DSS_SIGN, 1024u << 16, CALG_SHA1).PublicBlob());
    Injection injection("duplicate-key:3=1117");
    const ImportResult r = Import(DsaValue(numbers));
    ExpectOneLine(r, kIoDevice, "ImportDsaKey", "CryptDuplicateKey() failed.");
    EXPECT_EQ(0u, r.prov);
    EXPECT_EQ(0u, r.key);
}

std::vector<std::wstring> GostFallbackThen(const std::string& failure) {
    return {
        RoutineLine("ImportGostKey",
                    "CryptAcquireContext() returns NTE_KEYSET_NOT_DEF on (KRM_PROV_TYPE, CRYPT_VERIFYCONTEXT)"),
        RoutineLine("ImportGostKey", "Try to call CryptAcquireContext() with (CPRO_PROV_TYPE, CRYPT_VERIFYCONTEXT)"),
        GostExceptionLine("ImportGostKey", failure)};
}

Bytes GostPoint() {
    const SigningKey signer(kCproProvType, kGr3410El, 0, kGr3411);
    return GostPointFromBlob(signer.PublicBlob());
}

// Type 75 fails with ERROR_NOT_READY, but the message reports the type-2 error that led to it.
TEST(FaultyPrefix, GostBothProvidersUnavailable) {
    GostValue gost(KeyValueElement(GostKeyValueDsig(GostPoint())), CRYPT_XML_CHARSET_UTF8);
    Injection injection("acquire:75");
    const ImportResult r = Import(gost.value);
    EXPECT_EQ(kFail, r.hr);
    EXPECT_EQ(GostFallbackThen("CryptAcquireContext(CPRO_PROV_TYPE,CRYPT_VERIFYCONTEXT) returns 0x80090019"), r.lines);
    EXPECT_EQ(r.lines.empty() ? L"" : r.lines.back(), dll().LastMessage());
    EXPECT_EQ(0u, r.prov);         // zeroed when the provider was looked for
    EXPECT_EQ(kUntouched, r.key);  // written only on success
}

TEST(FaultyPrefix, GostKeyDuplicationFails) {
    GostValue gost(KeyValueElement(GostKeyValueDsig(GostPoint())), CRYPT_XML_CHARSET_UTF8);
    Injection injection("duplicate-key:75=1117");
    const ImportResult r = Import(gost.value);
    EXPECT_EQ(kFail, r.hr);
    EXPECT_EQ(GostFallbackThen("CryptDuplicateKey() failed."), r.lines);
    EXPECT_EQ(0u, r.prov);         // zeroed when the provider was looked for
    EXPECT_EQ(kUntouched, r.key);  // written only on success
}

// Without injection the GOST path works here too: type 2 has no provider, type 75 answers.
TEST(FaultyPrefix, GostThroughTheForwardedType75) {
    const SigningKey signer(kCproProvType, kGr3410El, 0, kGr3411);
    GostValue gost(KeyValueElement(GostKeyValueDsig(GostPointFromBlob(signer.PublicBlob()))), CRYPT_XML_CHARSET_UTF8);
    const ImportResult r = Import(gost.value);
    ASSERT_EQ(S_OK, r.hr);
    std::vector<std::wstring> fallback = GostFallbackThen("");
    fallback.pop_back();
    EXPECT_EQ(fallback, r.lines);
    const Bytes signature = signer.Sign(kMessage);
    EXPECT_EQ(0u, VerifyError(r.prov, r.key, kGr3411, kMessage, signature));
}

}  // namespace
}  // namespace keytest
