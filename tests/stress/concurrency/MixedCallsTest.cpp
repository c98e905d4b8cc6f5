// Eight threads of 10,000 mixed calls each through the DLL, under a watchdog: every answer
// is the expected one, every handle a thread opened closes with S_OK exactly once, and
// afterwards no handle any thread was given is known to the library any more.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <set>

#include "support/CryptXmlDll.hpp"
#include "MixedCalls.hpp"

using testing_support::CryptXmlDll;

TEST(MixedCalls, EightThreadsOfTenThousandCallsLeaveNothingOpen) {
    const CryptXmlDll& dll = CryptXmlDll::Get();
    const mixedCalls::Figures figures = mixedCalls::Run(dll, 8, 10000, std::chrono::seconds(120));
    ASSERT_EQ(8u, figures.threads.size()) << "the signed documents could not be made";
    long calls = 0;
    std::set<HCRYPTXML> seen;
    for (size_t t = 0; t < figures.threads.size(); ++t) {
        const mixedCalls::ThreadResult& r = figures.threads[t];
        std::printf("[ figures  ] thread %zu: %ld calls, %ld handles opened, %ld closed with S_OK, %ld wrong\n", t,
                    r.calls, r.opened, r.closedOk, r.wrong);
        EXPECT_GE(r.calls, 10000) << t;
        EXPECT_EQ(0, r.wrong) << t << ": " << r.firstWrong;
        EXPECT_EQ(r.opened, r.closedOk) << t;
        EXPECT_GT(r.opened, 0) << t;
        calls += r.calls;
        seen.insert(r.seen.begin(), r.seen.end());
    }
    std::printf("[ figures  ] %ld calls in %.1f s, %zu distinct handles\n", calls, figures.seconds, seen.size());
    // Nothing is open any more: every handle is unknown to the library.
    long known = 0;
    for (HCRYPTXML h : seen) {
        CRYPT_XML_STATUS status{sizeof(status), 0, 0};
        if (dll.GetStatus(h, &status) != mixedCalls::kHandle) ++known;
    }
    EXPECT_EQ(0, known);
    // Closing one again is refused as an argument that names nothing.
    EXPECT_EQ(mixedCalls::kInvalidArg, dll.Close(*seen.begin()));
}
