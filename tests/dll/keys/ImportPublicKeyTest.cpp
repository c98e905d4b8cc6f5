// CryptXmlImportPublicKeyCAPI's argument checks and dispatch on dwType, and the CNG form
// CryptXmlImportPublicKey, which this library does not offer. Independent of the providers
// a prefix has; run in the build's main prefix.
#include <gtest/gtest.h>

#include "support/DebugCapture.hpp"
#include "KeyValues.hpp"

namespace keytest {
namespace {

const RsaNumbers kSmallRsa = {{0xC5, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}, {0x01, 0x00, 0x01}};
const std::string kGostXml = KeyValueElement(GostKeyValueDsig(Bytes(64, 0x11)));

// Writes a known last trace line, so that "unchanged" means something.
void LeaveKnownLastLine() {
    RsaNumbers emptyExponent = kSmallRsa;
    emptyExponent.exponent.clear();
    const ImportResult seeded = Import(RsaValue(emptyExponent));
    ASSERT_EQ(kInvalidArg, seeded.hr);
    ASSERT_EQ(RoutineLine("ImportRsaKey", "keyValue.RSAKeyValue."), dll().LastMessage());
}

TEST(ImportArguments, NullArgumentsAreRefusedWithoutATraceLine) {
    LeaveKnownLastLine();
    const std::wstring before = dll().LastMessage();
    const CRYPT_XML_KEY_VALUE value = RsaValue(kSmallRsa);
    HCRYPTPROV prov = kUntouched;
    HCRYPTKEY key = kUntouched;
    DebugCapture capture;
    EXPECT_EQ(kInvalidArg, dll().ImportPublicKeyCAPI(0, nullptr, &prov, &key));
    EXPECT_EQ(kInvalidArg, dll().ImportPublicKeyCAPI(0, &value, nullptr, &key));
    EXPECT_EQ(kInvalidArg, dll().ImportPublicKeyCAPI(0, &value, &prov, nullptr));
    EXPECT_EQ(kInvalidArg, dll().ImportPublicKeyCAPI(0, nullptr, nullptr, nullptr));
    EXPECT_EQ(kUntouched, prov);
    EXPECT_EQ(kUntouched, key);
    EXPECT_TRUE(capture.Lines().empty()) << capture.Lines().front();
    EXPECT_EQ(before, dll().LastMessage());
}

TEST(ImportArguments, EcdsaIsNotImplemented) {
    LeaveKnownLastLine();
    const std::wstring before = dll().LastMessage();
    CRYPT_XML_KEY_VALUE value{};
    value.dwType = CRYPT_XML_KEY_VALUE_TYPE_ECDSA;
    const Bytes x(32, 0x22), y(32, 0x33);
    value.ECDSAKeyValue.wszNamedCurve = L"urn:oid:1.2.840.10045.3.1.7";
    value.ECDSAKeyValue.X = DataBlob(x);
    value.ECDSAKeyValue.Y = DataBlob(y);
    const ImportResult r = Import(value);
    EXPECT_EQ(kNotImpl, r.hr);
    EXPECT_EQ(kUntouched, r.prov);
    EXPECT_EQ(kUntouched, r.key);
    EXPECT_TRUE(r.lines.empty());
    EXPECT_EQ(before, dll().LastMessage());
}

TEST(ImportArguments, UnknownTypesAreInvalidArguments) {
    LeaveKnownLastLine();
    const std::wstring before = dll().LastMessage();
    for (DWORD type : {0u, 5u, 7u, 9u, 0x10u, 0xFFFFFFFFu}) {
        CRYPT_XML_KEY_VALUE value = RsaValue(kSmallRsa);
        value.dwType = type;
        const ImportResult r = Import(value);
        EXPECT_EQ(kInvalidArg, r.hr) << type;
        EXPECT_EQ(kUntouched, r.prov) << type;
        EXPECT_EQ(kUntouched, r.key) << type;
        EXPECT_TRUE(r.lines.empty()) << type;
    }
    EXPECT_EQ(before, dll().LastMessage());
}

// CRYPT_XML_KEY_VALUE_TYPE_CUSTOM shares the union member's shape with GOSTKeyValue, but only
// type 8 is read as GOST.
TEST(ImportArguments, CustomTypeHoldingAGostKeyValueIsInvalid) {
    LeaveKnownLastLine();
    const std::wstring before = dll().LastMessage();
    GostValue gost(kGostXml, CRYPT_XML_CHARSET_UTF8);
    gost.value.dwType = CRYPT_XML_KEY_VALUE_TYPE_CUSTOM;
    const ImportResult r = Import(gost.value);
    EXPECT_EQ(kInvalidArg, r.hr);
    EXPECT_EQ(kUntouched, r.prov);
    EXPECT_EQ(kUntouched, r.key);
    EXPECT_TRUE(r.lines.empty());
    EXPECT_EQ(before, dll().LastMessage());
}

TEST(ImportArguments, CngImportAlwaysFails) {
    dll().StartDebugging();
    const CRYPT_XML_KEY_VALUE rsa = RsaValue(kSmallRsa);
    GostValue gost(kGostXml, CRYPT_XML_CHARSET_UTF8);
    BCRYPT_KEY_HANDLE key = reinterpret_cast<BCRYPT_KEY_HANDLE>(kUntouched);
    DebugCapture capture;
    EXPECT_EQ(kFail, dll().ImportPublicKey(0, nullptr, nullptr));
    EXPECT_EQ(kFail, dll().ImportPublicKey(0, nullptr, &key));
    EXPECT_EQ(kFail, dll().ImportPublicKey(0, &rsa, nullptr));
    EXPECT_EQ(kFail, dll().ImportPublicKey(0, &rsa, &key));
    EXPECT_EQ(kFail, dll().ImportPublicKey(0xFFFFFFFF, &gost.value, &key));
    EXPECT_EQ(reinterpret_cast<BCRYPT_KEY_HANDLE>(kUntouched), key);
    EXPECT_TRUE(capture.Lines().empty());
}

}  // namespace
}  // namespace keytest
