// Redirection to a platform library that lacks one published function: this program lies
// beside a stand-in CryptXml.dll without CryptXmlGetDocContext, which the loader finds
// before the system's.
#include <gtest/gtest.h>

#include "RedirectSupport.hpp"

using namespace redirecttest;

namespace {

std::wstring OwnDirectoryFile(const wchar_t* name) {
    std::wstring path = StandIn::ModulePath(nullptr);
    return path.substr(0, path.find_last_of(L'\\') + 1) + StandIn::Lower(name);
}

}  // namespace

TEST(RedirectionMissingEntry, IsReportedOnceAtTheFirstCall) {
    const std::vector<std::wstring> first = LinesOf([] { EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled()); });
    EXPECT_EQ(std::vector<std::wstring>{Line("EnsureMsCryptXmlLoaded",
                                             "At least one CryptXml-function could not "
                                             "be found in the loaded CryptXml.dll.")},
              first);
    EXPECT_EQ(OwnDirectoryFile(L"CryptXml.dll"), StandIn().Path());
    const std::vector<std::wstring> second = LinesOf([] { EXPECT_EQ(S_FALSE, dll().RedirectionIsEnabled()); });
    EXPECT_TRUE(second.empty()) << second.front();
}

TEST(RedirectionMissingEntry, TheLibraryServesCallsWhileOff) {
    EXPECT_EQ(E_INVALIDARG, dll().GetStatus(nullptr, nullptr));
    EXPECT_EQ(0, StandIn().Calls());
}

TEST(RedirectionMissingEntry, TheOtherFunctionsAreForwarded) {
    ASSERT_EQ(S_OK, dll().EnableRedirection(TRUE));
    const StandIn standIn;
    const std::vector<std::wstring> lines = LinesOf([&] {
        EXPECT_EQ(Marker(kStandInGetStatus), dll().GetStatus(nullptr, nullptr));
        // Looked up after the missing one: the lookup went on past it.
        EXPECT_EQ(Marker(kStandInGetTransforms), dll().GetTransforms(nullptr));
    });
    EXPECT_TRUE(lines.empty()) << lines.front();
    EXPECT_EQ(2, standIn.Calls());
    EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE));
}

TEST(RedirectionMissingEntry, TheMissingFunctionAnswersProcNotFound) {
    ASSERT_EQ(S_OK, dll().EnableRedirection(TRUE));
    const StandIn standIn;
    const LONG before = standIn.Calls();
    const CRYPT_XML_DOC_CTXT* ctxt = nullptr;
    const std::vector<std::wstring> lines =
        LinesOf([&] { EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND), dll().GetDocContext(nullptr, &ctxt)); });
    EXPECT_EQ(std::vector<std::wstring>{Line("CryptXmlGetDocContext", "the loaded CryptXml.dll has no such function.")},
              lines);
    EXPECT_EQ(nullptr, ctxt);
    EXPECT_EQ(before, standIn.Calls());
    EXPECT_EQ(S_OK, dll().EnableRedirection(FALSE));
}
