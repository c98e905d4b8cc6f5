#pragma once
#include <atomic>

#include "dsig/BaseContext.hpp"

namespace testing_support {

// Stand-ins for the library's document and child contexts: they count how many live.
class TestDocContext : public BaseContext {
public:
    explicit TestDocContext(DWORD flags = 0) : BaseContext(flags, false) { ++live; }
    ~TestDocContext() override { --live; }
    static inline std::atomic<int> live{0};
};

class TestChildContext : public BaseContext {
public:
    TestChildContext() : BaseContext(0, true) { ++live; }
    ~TestChildContext() override { --live; }
    static inline std::atomic<int> live{0};
};

}  // namespace testing_support
