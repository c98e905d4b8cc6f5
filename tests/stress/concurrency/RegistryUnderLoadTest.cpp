// The mixed calls of MixedCalls.hpp in-process, against the static library,
// where the registry can be counted: empty before, holding only the shared document while
// the threads run, empty again after.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "dsig/ContextRegistry.hpp"
#include "support/TestContexts.hpp"
#include "MixedCalls.hpp"

using testing_support::TestDocContext;

namespace {

// The exports of the static library under the names the workload uses.
struct StaticApi {
    decltype(&::CryptXmlOpenToDecode) OpenToDecode = ::CryptXmlOpenToDecode;
    decltype(&::CryptXmlOpenToEncode) OpenToEncode = ::CryptXmlOpenToEncode;
    decltype(&::CryptXmlClose) Close = ::CryptXmlClose;
    decltype(&::CryptXmlGetDocContext) GetDocContext = ::CryptXmlGetDocContext;
    decltype(&::CryptXmlGetSignature) GetSignature = ::CryptXmlGetSignature;
    decltype(&::CryptXmlGetReference) GetReference = ::CryptXmlGetReference;
    decltype(&::CryptXmlGetStatus) GetStatus = ::CryptXmlGetStatus;
    decltype(&::CryptXmlSetHMACSecret) SetHMACSecret = ::CryptXmlSetHMACSecret;
    decltype(&::CryptXmlVerifySignatureCAPI) VerifySignatureCAPI = ::CryptXmlVerifySignatureCAPI;
    decltype(&::CryptXmlCreateReference) CreateReference = ::CryptXmlCreateReference;
    decltype(&::CryptXmlDigestReference) DigestReference = ::CryptXmlDigestReference;
    decltype(&::CryptXmlSign) Sign = ::CryptXmlSign;
    decltype(&::CryptXmlEncode) Encode = ::CryptXmlEncode;
    decltype(&::CryptXmlFindAlgorithmInfo) FindAlgorithmInfo = ::CryptXmlFindAlgorithmInfo;
    decltype(&::CryptXmlEnumAlgorithmInfo) EnumAlgorithmInfo = ::CryptXmlEnumAlgorithmInfo;
    decltype(&::CryptXmlGetAlgorithmInfo) GetAlgorithmInfo = ::CryptXmlGetAlgorithmInfo;
    decltype(&::CryptXmlStartDebugging) StartDebugging = ::CryptXmlStartDebugging;
    decltype(&::CryptXmlStopDebugging) StopDebugging = ::CryptXmlStopDebugging;
    decltype(&::CryptXmlGetLastDebugMessage) GetLastDebugMessage = ::CryptXmlGetLastDebugMessage;
};

}  // namespace

TEST(RegistryUnderLoad, EmptyAfterEightThreadsOfTenThousandCalls) {
    ASSERT_EQ(0u, registry::ContextCount());
    const StaticApi api;
    const mixedCalls::Figures figures = mixedCalls::Run(api, 8, 10000, std::chrono::seconds(120));
    ASSERT_EQ(8u, figures.threads.size()) << "the signed documents could not be made";
    long calls = 0;
    for (size_t t = 0; t < figures.threads.size(); ++t) {
        const mixedCalls::ThreadResult& r = figures.threads[t];
        EXPECT_EQ(0, r.wrong) << t << ": " << r.firstWrong;
        EXPECT_EQ(r.opened, r.closedOk) << t;
        calls += r.calls;
    }
    std::printf("[ figures  ] %ld calls in %.1f s\n", calls, figures.seconds);
    EXPECT_EQ(0u, registry::ContextCount());
}

// The owner of a context needs the registry before it lets go (to look a child up, to
// unlock) while another thread waits for the same context: the waiting thread must not hold
// the registry meanwhile. Before the wait moved out of the registry lock this hung.
TEST(RegistryUnderLoad, AThreadWaitingForAContextLeavesTheRegistryToItsOwner) {
    std::vector<std::atomic<const char*>> doing(1);
    std::vector<std::atomic<long>> done(1);
    doing[0] = "the owner's unlock";
    done[0] = 0;
    mixedCalls::Watchdog watchdog(std::chrono::seconds(60), doing, done);
    auto owned = std::make_unique<TestDocContext>();
    registry::AddContext(owned.get());
    TestDocContext* doc = owned.release();
    registry::LockContext<TestDocContext>(doc);
    std::atomic<bool> acquired{false};
    std::thread waiter([&] {
        registry::LockedContext<TestDocContext> locked(doc);
        acquired = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the waiter is waiting now
    EXPECT_FALSE(acquired.load());
    EXPECT_TRUE(registry::ContextExists(doc));
    registry::UnlockContext(doc);
    waiter.join();
    EXPECT_TRUE(acquired.load());
    registry::CloseContext(doc);
    EXPECT_EQ(0, TestDocContext::live.load());
}
