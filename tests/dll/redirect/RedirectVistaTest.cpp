// Redirection on a system older than the platform library: this program's Wine settings
// report Windows Vista (6.0) and load no CryptXml.dll, as on a Vista machine.
#include <gtest/gtest.h>

#include "RedirectSupport.hpp"

using namespace redirecttest;

namespace {

const std::wstring kLoadFailed = Line("EnsureMsCryptXmlLoaded", "failed to load CryptXml.dll");

}  // namespace

TEST(RedirectionOnVista, TheWineSettingsReportVersion60) {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    ASSERT_TRUE(::GetVersionExW(&version));
    EXPECT_EQ(6u, version.dwMajorVersion);
    EXPECT_EQ(0u, version.dwMinorVersion);
}

TEST(RedirectionOnVista, IsNotAvailable) { EXPECT_EQ(S_FALSE, dll().RedirectionIsAvailable()); }

TEST(RedirectionOnVista, SwitchingOnIsRefusedAndChangesNothing) {
    EXPECT_EQ(kOperation, dll().EnableRedirection(TRUE));
    EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled());
}

TEST(RedirectionOnVista, SwitchingOffIsAllowedWithoutHandles) { EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE)); }

TEST(RedirectionOnVista, SwitchingOffIsRefusedWhileAHandleIsOpen) {
    HCRYPTXML doc = OpenDocument();
    EXPECT_EQ(kOperation, dll().EnableRedirection(FALSE));
    EXPECT_EQ(S_OK, dll().Close(doc));
}

TEST(RedirectionOnVista, EveryCallTriesTheLoadAgainAndSaysSo) {
    for (int round = 0; round < 2; ++round) {
        const std::vector<std::wstring> lines =
            LinesOf([] { EXPECT_EQ(E_INVALIDARG, dll().GetStatus(nullptr, nullptr)); });
        const std::vector<std::wstring> expected = {
            kLoadFailed, Line("CryptXmlGetStatus", testing_support::InvalidArgMessage(
                                                       "CryptXmlGetStatus", "NULL == pStatus || NULL == hCryptXml"))};
        EXPECT_EQ(expected, lines) << "round " << round;
    }
    const std::vector<std::wstring> query = LinesOf([] { EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled()); });
    EXPECT_EQ(std::vector<std::wstring>{kLoadFailed}, query);
    EXPECT_EQ(nullptr, ::GetModuleHandleW(L"CryptXml.dll"));
}

TEST(RedirectionOnVista, TheLibraryServesCallsItself) {
    HCRYPTXML doc = OpenDocument();
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    EXPECT_EQ(S_OK, dll().GetDocContext(doc, &ctxt));
    ASSERT_NE(nullptr, ctxt);
    EXPECT_EQ(S_OK, dll().Close(doc));
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* config = nullptr;
    EXPECT_EQ(S_OK, dll().GetTransforms(&config));
    EXPECT_NE(nullptr, config);
}
