// Redirection where the platform library exists: the prefix's system CryptXml.dll is the
// recording stand-in. The tests run in order: the first one sees the library load it.
#include <gtest/gtest.h>

#include <cstring>

#include "RedirectSupport.hpp"

using namespace redirecttest;

namespace {

// Addresses and numbers no caller would use, so that each argument is recognised exactly.
template <class T>
T Fake(ULONG_PTR value) {
    return reinterpret_cast<T>(value);
}

void ExpectCall(const StandIn& standIn, StandInEntry entry, std::initializer_list<ULONGLONG> args) {
    const StandInCall call = standIn.Last();
    EXPECT_EQ(entry, call.entry);
    ASSERT_EQ(static_cast<int>(args.size()), call.argCount);
    int i = 0;
    for (ULONGLONG expected : args) {
        EXPECT_EQ(expected, call.args[i]) << "argument " << i + 1;
        ++i;
    }
}

}  // namespace

TEST(RedirectionOff, TheFirstCallLoadsTheSystemLibrary) {
    ASSERT_EQ(nullptr, ::GetModuleHandleW(L"CryptXml.dll"));
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
    ASSERT_NE(nullptr, ::GetModuleHandleW(L"CryptXml.dll"));
    wchar_t system[MAX_PATH] = {};
    ::GetSystemDirectoryW(system, MAX_PATH);
    const StandIn standIn;
    EXPECT_EQ(StandIn::Lower(std::wstring(system) + L"\\cryptxml.dll"), standIn.Path());
    EXPECT_EQ(0, standIn.Calls());
}

TEST(RedirectionOff, TheLibraryServesCallsItself) {
    const StandIn standIn;
    const LONG before = standIn.Calls();
    EXPECT_EQ(E_INVALIDARG, dll().GetStatus(nullptr, nullptr));
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* config = nullptr;
    EXPECT_EQ(S_OK, dll().GetTransforms(&config));
    ASSERT_NE(nullptr, config);
    EXPECT_EQ(10u, config->cTransformInfo);
    EXPECT_NE(nullptr, dll().FindAlgorithmInfo(CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI,
                                               L"http://www.w3.org/2000/09/xmldsig#sha1", CRYPT_XML_GROUP_ID_HASH, 0));
    EXPECT_EQ(before, standIn.Calls());
}

TEST(RedirectionOff, IsAvailableFromVersion61) {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    ASSERT_TRUE(::GetVersionExW(&version));
    ASSERT_TRUE(version.dwMajorVersion > 6 || (version.dwMajorVersion == 6 && version.dwMinorVersion >= 1));
    EXPECT_EQ(S_OK, dll().RedirectionIsAvailable());
}

TEST(RedirectionSwitch, RefusedWhileADocumentHandleIsOpen) {
    HCRYPTXML doc = OpenDocument();
    EXPECT_EQ(kOperation, dll().EnableRedirection(TRUE));
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
    EXPECT_EQ(S_OK, dll().Close(doc));
    EXPECT_EQ(S_OK, dll().EnableRedirection(TRUE));
    EXPECT_EQ(S_OK, dll().RedirectionIsEnabled());
    EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE));
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
}

TEST(RedirectionSwitch, RefusedWhileASignatureToEncodeIsOpen) {
    HCRYPTXML sig = nullptr;
    ASSERT_EQ(S_OK, dll().OpenToEncode(nullptr, 0, L"sig-1", nullptr, 0, nullptr, &sig));
    EXPECT_EQ(kOperation, dll().EnableRedirection(TRUE));
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
    EXPECT_EQ(S_OK, dll().Close(sig));
}

TEST(RedirectionSwitch, SwitchingOffIsRefusedWhileAHandleIsOpen) {
    HCRYPTXML doc = OpenDocument();
    EXPECT_EQ(kOperation, dll().EnableRedirection(FALSE));
    EXPECT_EQ(S_OK, dll().Close(doc));
    EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE));
}

TEST(RedirectionSwitch, AnyNonZeroBoolSwitchesOn) {
    EXPECT_EQ(S_OK, dll().EnableRedirection(2));
    EXPECT_EQ(S_OK, dll().RedirectionIsEnabled());
    EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE));
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
}

class RedirectionOn : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(S_OK, dll().EnableRedirection(TRUE)); }
    void TearDown() override { EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE)); }
    const StandIn standIn_;
};

TEST_F(RedirectionOn, EveryPublishedFunctionIsForwardedArgumentForArgument) {
    const LONG before = standIn_.Calls();
    const std::vector<std::wstring> lines = LinesOf([&] {
        auto config = Fake<const CRYPT_XML_TRANSFORM_CHAIN_CONFIG*>(0x1001);
        auto property = Fake<const CRYPT_XML_PROPERTY*>(0x1002);
        auto blob = Fake<const CRYPT_XML_BLOB*>(0x1003);
        auto handle = Fake<HCRYPTXML>(0x1004);
        auto out = Fake<HCRYPTXML*>(0x1005);
        auto id = Fake<LPCWSTR>(0x1006);
        auto alg = Fake<const CRYPT_XML_ALGORITHM*>(0x1007);
        auto alg2 = Fake<const CRYPT_XML_ALGORITHM*>(0x1008);

        EXPECT_EQ(Marker(kStandInOpenToEncode), dll().OpenToEncode(config, 0x11, id, property, 0x12, blob, out));
        ExpectCall(standIn_, kStandInOpenToEncode, {0x1001, 0x11, 0x1006, 0x1002, 0x12, 0x1003, 0x1005});

        EXPECT_EQ(Marker(kStandInCreateReference), dll().CreateReference(handle, 0x21, id, Fake<LPCWSTR>(0x2001),
                                                                         Fake<LPCWSTR>(0x2002), alg, 0x22, alg2, out));
        ExpectCall(standIn_, kStandInCreateReference,
                   {0x1004, 0x21, 0x1006, 0x2001, 0x2002, 0x1007, 0x22, 0x1008, 0x1005});

        EXPECT_EQ(Marker(kStandInSign), dll().Sign(handle, 0x3001, 0x31, 0x32, CRYPT_XML_KEYINFO_SPEC_PARAM,
                                                   Fake<const void*>(0x3002), alg, alg2));
        ExpectCall(standIn_, kStandInSign,
                   {0x1004, 0x3001, 0x31, 0x32, CRYPT_XML_KEYINFO_SPEC_PARAM, 0x3002, 0x1007, 0x1008});

        EXPECT_EQ(Marker(kStandInClose), dll().Close(handle));
        ExpectCall(standIn_, kStandInClose, {0x1004});

        EXPECT_EQ(Marker(kStandInGetStatus), dll().GetStatus(handle, Fake<CRYPT_XML_STATUS*>(0x5001)));
        ExpectCall(standIn_, kStandInGetStatus, {0x1004, 0x5001});

        auto write = Fake<PFN_CRYPT_XML_WRITE_CALLBACK>(0x6002);
        EXPECT_EQ(Marker(kStandInEncode),
                  dll().Encode(handle, CRYPT_XML_CHARSET_UTF16BE, property, 0x61, Fake<void*>(0x6001), write));
        ExpectCall(standIn_, kStandInEncode, {0x1004, CRYPT_XML_CHARSET_UTF16BE, 0x1002, 0x61, 0x6001, 0x6002});

        EXPECT_EQ(Marker(kStandInOpenToDecode), dll().OpenToDecode(config, 0x71, property, 0x72, blob, out));
        ExpectCall(standIn_, kStandInOpenToDecode, {0x1001, 0x71, 0x1002, 0x72, 0x1003, 0x1005});

        EXPECT_EQ(Marker(kStandInGetSignature), dll().GetSignature(handle, Fake<const CRYPT_XML_SIGNATURE**>(0x8001)));
        ExpectCall(standIn_, kStandInGetSignature, {0x1004, 0x8001});

        EXPECT_EQ(Marker(kStandInGetReference), dll().GetReference(handle, Fake<const CRYPT_XML_REFERENCE**>(0x9001)));
        ExpectCall(standIn_, kStandInGetReference, {0x1004, 0x9001});

        EXPECT_EQ(Marker(kStandInGetDocContext), dll().GetDocContext(handle, Fake<const CRYPT_XML_DOC_CTXT**>(0xA001)));
        ExpectCall(standIn_, kStandInGetDocContext, {0x1004, 0xA001});

        // A CNG key would be refused on the library's own path; here it goes through.
        EXPECT_EQ(Marker(kStandInVerifySignature),
                  dll().VerifySignature(handle, Fake<BCRYPT_KEY_HANDLE>(0xB001), 0xB2));
        ExpectCall(standIn_, kStandInVerifySignature, {0x1004, 0xB001, 0xB2});

        EXPECT_EQ(standIn_.Sentinel(), dll().FindAlgorithmInfo(0xC1, Fake<const void*>(0xC001), 0xC2, 0xC3));
        ExpectCall(standIn_, kStandInFindAlgorithmInfo, {0xC1, 0xC001, 0xC2, 0xC3});

        EXPECT_EQ(Marker(kStandInImportPublicKey), dll().ImportPublicKey(0xD1, Fake<const CRYPT_XML_KEY_VALUE*>(0xD001),
                                                                         Fake<BCRYPT_KEY_HANDLE*>(0xD002)));
        ExpectCall(standIn_, kStandInImportPublicKey, {0xD1, 0xD001, 0xD002});

        EXPECT_EQ(Marker(kStandInDigestReference),
                  dll().DigestReference(handle, 0xE1, Fake<CRYPT_XML_DATA_PROVIDER*>(0xE001)));
        ExpectCall(standIn_, kStandInDigestReference, {0x1004, 0xE1, 0xE001});

        EXPECT_EQ(Marker(kStandInEnumAlgorithmInfo),
                  dll().EnumAlgorithmInfo(0xF1, 0xF2, Fake<void*>(0xF001), Fake<PFN_CRYPT_XML_ENUM_ALG_INFO>(0xF002)));
        ExpectCall(standIn_, kStandInEnumAlgorithmInfo, {0xF1, 0xF2, 0xF001, 0xF002});

        EXPECT_EQ(Marker(kStandInGetAlgorithmInfo),
                  dll().GetAlgorithmInfo(alg, 0x101, Fake<CRYPT_XML_ALGORITHM_INFO**>(0x10001)));
        ExpectCall(standIn_, kStandInGetAlgorithmInfo, {0x1007, 0x101, 0x10001});

        EXPECT_EQ(Marker(kStandInSetHMACSecret), dll().SetHMACSecret(handle, Fake<const BYTE*>(0x11001), 0x111));
        ExpectCall(standIn_, kStandInSetHMACSecret, {0x1004, 0x11001, 0x111});

        EXPECT_EQ(Marker(kStandInAddObject),
                  dll().AddObject(handle, 0x121, property, 0x122, blob, Fake<const CRYPT_XML_OBJECT**>(0x12001)));
        ExpectCall(standIn_, kStandInAddObject, {0x1004, 0x121, 0x1002, 0x122, 0x1003, 0x12001});

        EXPECT_EQ(Marker(kStandInGetTransforms),
                  dll().GetTransforms(Fake<const CRYPT_XML_TRANSFORM_CHAIN_CONFIG**>(0x13001)));
        ExpectCall(standIn_, kStandInGetTransforms, {0x13001});
    });
    // Forwarding writes nothing of its own.
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_EQ(before + 19, standIn_.Calls());
}

TEST_F(RedirectionOn, NullArgumentsReachThePlatformUnchecked) {
    const LONG before = standIn_.Calls();
    const std::vector<std::wstring> lines = LinesOf([&] {
        EXPECT_EQ(Marker(kStandInGetStatus), dll().GetStatus(nullptr, nullptr));
        ExpectCall(standIn_, kStandInGetStatus, {0, 0});
        EXPECT_EQ(Marker(kStandInOpenToEncode), dll().OpenToEncode(nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr));
        EXPECT_EQ(Marker(kStandInDigestReference), dll().DigestReference(nullptr, 0, nullptr));
        EXPECT_EQ(Marker(kStandInGetTransforms), dll().GetTransforms(nullptr));
    });
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_EQ(before + 4, standIn_.Calls());
}

TEST_F(RedirectionOn, TheCryptoApiExportsAreRefused) {
    const LONG before = standIn_.Calls();
    HCRYPTPROV prov = 0x1234;
    HCRYPTKEY key = 0x5678;
    const std::vector<std::wstring> lines = LinesOf([&] {
        EXPECT_EQ(E_UNEXPECTED, dll().ImportPublicKeyCAPI(0, nullptr, &prov, &key));
        EXPECT_EQ(E_FAIL, dll().VerifySignatureCAPI(Fake<HCRYPTXML>(0x1004), 0, 0, 0));
    });
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_EQ(0x1234u, prov);
    EXPECT_EQ(0x5678u, key);
    EXPECT_EQ(before, standIn_.Calls());
}

TEST_F(RedirectionOn, TraceAndControlExportsStayWithTheLibrary) {
    const LONG before = standIn_.Calls();
    dll().StartDebugging();
    EXPECT_TRUE(dll().DebuggingIsStarted());
    dll().StopDebugging();
    EXPECT_FALSE(dll().DebuggingIsStarted());
    wchar_t line[64];
    EXPECT_EQ(S_OK, dll().GetLastDebugMessage(line, 64));
    EXPECT_EQ(S_OK, dll().RedirectionIsAvailable());
    EXPECT_EQ(S_OK, dll().RedirectionIsEnabled());
    EXPECT_EQ(before, standIn_.Calls());
}

TEST_F(RedirectionOn, CleanupLeavesEverythingAsItIs) {
    const LONG before = standIn_.Calls();
    const std::vector<std::wstring> lines = LinesOf([&] { dll().Cleanup(); });
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_EQ(S_OK, dll().RedirectionIsEnabled());
    EXPECT_EQ(before, standIn_.Calls());
}

// Runs after the forwarding suite above, which switched redirection on and off again.
TEST(RedirectionSwitchedOffAgain, TheLibraryServesCallsAgain) {
    const StandIn standIn;
    const LONG before = standIn.Calls();
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
    HCRYPTXML doc = OpenDocument();
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    EXPECT_EQ(S_OK, dll().GetDocContext(doc, &ctxt));
    ASSERT_NE(nullptr, ctxt);
    EXPECT_EQ(0u, ctxt->cSignature);
    EXPECT_EQ(S_OK, dll().Close(doc));
    EXPECT_EQ(before, standIn.Calls());
}
