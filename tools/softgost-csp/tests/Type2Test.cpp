// In the prefix registered with --type2-keyset-missing: provider type 2 is defined but its
// provider key is absent, so acquiring it answers NTE_KEYSET_NOT_DEF; type 75 still works.
#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

TEST(SoftGostType2Prefix, Type2AnswersKeysetNotDefined) {
    HCRYPTPROV h = 0;
    EXPECT_FALSE(CryptAcquireContextW(&h, nullptr, nullptr, 2, CRYPT_VERIFYCONTEXT));
    EXPECT_EQ(GetLastError(), 0x80090019u);
}

TEST(SoftGostType2Prefix, Type75StillWorks) {
    HCRYPTPROV h = 0;
    ASSERT_TRUE(CryptAcquireContextW(&h, nullptr, nullptr, 75, CRYPT_VERIFYCONTEXT)) << std::hex << GetLastError();
    char name[128];
    DWORD len = sizeof name;
    ASSERT_TRUE(CryptGetProvParam(h, PP_NAME, reinterpret_cast<BYTE*>(name), &len, 0));
    EXPECT_STREQ(name, "Talvoran Soft GOST CSP");
    CryptReleaseContext(h, 0);
}
