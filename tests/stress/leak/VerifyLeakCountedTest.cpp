// The leak test once more, in build/wineprefix-faulty: there the forwarding test provider
// (tools/faulty-csp) stands in front of Wine's providers and counts the CryptoAPI contexts,
// keys and hashes alive in the process. After every one of ten thousand rounds the three
// counts are exactly what they were after the first, and the process keeps its handles and
// private bytes. The rounds add what only this prefix can verify under Wine or what makes
// the library acquire handles of its own: a DSA KeyValue imported by the caller and found
// by the library, and the signer's certificate in X509Data, RSA and GOST R 34.10-2001.
#include <gtest/gtest.h>

#include <windows.h>

#include <wincrypt.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "VerifyRounds.hpp"
#include "support/ProcessFigures.hpp"

namespace {

constexpr int kRounds = 10000;
// As in VerifyLeakTest.cpp: a handle Wine opens lazily, and heap growth that settles.
constexpr DWORD kHandleMargin = 2;
constexpr SIZE_T kPrivateBytesMargin = 2 * 1024 * 1024;

const std::string kDocs = TALVORAN_LEAK_DOCS;

// The forwarding test provider's own parameters (tools/faulty-csp/README.md).
constexpr DWORD kPpLiveContexts = 0x54410001;
constexpr DWORD kPpLiveKeys = 0x54410002;
constexpr DWORD kPpLiveHashes = 0x54410003;

struct Counts {
    DWORD contexts = ~0u;
    DWORD keys = ~0u;
    DWORD hashes = ~0u;
    bool operator==(const Counts& o) const { return contexts == o.contexts && keys == o.keys && hashes == o.hashes; }
};

std::ostream& operator<<(std::ostream& out, const Counts& c) {
    return out << "contexts " << c.contexts << ", keys " << c.keys << ", hashes " << c.hashes;
}

// A context of the forwarding test provider, held by the test to ask it for its counts.
class Counter {
public:
    Counter() {
        if (!CryptAcquireContextW(&prov_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) prov_ = 0;
    }
    ~Counter() {
        if (prov_ != 0) CryptReleaseContext(prov_, 0);
    }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    Counts Read() const { return {Ask(kPpLiveContexts), Ask(kPpLiveKeys), Ask(kPpLiveHashes)}; }

private:
    DWORD Ask(DWORD param) const {
        DWORD count = 0, size = sizeof count;
        return prov_ != 0 && CryptGetProvParam(prov_, param, reinterpret_cast<BYTE*>(&count), &size, 0) ? count : ~0u;
    }

    HCRYPTPROV prov_ = 0;
};

struct Inputs {
    std::string rsa;
    std::string tampered;
    std::string hmac;
    std::string secret;
    std::string dsa;
    std::string rsaCertificate;
    std::string gostCertificate;
};

::testing::AssertionResult Named(const char* what, ::testing::AssertionResult result) {
    return result ? result : ::testing::AssertionFailure() << what << ": " << result.message();
}

::testing::AssertionResult OneRound(const Inputs& in) {
    ::testing::AssertionResult result = Named("RSA, imported key", leak::VerifyWithImportedKey(in.rsa));
    if (result) result = Named("RSA, KeyValue", leak::VerifyWithDocumentKey(in.rsa));
    if (result) result = Named("HMAC", leak::VerifyWithHmacSecret(in.hmac, in.secret));
    if (result) result = Named("RSA, tampered", leak::TamperedFails(in.tampered));
    if (result) result = Named("DSA, imported key", leak::VerifyWithImportedKey(in.dsa));
    if (result) result = Named("DSA, KeyValue", leak::VerifyWithDocumentKey(in.dsa));
    if (result) result = Named("RSA, certificate", leak::VerifyWithDocumentKey(in.rsaCertificate));
    if (result) result = Named("GOST, certificate", leak::VerifyWithDocumentKey(in.gostCertificate));
    return result;
}

}  // namespace

TEST(VerifyLeakCounted, TenThousandRoundsGiveBackEveryCryptoApiHandle) {
    Inputs in;
    in.rsa = leak::ReadFile(kDocs + "/rsa-sha256.xml");
    in.hmac = leak::ReadFile(kDocs + "/hmac-sha256.xml");
    in.secret = leak::ReadFile(kDocs + "/keys/hmac.key");
    in.dsa = leak::ReadFile(kDocs + "/dsa-sha1.xml");
    in.rsaCertificate = leak::ReadFile(kDocs + "/rsa-sha256-x509.xml");
    in.gostCertificate = leak::ReadFile(kDocs + "/gost2001-x509.xml");
    for (const std::string* doc : {&in.rsa, &in.hmac, &in.dsa, &in.rsaCertificate, &in.gostCertificate}) {
        ASSERT_FALSE(doc->empty()) << kDocs;
    }
    ASSERT_EQ(32u, in.secret.size());
    in.tampered = leak::WithTamperedSignatureValue(in.rsa);
    ASSERT_NE(in.rsa, in.tampered);
    const Counter counter;
    const Counts before = counter.Read();
    ASSERT_NE(~0u, before.contexts) << "the provider of type 24 is not the forwarding test provider";
    ASSERT_NE(~0u, before.keys);
    ASSERT_NE(~0u, before.hashes);

    ASSERT_TRUE(OneRound(in)) << "round 1";
    // Round 1 may leave what the library keeps for the process (its crypto provider's
    // contexts, acquired with the XML stack); nothing after it may add to that.
    const Counts counts = counter.Read();
    const DWORD handles = testing_support::Handles();
    const SIZE_T bytes = testing_support::PrivateBytes();
    ASSERT_GT(handles, 0u);
    ASSERT_GT(bytes, 0u);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    for (int round = 2; round <= kRounds; ++round) {
        ASSERT_TRUE(OneRound(in)) << "round " << round;
        ASSERT_EQ(counts, counter.Read()) << "round " << round;
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const SIZE_T bytesEnd = testing_support::PrivateBytes();
    const DWORD handlesEnd = testing_support::Handles();

    std::printf(
        "CryptoAPI handles alive in the forwarding provider: before round 1 %lu contexts, %lu keys, %lu "
        "hashes; after every round %lu contexts, %lu keys, %lu hashes\n",
        static_cast<unsigned long>(before.contexts), static_cast<unsigned long>(before.keys),
        static_cast<unsigned long>(before.hashes), static_cast<unsigned long>(counts.contexts),
        static_cast<unsigned long>(counts.keys), static_cast<unsigned long>(counts.hashes));
    leak::PrintLoopFigures(
        {handles, handlesEnd, kHandleMargin, bytes, bytesEnd, kPrivateBytesMargin, kRounds, 8, seconds});
    // The library's own contexts stay for the process; keys and hashes never do.
    EXPECT_EQ(before.keys, counts.keys);
    EXPECT_EQ(before.hashes, counts.hashes);
    EXPECT_LE(handlesEnd, handles + kHandleMargin);
    EXPECT_LE(bytesEnd, bytes + kPrivateBytesMargin);
}
