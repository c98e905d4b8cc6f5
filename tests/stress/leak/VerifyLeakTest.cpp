// Ten thousand verifications in one process, through the DLL as an application uses it:
// every kind of verification works every time, and the process ends with the handles and
// private memory it had after the first round. Each round covers the success paths (a key
// the caller imports, the key the document carries, an HMAC secret) and a failure path (a
// tampered SignatureValue), since an early return on failure is where a leak usually hides.
// VerifyLeakCountedTest.cpp repeats this where CryptoAPI handles can be counted.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "VerifyRounds.hpp"
#include "support/ProcessFigures.hpp"

namespace {

constexpr int kRounds = 10000;
// A leak of one handle per round would add 9,999; two cover a handle Wine opens lazily the
// first time some path runs after round 1 (a registry key, an event of the heap).
constexpr DWORD kHandleMargin = 2;
// 2 MB over 9,999 rounds: any leak of 210 bytes or more per round (a single small string
// or handle wrapper of any of the four verifications) goes over it, while heap growth that
// settles (free lists, the CRT's and Wine's caches) stays well under it.
constexpr SIZE_T kPrivateBytesMargin = 2 * 1024 * 1024;

const std::string kDocs = TALVORAN_LEAK_DOCS;

struct Inputs {
    std::string rsa;
    std::string tampered;
    std::string hmac;
    std::string secret;
};

::testing::AssertionResult OneRound(const Inputs& in) {
    ::testing::AssertionResult result = leak::VerifyWithImportedKey(in.rsa);
    if (result) result = leak::VerifyWithDocumentKey(in.rsa);
    if (result) result = leak::VerifyWithHmacSecret(in.hmac, in.secret);
    if (result) result = leak::TamperedFails(in.tampered);
    return result;
}

using testing_support::Handles;
using testing_support::PrivateBytes;

}  // namespace

TEST(VerifyLeak, TenThousandRoundsKeepHandlesAndPrivateBytes) {
    Inputs in;
    in.rsa = leak::ReadFile(kDocs + "/rsa-sha256.xml");
    in.hmac = leak::ReadFile(kDocs + "/hmac-sha256.xml");
    in.secret = leak::ReadFile(kDocs + "/keys/hmac.key");
    ASSERT_FALSE(in.rsa.empty()) << kDocs;
    ASSERT_FALSE(in.hmac.empty()) << kDocs;
    ASSERT_EQ(32u, in.secret.size());
    in.tampered = leak::WithTamperedSignatureValue(in.rsa);
    ASSERT_NE(in.rsa, in.tampered);

    ASSERT_TRUE(OneRound(in)) << "round 1";
    const DWORD handles = Handles();
    const SIZE_T bytes = PrivateBytes();
    // Neither figure may be missing: a zero would let any growth pass unseen.
    ASSERT_GT(handles, 0u);
    ASSERT_GT(bytes, 0u);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    for (int round = 2; round <= kRounds; ++round) ASSERT_TRUE(OneRound(in)) << "round " << round;
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const SIZE_T bytesEnd = PrivateBytes();
    const DWORD handlesEnd = Handles();

    leak::PrintLoopFigures(
        {handles, handlesEnd, kHandleMargin, bytes, bytesEnd, kPrivateBytesMargin, kRounds, 4, seconds});
    EXPECT_LE(handlesEnd, handles + kHandleMargin);
    EXPECT_LE(bytesEnd, bytes + kPrivateBytesMargin);
}
