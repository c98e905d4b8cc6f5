#pragma once
// The trace lines one piece of code makes the DLL write, every one in order.
#include <functional>
#include <string>
#include <vector>

#include "support/CryptXmlDll.hpp"
#include "support/DebugCapture.hpp"

namespace testing_support {

inline std::vector<std::wstring> LinesOf(const std::function<void()>& call) {
    const CryptXmlDll& dll = CryptXmlDll::Get();
    dll.StartDebugging();
    keytest::DebugCapture capture;
    call();
    std::vector<std::wstring> lines = capture.Lines();
    dll.StopDebugging();
    return lines;
}

}  // namespace testing_support
