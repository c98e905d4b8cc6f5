#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/TestContexts.hpp"
#include "base/CryptXmlException.hpp"

using testing_support::TestDocContext;

namespace {

template <HRESULT Code>
std::string RaisedBy(const wchar_t* id, DWORD flags) {
    try {
        BaseContext::CheckIdLimits(id, flags);
    } catch (const CryptXmlTemplateException<Code>& e) {
        return e.what();
    }
    return "<no exception>";
}

constexpr DWORD kNcName = CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT;
constexpr DWORD kName = CRYPT_XML_FLAG_ENFORCE_ID_NAME_FORMAT;

}  // namespace

TEST(BaseContext, StartsWithAnEmptyStatus) {
    TestDocContext ctx(0x1234);
    CRYPT_XML_STATUS status;
    std::memset(&status, 0xAB, sizeof(status));
    ctx.GetStatus(&status);
    EXPECT_EQ(12u, status.cbSize);
    EXPECT_EQ(0u, status.dwErrorStatus);
    EXPECT_EQ(0u, status.dwInfoStatus);
    EXPECT_EQ(0x1234u, ctx.GetFlags());
    EXPECT_FALSE(ctx.HasOwner());
}

TEST(BaseContext, SetStatusCopiesAllFields) {
    TestDocContext ctx;
    ctx.SetStatus({12, CRYPT_XML_STATUS_ERROR_DIGEST_INVALID, CRYPT_XML_STATUS_DIGEST_VALID});
    CRYPT_XML_STATUS status = {};
    ctx.GetStatus(&status);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_ERROR_DIGEST_INVALID), status.dwErrorStatus);
    EXPECT_EQ(static_cast<DWORD>(CRYPT_XML_STATUS_DIGEST_VALID), status.dwInfoStatus);
}

TEST(BaseContext, NameRules) {
    EXPECT_TRUE(BaseContext::IdAttrMeetXmlNcNameSyntax(L"id-1.a_b"));
    EXPECT_FALSE(BaseContext::IdAttrMeetXmlNcNameSyntax(L"a:b"));
    EXPECT_FALSE(BaseContext::IdAttrMeetXmlNcNameSyntax(L"1abc"));
    EXPECT_FALSE(BaseContext::IdAttrMeetXmlNcNameSyntax(L""));
    EXPECT_TRUE(BaseContext::IdAttrMeetXmlNameSyntax(L"a:b"));
    EXPECT_FALSE(BaseContext::IdAttrMeetXmlNameSyntax(L"a b"));
    EXPECT_THROW(BaseContext::IdAttrMeetXmlNcNameSyntax(nullptr), CryptXmlTemplateException<hr::kInvalidArg>);
    EXPECT_THROW(BaseContext::IdAttrMeetXmlNameSyntax(nullptr), CryptXmlTemplateException<hr::kInvalidArg>);
}

TEST(BaseContext, NullIdPassesEveryLimit) { EXPECT_NO_THROW(BaseContext::CheckIdLimits(nullptr, kNcName | kName)); }

TEST(BaseContext, NcNameRuleIsCheckedFirst) {
    EXPECT_EQ(
        "an error occurred. function: BaseContext::CheckIdLimits. desc: Unexpected XML element found. "
        "invalid id attribute. CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT",
        RaisedBy<hr::kUnexpectedXml>(L"a:b", kNcName | kName));
}

TEST(BaseContext, NameRuleApplies) {
    EXPECT_EQ(
        "an error occurred. function: BaseContext::CheckIdLimits. desc: Unexpected XML element found. "
        "invalid id attribute. CRYPT_XML_FLAG_ENFORCE_ID_NAME_FORMAT",
        RaisedBy<hr::kUnexpectedXml>(L"a b", kName));
    EXPECT_NO_THROW(BaseContext::CheckIdLimits(L"a:b", kName));
    EXPECT_NO_THROW(BaseContext::CheckIdLimits(L"a b", 0));  // no flag, no syntax rule
}

TEST(BaseContext, LengthLimitIs256Characters) {
    EXPECT_NO_THROW(BaseContext::CheckIdLimits(std::wstring(256, L'a').c_str(), kNcName | kName));
    EXPECT_EQ(
        "an error occurred. function: BaseContext::CheckIdLimits. desc: The value is too large. "
        "the length of id attr greater then CRYPT_XML_ID_MAX",
        RaisedBy<hr::kLarge>(std::wstring(257, L'a').c_str(), 0));
    // With the syntax flags, a long but valid id still fails on length.
    EXPECT_EQ(
        "an error occurred. function: BaseContext::CheckIdLimits. desc: The value is too large. "
        "the length of id attr greater then CRYPT_XML_ID_MAX",
        RaisedBy<hr::kLarge>(std::wstring(257, L'a').c_str(), kNcName | kName));
}
