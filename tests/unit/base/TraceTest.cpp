#include <gtest/gtest.h>

#include <string>

#include "support/TraceLines.hpp"
#include "support/UnitTrace.hpp"
#include "base/CryptXmlException.hpp"
#include "base/Trace.hpp"

using testing_support::ExpectedLine;
using testing_support::LastLine;
using testing_support::TraceOn;

TEST(Trace, StartAndStopAreNotCounted) {
    trace::Start();
    trace::Start();
    trace::Stop();
    EXPECT_FALSE(trace::IsOn());
    trace::Start();
    EXPECT_TRUE(trace::IsOn());
    trace::Stop();
}

TEST(Trace, LineHasPrefixThreadNumberTextAndLineFeed) {
    TraceOn on;
    trace::TraceLine(L"hello");
    EXPECT_EQ(ExpectedLine(L"hello"), LastLine());
}

TEST(Trace, OffWritesNothing) {
    {
        TraceOn on;
        trace::TraceLine(L"kept");
    }
    trace::TraceLine(L"dropped");
    trace::TraceA("dropped");
    trace::TraceA("F", "dropped");
    trace::TraceW(L"F", L"dropped");
    EXPECT_EQ(ExpectedLine(L"kept"), LastLine());
}

TEST(Trace, TwoPartEntriesJoinWithDotBlank) {
    TraceOn on;
    trace::TraceW(L"SigContext::Verify", L"wide text");
    EXPECT_EQ(ExpectedLine(L"SigContext::Verify. wide text"), LastLine());
    trace::TraceA("CloseAllContexts", "contexts is not empty");
    EXPECT_EQ(ExpectedLine(L"CloseAllContexts. contexts is not empty"), LastLine());
    trace::TraceA("narrow single");
    EXPECT_EQ(ExpectedLine(L"narrow single"), LastLine());
}

TEST(Trace, NullPartsWriteNothingAndKeepTheLastLine) {
    TraceOn on;
    trace::TraceLine(L"before");
    const std::wstring before = LastLine();
    trace::TraceW(nullptr, L"text");
    trace::TraceW(L"F", nullptr);
    trace::TraceA(nullptr, "text");
    trace::TraceA("F", nullptr);
    trace::TraceA(static_cast<const char*>(nullptr));
    trace::TraceLine(nullptr);
    EXPECT_EQ(before, LastLine());
}

TEST(Trace, LongTextIsCutAtTheBufferEnd) {
    TraceOn on;
    const std::wstring longText(10000, L'x');
    trace::TraceLine(longText.c_str());
    const std::wstring line = LastLine();
    // 4097 characters: the head and as much of the text as fits; the line feed is lost.
    const std::wstring expected = ExpectedLine(longText).substr(0, trace::kLineCapacity - 1);
    EXPECT_EQ(expected.size(), line.size());
    EXPECT_TRUE(expected == line);
}

TEST(Trace, LongNarrowTextIsCutAndStillTraced) {
    TraceOn on;
    const std::string longText(6000, 'y');
    trace::TraceA(longText.c_str());
    const std::wstring line = LastLine();
    // The conversion keeps 4095 characters; the line then cuts at 4097 like any other.
    const std::wstring expected =
        ExpectedLine(std::wstring(trace::kPartCapacity - 1, L'y')).substr(0, trace::kLineCapacity - 1);
    EXPECT_EQ(expected.size(), line.size());
    EXPECT_TRUE(expected == line);
    trace::TraceA(std::string(100, 'z').c_str());  // a short one after it is whole again
    EXPECT_EQ(ExpectedLine(std::wstring(100, L'z')), LastLine());
}

TEST(Trace, CopyChecksThePointerBeforeTheSize) {
    EXPECT_EQ(hr::kPointer, trace::CopyLastLine(nullptr, 0));
    EXPECT_EQ(hr::kPointer, trace::CopyLastLine(nullptr, 100));
    wchar_t one[1] = {L'z'};
    EXPECT_EQ(hr::kInvalidArg, trace::CopyLastLine(one, 0));
    EXPECT_EQ(L'z', one[0]);
}

TEST(Trace, CopyIntoATooShortBufferFailsAndEmptiesIt) {
    TraceOn on;
    trace::TraceLine(L"0123456789");
    wchar_t small[8];
    std::fill(std::begin(small), std::end(small), L'q');
    EXPECT_EQ(hr::kInvalidArg, trace::CopyLastLine(small, 8));
    EXPECT_EQ(L'\0', small[0]);
    const std::wstring expected = ExpectedLine(L"0123456789");
    std::wstring exact(expected.size() + 1, L'q');
    EXPECT_EQ(S_OK, trace::CopyLastLine(&exact[0], exact.size()));
    EXPECT_EQ(expected, std::wstring(exact.c_str()));
}
