#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TraceLines.hpp"
#include "support/CryptXmlDll.hpp"
#include "ForcedDebugProbe.hpp"

using testing_support::CryptXmlDll;
using testing_support::ExpectedLine;

namespace {
const CryptXmlDll& dll() { return CryptXmlDll::Get(); }
}  // namespace

// Declared first so that it runs before anything in this process traced.
TEST(DebugExports, NothingTracedYetGivesAnEmptyMessage) {
    wchar_t buffer[16];
    std::fill(std::begin(buffer), std::end(buffer), L'x');
    EXPECT_EQ(S_OK, dll().GetLastDebugMessage(buffer, 16));
    EXPECT_EQ(std::wstring(), std::wstring(buffer));
}

TEST(DebugExports, TwoStartsAndOneStopLeaveTracingOff) {
    EXPECT_EQ(FALSE, dll().DebuggingIsStarted());
    dll().StartDebugging();
    dll().StartDebugging();
    EXPECT_EQ(TRUE, dll().DebuggingIsStarted());
    dll().StopDebugging();
    EXPECT_EQ(FALSE, dll().DebuggingIsStarted());
}

TEST(DebugExports, LineKeepsPrefixThreadNumberAndLineFeed) {
    dll().StartDebugging();
    EXPECT_EQ(nullptr, dll().FindAlgorithmInfo(1, nullptr, 1, 0));
    dll().StopDebugging();
    const std::wstring line = dll().LastMessage();
    EXPECT_EQ(ExpectedLine(L"CryptXmlFindAlgorithmInfo. an error occurred. function: CryptXmlFindAlgorithmInfo. "
                           L"desc: One or more arguments are invalid  NULL == pvFindBy"),
              line);
    EXPECT_EQ(0u, line.find(L"Talvoran-CryptXml.dll: "));
    EXPECT_EQ(L'\n', line.back());
}

TEST(DebugExports, MessageStaysWhenTracingIsOffAndNothingNewIsWritten) {
    dll().StartDebugging();
    dll().EnumAlgorithmInfo(1, 0, nullptr, nullptr);
    dll().StopDebugging();
    const std::wstring kept = dll().LastMessage();
    dll().FindAlgorithmInfo(1, nullptr, 1, 0);  // fails, but tracing is off
    EXPECT_EQ(kept, dll().LastMessage());
}

TEST(DebugExports, PointerIsCheckedBeforeSize) {
    EXPECT_EQ(static_cast<HRESULT>(0x80004003L), dll().GetLastDebugMessage(nullptr, 0));
    EXPECT_EQ(static_cast<HRESULT>(0x80004003L), dll().GetLastDebugMessage(nullptr, 4098));
    wchar_t one[1] = {L'k'};
    EXPECT_EQ(static_cast<HRESULT>(0x80070057L), dll().GetLastDebugMessage(one, 0));
    EXPECT_EQ(L'k', one[0]);
}

TEST(DebugExports, ShortBufferIsRefusedAndEmptied) {
    dll().StartDebugging();
    dll().FindAlgorithmInfo(1, nullptr, 1, 0);
    dll().StopDebugging();
    const std::wstring line = dll().LastMessage();
    std::vector<wchar_t> exact(line.size() + 1, L'x');
    EXPECT_EQ(S_OK, dll().GetLastDebugMessage(exact.data(), static_cast<DWORD>(exact.size())));
    EXPECT_EQ(line, std::wstring(exact.data()));
    std::vector<wchar_t> shorter(line.size(), L'x');
    EXPECT_EQ(static_cast<HRESULT>(0x80070057L),
              dll().GetLastDebugMessage(shorter.data(), static_cast<DWORD>(shorter.size())));
    EXPECT_EQ(L'\0', shorter[0]);
}

TEST(DebugExports, CleanupWithNothingOpenIsHarmlessAndRepeatable) {
    dll().StartDebugging();
    dll().FindAlgorithmInfo(1, nullptr, 1, 0);
    const std::wstring before = dll().LastMessage();
    dll().Cleanup();
    dll().Cleanup();
    EXPECT_EQ(before, dll().LastMessage());  // nothing to close: no trace line
    dll().StopDebugging();
    EXPECT_NE(nullptr, dll().FindAlgorithmInfo(2, L"RSA-SHA1", 2, 0));
}

// The environment variable is read when the DLL loads: each case runs in a child process.
TEST(ForcedDebugMode, OneForcesTracingOnForGood) {
    const testing_support::ProbeResult r = testing_support::RunForcedDebugProbe(L"1");
    ASSERT_TRUE(r.ran);
    EXPECT_EQ(1, r.startedAtLoad);
    EXPECT_EQ(1, r.startedAfterStop);
    EXPECT_TRUE(r.traced);
}

TEST(ForcedDebugMode, AnyTextBeginningWithOneForcesIt) {
    const testing_support::ProbeResult r = testing_support::RunForcedDebugProbe(L"1yes");
    ASSERT_TRUE(r.ran);
    EXPECT_EQ(1, r.startedAfterStop);
    EXPECT_TRUE(r.traced);
}

TEST(ForcedDebugMode, OtherValuesHaveNoEffect) {
    for (const wchar_t* value : {L"0", L"true", L" 1", L""}) {
        const testing_support::ProbeResult r = testing_support::RunForcedDebugProbe(value);
        ASSERT_TRUE(r.ran) << value;
        EXPECT_EQ(0, r.startedAtLoad) << value;
        EXPECT_EQ(0, r.startedAfterStop) << value;
        EXPECT_FALSE(r.traced) << value;
    }
}

TEST(ForcedDebugMode, UnsetHasNoEffect) {
    const testing_support::ProbeResult r = testing_support::RunForcedDebugProbe(nullptr);
    ASSERT_TRUE(r.ran);
    EXPECT_EQ(0, r.startedAtLoad);
    EXPECT_FALSE(r.traced);
}
