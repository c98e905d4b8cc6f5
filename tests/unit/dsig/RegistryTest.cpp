#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "support/TraceLines.hpp"
#include "support/TestContexts.hpp"
#include "support/UnitTrace.hpp"
#include "dsig/ContextRegistry.hpp"
#include "base/CryptXmlException.hpp"
#include "exports/ExportFrame.hpp"

using testing_support::ExpectedLine;
using testing_support::LastLine;
using testing_support::TestChildContext;
using testing_support::TestDocContext;
using testing_support::TraceOn;

namespace {

// Registers a new context and hands back its handle; the registry owns it from then on.
template <class T>
T* Registered() {
    auto ctx = std::make_unique<T>();
    registry::AddContext(ctx.get());
    return ctx.release();
}

template <HRESULT Code, class F>
void ExpectRaise(F&& f, const char* message) {
    try {
        f();
        ADD_FAILURE() << "no exception";
    } catch (const CryptXmlTemplateException<Code>& e) {
        EXPECT_STREQ(message, e.what());
    }
}

class Registry : public ::testing::Test {
protected:
    void TearDown() override {
        registry::CloseAllContexts();
        EXPECT_EQ(0, TestDocContext::live.load());
        EXPECT_EQ(0, TestChildContext::live.load());
    }
};

}  // namespace

TEST_F(Registry, AddTwiceKeepsOneEntry) {
    TestDocContext* doc = Registered<TestDocContext>();
    registry::AddContext(doc);
    EXPECT_TRUE(registry::ContextExists(doc));
    registry::CloseContext(doc);
    EXPECT_FALSE(registry::ContextExists(doc));  // one close removes it: there was one entry
    EXPECT_EQ(0, TestDocContext::live.load());
}

TEST_F(Registry, NullArgumentsAreArgumentErrors) {
    ExpectRaise<hr::kInvalidArg>([] { registry::AddContext(nullptr); },
                                 "an error occurred. function: AddContext. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>(
        [] { registry::ContextExists(nullptr); },
        "an error occurred. function: ContextExists. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>(
        [] { registry::ContextHaveOwner(nullptr); },
        "an error occurred. function: ContextHaveOwner. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>([] { registry::CloseContext(nullptr); },
                                 "an error occurred. function: CloseContext. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>(
        [] { registry::UnlockContext(nullptr); },
        "an error occurred. function: UnlockContext. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>([] { registry::LockContext<TestDocContext>(nullptr); },
                                 "an error occurred. function: LockContext. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>([] { registry::LockContext<BaseContext>(nullptr); },
                                 "an error occurred. function: LockContext. desc: One or more arguments are invalid ");
}

TEST_F(Registry, LockOfTheWrongClassIsABadCast) {
    TestDocContext* doc = Registered<TestDocContext>();
    try {
        registry::LockContext<TestChildContext>(doc);
        FAIL() << "no exception";
    } catch (const std::bad_cast& e) {
        EXPECT_STREQ("LockContext", e.what());
    }
    // Nothing stays locked: another thread can lock it at once.
    std::thread other([doc] {
        registry::LockContext<TestDocContext>(doc);
        registry::UnlockContext(doc);
    });
    other.join();
}

TEST_F(Registry, LockOfAnUnknownAddressIsAHandleError) {
    TestDocContext never;
    ExpectRaise<hr::kHandle>([&] { registry::LockContext<TestDocContext>(&never); },
                             "an error occurred. function: LockContext. desc: Invalid handle.");
    ExpectRaise<hr::kHandle>([&] { registry::LockContext<BaseContext>(&never); },
                             "an error occurred. function: LockContext. desc: Invalid handle.");
    int notAContext = 0;
    ExpectRaise<hr::kHandle>([&] { registry::LockContext<BaseContext>(&notAContext); },
                             "an error occurred. function: LockContext. desc: Invalid handle.");
    EXPECT_FALSE(registry::ContextExists(&never));
}

TEST_F(Registry, UnknownHandlesAreArgumentErrorsForCloseAndOwner) {
    TestDocContext never;
    ExpectRaise<hr::kInvalidArg>([&] { registry::CloseContext(&never); },
                                 "an error occurred. function: CloseContext. desc: One or more arguments are invalid ");
    ExpectRaise<hr::kInvalidArg>(
        [&] { registry::ContextHaveOwner(&never); },
        "an error occurred. function: ContextHaveOwner. desc: One or more arguments are invalid ");
}

TEST_F(Registry, CloseOfAClosedHandleFailsAndChangesNothing) {
    TestDocContext* closed = Registered<TestDocContext>();
    TestDocContext* kept = Registered<TestDocContext>();
    registry::CloseContext(closed);
    ExpectRaise<hr::kInvalidArg>([&] { registry::CloseContext(closed); },
                                 "an error occurred. function: CloseContext. desc: One or more arguments are invalid ");
    EXPECT_TRUE(registry::ContextExists(kept));
    EXPECT_EQ(1, TestDocContext::live.load());
}

TEST_F(Registry, OwnerIsReported) {
    TestDocContext* doc = Registered<TestDocContext>();
    TestChildContext* child = Registered<TestChildContext>();
    EXPECT_FALSE(registry::ContextHaveOwner(doc));
    EXPECT_TRUE(registry::ContextHaveOwner(child));
}

TEST_F(Registry, LockAsBaseAcceptsEveryKind) {
    TestDocContext* doc = Registered<TestDocContext>();
    TestChildContext* child = Registered<TestChildContext>();
    registry::LockedContext<BaseContext> a(doc);
    registry::LockedContext<BaseContext> b(child);
    EXPECT_EQ(doc, a.get());
    EXPECT_EQ(child, b.get());
}

TEST_F(Registry, CloseAllOnAnEmptyRegistryWritesNoTraceLine) {
    TraceOn on;
    trace::TraceLine(L"marker");
    registry::CloseAllContexts();
    EXPECT_EQ(ExpectedLine(L"marker"), LastLine());
}

TEST_F(Registry, CloseAllClosesEverythingAndTraces) {
    TraceOn on;
    for (int i = 0; i < 5; ++i) Registered<TestDocContext>();
    for (int i = 0; i < 3; ++i) Registered<TestChildContext>();
    registry::CloseAllContexts();
    EXPECT_EQ(ExpectedLine(L"CloseAllContexts. contexts is not empty"), LastLine());
    EXPECT_EQ(0, TestDocContext::live.load());
    EXPECT_EQ(0, TestChildContext::live.load());
}

TEST_F(Registry, LockedTwiceNeedsTwoUnlocksBeforeAnotherThreadGetsIt) {
    TestDocContext* doc = Registered<TestDocContext>();
    registry::LockContext<TestDocContext>(doc);
    registry::LockContext<TestDocContext>(doc);

    std::atomic<bool> acquired{false};
    std::atomic<bool> tryNow{false};
    std::thread other([&] {
        while (!tryNow.load()) std::this_thread::yield();
        registry::LockContext<TestDocContext>(doc);  // waits, trying under the registry lock
        acquired = true;
        registry::UnlockContext(doc);
    });
    registry::UnlockContext(doc);
    // Still held once: the other thread must not get it.
    tryNow = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(acquired.load());
    registry::Access::Unlock(*doc);  // the second unlock, without the registry lock
    other.join();
    EXPECT_TRUE(acquired.load());
}

TEST_F(Registry, CloseWaitsForTheThreadThatUsesTheContext) {
    TestDocContext* doc = Registered<TestDocContext>();
    std::atomic<bool> locked{false};
    std::atomic<bool> released{false};
    std::thread user([&] {
        registry::LockContext<TestDocContext>(doc);
        locked = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        released = true;
        registry::Access::Unlock(*doc);
    });
    while (!locked.load()) std::this_thread::yield();
    registry::CloseContext(doc);
    EXPECT_TRUE(released.load());
    user.join();
    EXPECT_EQ(0, TestDocContext::live.load());
}

TEST_F(Registry, ConcurrentRegisterLockCloseLosesNothing) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 300;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                TestDocContext* doc = Registered<TestDocContext>();
                TestChildContext* child = Registered<TestChildContext>();
                {
                    registry::LockedContext<TestDocContext> a(doc);
                    registry::LockedContext<BaseContext> b(child);
                    if (!registry::ContextExists(doc) || !registry::ContextHaveOwner(child)) ++failures;
                }
                // (Whether `child` is still registered afterwards cannot be asked here: another
                // thread may register a new context at the freed address. The counts below
                // show that every close happened.)
                registry::CloseContext(child);
                if (i % 2 == 0) registry::CloseContext(doc);  // the rest closes all at once below
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(kThreads * kRounds / 2, TestDocContext::live.load());
    EXPECT_EQ(0, TestChildContext::live.load());
    registry::CloseAllContexts();
    EXPECT_EQ(0, TestDocContext::live.load());
}

TEST_F(Registry, FailedCreationDiscardsTheRegisteredContext) {
    TraceOn on;
    TestDocContext* seen = nullptr;
    HCRYPTXML handle = nullptr;
    const HRESULT result = frame::Run("CryptXmlOpenToDecode", [&]() -> HRESULT {
        registry::NewContext<TestDocContext> created;
        seen = created.Keep(std::make_unique<TestDocContext>());
        created.Register();
        errors::Raise<hr::kTooManySignatures>("DocContext::DocContext", "more than 16 signatures");
        handle = created.Release();  // not reached
        return S_OK;
    });
    EXPECT_EQ(hr::kTooManySignatures, result);
    EXPECT_EQ(nullptr, handle);
    EXPECT_FALSE(registry::ContextExists(seen));
    EXPECT_EQ(0, TestDocContext::live.load());
    EXPECT_EQ(ExpectedLine(L"CryptXmlOpenToDecode. an error occurred. function: DocContext::DocContext. desc: Too "
                           L"many signatures. more than 16 signatures"),
              LastLine());
}

TEST_F(Registry, FailedCreationDestroysAnUnregisteredContext) {
    HCRYPTXML handle = nullptr;
    const HRESULT result = frame::Run("CryptXmlOpenToEncode", [&]() -> HRESULT {
        registry::NewContext<TestChildContext> created(std::make_unique<TestChildContext>());
        throw std::runtime_error("registration failed");
    });
    EXPECT_EQ(hr::kFail, result);
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(0, TestChildContext::live.load());
}

TEST_F(Registry, SuccessfulCreationHandsTheContextOut) {
    HCRYPTXML handle = nullptr;
    const HRESULT result = frame::Run("CryptXmlOpenToDecode", [&]() -> HRESULT {
        registry::NewContext<TestDocContext> created(std::make_unique<TestDocContext>());
        created.Register();
        handle = created.Release();
        return S_OK;
    });
    EXPECT_EQ(S_OK, result);
    ASSERT_NE(nullptr, handle);
    EXPECT_TRUE(registry::ContextExists(static_cast<BaseContext*>(handle)));
}
