#pragma once
#include <windows.h>

#include <string>
#include <vector>

namespace keytest {

// Collects what the process writes with OutputDebugString while it lives. OutputDebugString
// announces each text as a DBG_PRINTEXCEPTION_C (or, on newer Windows, first
// DBG_PRINTEXCEPTION_WIDE_C) exception before it looks for a debugger; a vectored handler
// sees it first, keeps the text and declares it handled, as a debugger would. So every trace
// line of the library is seen in order, not only the last one the library keeps.
class DebugCapture {
public:
    DebugCapture();
    ~DebugCapture();
    DebugCapture(const DebugCapture&) = delete;
    DebugCapture& operator=(const DebugCapture&) = delete;

    const std::vector<std::wstring>& Lines() const { return lines_; }

private:
    static LONG CALLBACK Handler(EXCEPTION_POINTERS* pointers);

    PVOID handler_;
    std::vector<std::wstring> lines_;
};

}  // namespace keytest
